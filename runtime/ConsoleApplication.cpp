#include "runtime/ConsoleApplication.h"

#include <algorithm>
#include <csignal>

#include "runtime/FileType.h"
#include "runtime/Platform.h"

namespace zeb {

namespace {

struct RuntimeState {
  std::vector<String> arguments;
  std::vector<void*> pluginEntrypoints;
  std::shared_ptr<ConsoleApplication> app;
  std::int32_t exitStatus = 0;
};

RuntimeState state;
SystemClass theSystem;

}  // namespace

String FolderItem::Name() const {
  return path_.substr(path_.rfind('/') + 1);  // npos + 1 is 0: a bare name stays whole
}

void ConsoleApplication::DoEvents(std::int32_t milliseconds) {
  CurrentPlatform().WaitForEvents(milliseconds);
}

// Every signal is held from before the fork until CatchAllSignals has installed the handlers and
// releases it, so that one sent as soon as the starter has returned waits for them.
bool ConsoleApplication::Daemonize() {
  sigset_t all;
  sigfillset(&all);
  static_cast<void>(::pthread_sigmask(SIG_BLOCK, &all, nullptr));
  return CurrentPlatform().Detach();
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): asked of the application object
std::unique_ptr<FolderItem> ConsoleApplication::ExecutableFile() const {
  String path = CurrentPlatform().ExecutablePath();
  return path.empty() ? nullptr : std::make_unique<FolderItem>(std::move(path));
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): asked of the system object
bool SystemClass::Gestalt(const String& selector, std::int32_t& result) {
  std::int32_t version = 0;
  if (selector != "sysv" || !CurrentPlatform().QuerySystemVersion(version)) {
    return false;
  }
  result = version;
  return true;
}

void ReturnFreeMemory() { CurrentPlatform().ReturnFreeMemory(); }

SystemClass* System() noexcept { return &theSystem; }

void RuntimeInit(int argc, const char* const* argv) {
  state = RuntimeState{};
  RuntimeFileTypes().clear();
  state.arguments.assign(argv, argv + std::max(argc, 0));
}

void RuntimeAllocatePluginEntrypointsTable(std::size_t entries) {
  state.pluginEntrypoints.assign(entries, nullptr);
}

void RuntimeRegisterConsoleAppObject(std::shared_ptr<ConsoleApplication> app, bool /*option*/) {
  state.app = std::move(app);
}

ConsoleApplication* getAppObject() noexcept { return state.app.get(); }

void RuntimeRun() { state.exitStatus = NilChecked(getAppObject())->Event_Run(state.arguments); }

void RuntimeUnhandledException(std::string_view className, std::string_view message) noexcept {
  state.exitStatus = kUnhandledExceptionStatus;
  CurrentPlatform().ReportUnhandledException(className, message);
}

std::int32_t RuntimeExit() { return state.exitStatus; }

namespace internal {

void UnhandledException(const std::exception_ptr& thrown) noexcept {
  // Rethrowing takes its memory from the C++ runtime's emergency pool when the heap has none.
  try {
    std::rethrow_exception(thrown);
  } catch (const RuntimeException& error) {
    RuntimeUnhandledException(error.ClassName(), error.Message());
  } catch (const std::exception& error) {
    RuntimeUnhandledException("RuntimeException", error.what());
  } catch (...) {
    RuntimeUnhandledException("RuntimeException", "unknown exception");
  }
}

}  // namespace internal

}  // namespace zeb
