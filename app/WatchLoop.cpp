// The agent's working life: App's Run event.
//
// On Mac OS X 10.5 and later it returns at once. Otherwise it detaches, arms the signal path and
// makes a pass about every 110 ms: a 10 ms pump, a 100 ms pause, then whatever the two flags ask
// for. Signal context only sets the flags. The loop reads both and clears DoLaunch before it runs
// the launch command, so that a request arriving meanwhile gets the next pass. The flags:
//   DoLaunch (App)                SIGUSR2: run the launch command in the next pass;
//   quitRequested (MyApplication) SIGINT, SIGTERM, SIGQUIT: end at the end of this pass.
// Every ten seconds it lists its user's processes. The loop ends in three ways: a second copy of
// the agent in the listing, no "loginwindow" in it, or a quit request. Every end returns 0.

#include <unistd.h>

#include "app/App.h"
#include "shell/Shell.h"
#include "signals/MyApplication.h"
#include "signals/SignalModule.h"

namespace zeb {

namespace {

constexpr std::int32_t kFirstQuietVersion = 0x1050;  // 10.5 and later: the agent does nothing
constexpr std::int32_t kPumpMilliseconds = 10;
constexpr useconds_t kPauseMicroseconds = 100000;
constexpr std::int32_t kCheckIntervalTicks = 600;  // a check needs more than this
constexpr const char* kLaunchCommand =
    "/usr/bin/open /Library/Application\\ Support/Brightloom\\ Utilities\\ "
    "Support/ZEB_Helper/ZEB_Messenger.app";
constexpr const char* kListingCommand = "/bin/ps -cx -o 'command'";

// App() names the accessor in this namespace; the class goes by this name here.
using AppClass = class App;

bool IsQuietSystem() {
  std::int32_t version = 0;
  return NilChecked(System())->Gestalt("sysv", version) && kFirstQuietVersion <= version;
}

// The agent's own name twice in the listing: another copy runs. Matched anywhere, on purpose.
bool SecondCopyRuns(const String& listing) {
  const String name = NilChecked(NilChecked(zeb::App())->ExecutableFile())->Name();
  return CountFields(listing, name) > 2;
}

// No line that is exactly "loginwindow": the session is over.
bool SessionEnded(const String& listing) {
  return CountFields(listing, Chr(10) + "loginwindow" + Chr(10)) < 2;
}

void StartWatching(AppClass& app) {
  NilChecked(zeb::App())->Daemonize();  // the loop runs on whether or not it detached
  app.mMyApplication = std::make_shared<MyApplication>();
  signal::SetApplication(app.mMyApplication);
  signal::CatchAllSignals();
}

// The agent stays all session, so what a command took goes back to the system when it is done;
// the launch's output stays in `output` until the next command replaces it.
void Launch(AppClass& app, String& output) {
  app.GetShell(output, kLaunchCommand);
  ReturnFreeMemory();
  app.DoEvents(kPumpMilliseconds);
}

// A check pass; false when the agent is to end.
bool SessionGoesOn(AppClass& app, String& output) {
  app.GetShell(output, kListingCommand);
  if (SecondCopyRuns(output) || SessionEnded(output)) {
    return false;
  }
  Replace(output, "-");
  ReturnFreeMemory();
  return true;
}

}  // namespace

std::int32_t App::Event_Run(const std::vector<String>& /*arguments*/) {
  Tick lastCheck = Ticks();
  String output;
  if (IsQuietSystem()) {
    return 0;
  }
  StartWatching(*this);
  for (;;) {
    DoEvents(kPumpMilliseconds);
    Bind<decltype(::usleep)>("usleep")(kPauseMicroseconds);
    // Cleared before the command runs, so a request arriving meanwhile gets the next pass.
    if (DoLaunch.exchange(false)) {
      Launch(*this, output);
    }
    if (TickDifference(Ticks(), lastCheck) > kCheckIntervalTicks) {
      if (!SessionGoesOn(*this, output)) {
        break;
      }
      lastCheck = Ticks();  // the next check counts from the end of this one
    }
    BackgroundTask();
    if (NilChecked(mMyApplication)->Idle()) {
      break;
    }
  }
  return 0;
}

void App::GetShell(String& output, String command) { shell::Capture(output, std::move(command)); }

}  // namespace zeb
