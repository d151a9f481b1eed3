#include <unistd.h>

#include "app/App.h"
#include "runtime/Exceptions.h"
#include "runtime/SystemClass.h"
#include "runtime/Ticks.h"
#include "shell/BoundFunction.h"
#include "signals/MyApplication.h"
#include "signals/SignalModule.h"

namespace zeb {

namespace {

constexpr const char* kVersionSelector = "sysv";
constexpr std::int32_t kFirstQuietVersion = 0x1050;  // 10.5 and later: the agent does nothing
constexpr std::int32_t kPumpMilliseconds = 10;
constexpr useconds_t kPauseMicroseconds = 100000;
constexpr const char* kPauseFunction = "usleep";
constexpr std::int32_t kCheckIntervalTicks = 600;  // a check needs more than this
constexpr const char* kLaunchCommand =
    "/usr/bin/open /Library/Application\\ Support/Brightloom\\ Utilities\\ "
    "Support/ZEB_Helper/ZEB_Messenger.app";
constexpr const char* kListingCommand = "/bin/ps -cx -o 'command'";
constexpr std::int32_t kDuplicateFieldLimit = 2;  // more fields: the name occurs twice
constexpr const char* kSessionProcess = "loginwindow";
constexpr std::int32_t kSessionMarkFields = 2;  // fewer fields: no such line
constexpr const char* kPlaceholder = "-";

bool IsQuietSystem() {
  std::int32_t version = 0;
  return NilChecked(System())->Gestalt(kVersionSelector, version) && kFirstQuietVersion <= version;
}

bool SecondCopyRuns(const String& listing) {
  const String name = NilChecked(NilChecked(zeb::App())->ExecutableFile())->Name();
  return CountFields(listing, name) > kDuplicateFieldLimit;
}

bool SessionEnded(const String& listing) {
  const String mark = Chr(10) + kSessionProcess + Chr(10);
  return CountFields(listing, mark) < kSessionMarkFields;
}

}  // namespace

std::int32_t App::Event_Run(const std::vector<String>& /*arguments*/) {
  Tick lastCheck = Ticks();
  String output;
  if (IsQuietSystem()) {
    return 0;
  }
  NilChecked(zeb::App())->Daemonize();  // the loop runs on whether or not it detached
  mMyApplication = std::make_shared<MyApplication>();
  signal::SetApplication(mMyApplication);
  signal::CatchAllSignals();
  for (;;) {
    DoEvents(kPumpMilliseconds);
    Bind<decltype(::usleep)>(kPauseFunction)(kPauseMicroseconds);
    // Cleared before the command runs, so a request arriving meanwhile gets the next pass.
    if (DoLaunch.exchange(false)) {
      GetShell(output, kLaunchCommand);
      DoEvents(kPumpMilliseconds);
    }
    if (TickDifference(Ticks(), lastCheck) > kCheckIntervalTicks) {
      GetShell(output, kListingCommand);
      if (SecondCopyRuns(output) || SessionEnded(output)) {
        break;
      }
      output = String(kPlaceholder);
      lastCheck = Ticks();
    }
    BackgroundTask();
    if (NilChecked(mMyApplication)->Idle()) {
      break;
    }
  }
  return 0;
}

}  // namespace zeb
