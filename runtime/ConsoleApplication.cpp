#include "runtime/ConsoleApplication.h"

#include "runtime/IdlePath.h"
#include "runtime/Platform.h"

namespace zeb {

ZEB_IDLE_PATH void ConsoleApplication::DoEvents(std::int32_t milliseconds) {
  CurrentPlatform().WaitForEvents(milliseconds);
}

bool ConsoleApplication::Daemonize() { return CurrentPlatform().Detach(); }

void ConsoleApplication::YieldToNextThread() { BackgroundTask(); }

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): asked of the application object
std::unique_ptr<FolderItem> ConsoleApplication::ExecutableFile() const {
  String path = CurrentPlatform().ExecutablePath();
  if (path.empty()) {
    return nullptr;
  }
  return std::make_unique<FolderItem>(std::move(path));
}

std::int32_t ConsoleApplication::Event_Run(const std::vector<String>& /*arguments*/) { return 0; }

}  // namespace zeb
