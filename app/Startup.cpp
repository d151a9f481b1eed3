// Start-up and shutdown, in the order they run: bring up the runtime, register the file type,
// create and register the one App object, run its Run event, release the module-level objects
// and leave with the Run event's result.

#include "app/Startup.h"

#include <atomic>

#include "app/App.h"
#include "runtime/ConsoleApplication.h"
#include "signals/SignalModule.h"

namespace zeb {

namespace FileTypes {

std::unique_ptr<FileType> pText;

namespace internal {

void Initialize() {
  pText = std::make_unique<FileType>();
  pText->Name("text");
  pText->Extensions("");
  pText->MacType("TEXT");
  pText->MacCreator("R*ch");
  static_cast<void>(static_cast<String>(*pText));  // converting it is what registers it
}

void pTextExit() noexcept { pText.reset(); }

}  // namespace internal

}  // namespace FileTypes

namespace {

// The registered object as an App, cast once at registration so that the accessor does no
// cast in signal context.
constinit std::atomic<class App*> registeredApp{nullptr};
static_assert(std::atomic<class App*>::is_always_lock_free);

// C++ classes are usable once defined; there is nothing to make known at run time.
void initialize() {}

void finalize() noexcept {
  FileTypes::internal::pTextExit();
  signal::internal::myAppExit();
}

}  // namespace

namespace internal {

// Plug-ins bring classes of their own; the program has none.
void RuntimeInitExternalClasses() {}

void InitPluginEntrypoints() { RuntimeAllocatePluginEntrypointsTable(0); }

void NewAppInstance() {
  RuntimeRegisterConsoleAppObject(std::make_shared<class App>(), false);
  registeredApp = dynamic_cast<class App*>(getAppObject());
}

// A console program has no menus.
void ApplicationAddMenuHandlers() {}

void Main() {
  try {
    RuntimeInitExternalClasses();
    InitPluginEntrypoints();
    FileTypes::internal::Initialize();
    NewAppInstance();
    ApplicationAddMenuHandlers();
    RuntimeRun();  // the agent's whole working life: App::Event_Run
  } catch (...) {
    UnhandledException(std::current_exception());
  }
}

}  // namespace internal

std::int32_t RunAgent(int argc, const char* const* argv) {
  RuntimeInit(argc, argv);
  initialize();
  internal::Main();
  finalize();
  return RuntimeExit();
}

class App* App() noexcept {
  return registeredApp.load(std::memory_order_relaxed);
}

}  // namespace zeb
