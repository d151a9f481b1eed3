#include "runtime/ConsoleApplication.h"

#include <algorithm>

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

bool ConsoleApplication::Daemonize() { return CurrentPlatform().Detach(); }

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

void RuntimeUnhandledException(const RuntimeException& error) {
  state.exitStatus = kUnhandledExceptionStatus;
  CurrentPlatform().ReportUnhandledException(error);
}

std::int32_t RuntimeExit() { return state.exitStatus; }

String UnhandledExceptionLine(const RuntimeException& error) {
  String line = String("Unhandled ") + error.ClassName();
  if (!error.Message().empty()) {
    line += ": " + error.Message();
  }
  std::replace(line.begin(), line.end(), '\n', ' ');
  return line + '\n';
}

namespace internal {

void UnhandledException(const std::exception_ptr& thrown) {
  // Report inside each handler: a copy into RuntimeException would lose the class.
  try {
    std::rethrow_exception(thrown);
  } catch (const RuntimeException& error) {
    RuntimeUnhandledException(error);
  } catch (const std::exception& error) {
    RuntimeUnhandledException(RuntimeException(error.what()));
  } catch (...) {
    RuntimeUnhandledException(RuntimeException("unknown exception"));
  }
}

}  // namespace internal

}  // namespace zeb
