#include "runtime/Runtime.h"

#include <algorithm>
#include <atomic>
#include <new>

#include "runtime/FileTypeRegistry.h"
#include "runtime/Platform.h"

namespace zeb {

namespace {

struct RuntimeState {
  std::vector<String> arguments;
  std::vector<void*> pluginEntrypoints;
  std::shared_ptr<ConsoleApplication> appOwner;
  std::int32_t exitStatus = 0;
};

RuntimeState state;
// A plain copy of the registered pointer for signal context, which must not touch the owner.
std::atomic<ConsoleApplication*> registeredApp{nullptr};
static_assert(std::atomic<ConsoleApplication*>::is_always_lock_free);

}  // namespace

void RuntimeInit(int argc, const char* const* argv) {
  registeredApp = nullptr;
  state = RuntimeState{};
  RuntimeFileTypes() = FileTypeRegistry{};
  state.arguments.assign(argv, argv + std::max(argc, 0));
}

std::vector<void*>& RuntimeAllocatePluginEntrypointsTable(std::size_t entries) {
  state.pluginEntrypoints.assign(entries, nullptr);
  return state.pluginEntrypoints;
}

void RuntimeRegisterConsoleAppObject(std::shared_ptr<ConsoleApplication> app, bool /*option*/) {
  registeredApp = app.get();
  state.appOwner = std::move(app);
}

ConsoleApplication* getAppObject() noexcept { return registeredApp.load(); }

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
  } catch (const std::bad_alloc&) {
    RuntimeUnhandledException(OutOfMemoryException("out of memory"));
  } catch (const std::exception& error) {
    RuntimeUnhandledException(RuntimeException(error.what()));
  } catch (...) {
    RuntimeUnhandledException(RuntimeException("unknown exception"));
  }
}

}  // namespace internal

}  // namespace zeb
