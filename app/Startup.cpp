#include "app/Startup.h"

#include "app/App.h"
#include "app/FileTypes.h"
#include "runtime/Runtime.h"
#include "signals/SignalModule.h"

namespace zeb {

namespace {

// C++ classes are usable once defined; there is nothing to make known at run time.
void initialize() {}

void InitPluginEntrypoints() { RuntimeAllocatePluginEntrypointsTable(0); }

void NewAppInstance() { RuntimeRegisterConsoleAppObject(std::make_shared<class App>(), false); }

// A console program has no menus.
void ApplicationAddMenuHandlers() {}

}  // namespace

namespace internal {

void Main() {
  try {
    InitPluginEntrypoints();
    FileTypes::internal::Initialize();
    NewAppInstance();
    ApplicationAddMenuHandlers();
    RuntimeRun();
  } catch (...) {
    UnhandledException(std::current_exception());
  }
}

}  // namespace internal

void finalize() noexcept {
  FileTypes::internal::pTextExit();
  signal::internal::myAppExit();
}

std::int32_t RunAgent(int argc, const char* const* argv) {
  RuntimeInit(argc, argv);
  initialize();
  internal::Main();
  finalize();
  return RuntimeExit();
}

}  // namespace zeb
