#pragma once

#include <csignal>
#include <functional>
#include <string>

#include "tests/support/ChildProcess.h"
#include "tests/support/FakePlatform.h"

namespace zeb::test {

inline const char* const kLaunchCommand =
    "/usr/bin/open /Library/Application\\ Support/Brightloom\\ Utilities\\ "
    "Support/ZEB_Helper/ZEB_Messenger.app";
inline const char* const kListingCommand = "/bin/ps -cx -o 'command'";
inline const char* const kLiveSession = "COMMAND\nloginwindow\nzeb-agent\nbash\n";

// One whole run of the agent against fakes, in a child process because the run installs
// signal handlers. The trace tells what happened and in which pass:
// "launch@1 listing@2 end@2 status=0".
class LoopScenario {
 public:
  LoopScenario();

  FakePlatform platform;
  FakeLibrary& library;
  // Runs at the start of pass `pass` (inside its first pump).
  std::function<void(int pass)> atPass;
  // Runs while a command is running, once per popen.
  std::function<void(const String& command, int pass)> duringCommand;
  // Adds to the trace after the run.
  std::function<std::string()> afterRun;
  int passLimit = 2000;  // a quit signal ends a run that would go on

  // Runs the agent in a child and returns the trace.
  std::string Run();

 private:
  std::string RunHere();
  std::string trace_;
  int pass_ = 0;
  bool launchPumpDue_ = false;
};

// "finalized=1" when shutdown released the module-level objects and withdrew the file type.
std::string FinalizedState();

}  // namespace zeb::test
