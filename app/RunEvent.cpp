#include <unistd.h>

#include <string_view>

#include "app/App.h"
#include "runtime/Exceptions.h"
#include "runtime/IdlePath.h"
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
constexpr std::string_view kPauseFunction = "usleep";
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

// Detaches, then puts the signal handlers in place.
void StartWatching(class App& app) {
  NilChecked(zeb::App())->Daemonize();  // the loop runs on whether or not it detached
  app.mMyApplication = std::make_shared<MyApplication>();
  signal::SetApplication(app.mMyApplication);
  signal::CatchAllSignals();
}

ZEB_RARE_PATH void Launch(class App& app, String& output) {
  app.GetShell(output, kLaunchCommand);
  app.DoEvents(kPumpMilliseconds);
}

// A check pass; false when the agent is to end.
ZEB_RARE_PATH bool SessionGoesOn(class App& app, String& output) {
  app.GetShell(output, kListingCommand);
  if (SecondCopyRuns(output) || SessionEnded(output)) {
    return false;
  }
  output = String(kPlaceholder);
  return true;
}

}  // namespace

ZEB_IDLE_PATH std::int32_t App::Event_Run(const std::vector<String>& /*arguments*/) {
  Tick lastCheck = Ticks();
  String output;
  if (IsQuietSystem()) {
    return 0;
  }
  StartWatching(*this);
  for (;;) {
    DoEvents(kPumpMilliseconds);
    Bind<decltype(::usleep)>(kPauseFunction)(kPauseMicroseconds);
    // Cleared before the command runs, so a request arriving meanwhile gets the next pass.
    if (DoLaunch.exchange(false)) [[unlikely]] {
      Launch(*this, output);
    }
    if (TickDifference(Ticks(), lastCheck) > kCheckIntervalTicks) [[unlikely]] {
      if (!SessionGoesOn(*this, output)) {
        break;
      }
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
