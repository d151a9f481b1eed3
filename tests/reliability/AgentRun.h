#pragma once

#include <functional>
#include <set>
#include <string>

#include "tests/support/ChildProcess.h"
#include "tests/support/FakePlatform.h"

namespace zeb::test {

// What one whole run of the program, against fakes, left behind.
struct AgentOutcome {
  int status = -1;
  std::string reports;       // unhandled-exception reports, one a line
  std::size_t commands = 0;  // popen calls
  std::size_t launches = 0;  // popen calls of the launch command
  std::size_t listings = 0;  // popen calls of the listing command
  int passes = 0;            // pumps at the start of a pass
  bool cleanedUp = false;    // myApp, pText and the file type registry all empty
  bool quitByTest = false;   // the test had to send a quit signal
  ChildResult child;
};

// Runs RunAgent in a child against a FakePlatform whose version query fails (so the loop runs)
// and whose loader has FakeLibrary's stand-ins. `prepare` adjusts both before the run;
// `atPass` runs inside the first pump of every pass (1-based). A run still going after
// `passLimit` passes is asked to quit with SIGTERM.
struct AgentRun {
  std::function<void(FakePlatform&, FakeLibrary&)> prepare;
  std::function<void(int pass, FakePlatform&)> atPass;
  int passLimit = 50;

  AgentOutcome Run() const;
};

inline constexpr const char* kLaunchCommand =
    "/usr/bin/open /Library/Application\\ Support/Brightloom\\ Utilities\\ "
    "Support/ZEB_Helper/ZEB_Messenger.app";
inline constexpr const char* kListingCommand = "/bin/ps -cx -o 'command'";

}  // namespace zeb::test
