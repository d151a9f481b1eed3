#include <gtest/gtest.h>

#include <csignal>

#include "app/App.h"
#include "tests/support/LoopScenario.h"

namespace zeb {
namespace {

using test::kLaunchCommand;
using test::kListingCommand;
using test::LoopScenario;

constexpr Tick kFirstCheck = 601;

// Every pass from `pass` on ends with a quit request.
void QuitFrom(LoopScenario& scenario, int pass) { scenario.passLimit = pass - 1; }

void CheckDueFromPassOne(LoopScenario& scenario) {
  scenario.atPass = [&scenario](int) { scenario.platform.now = kFirstCheck; };
}

std::string SignalDisposition(int sig) {
  struct sigaction current {};
  sigaction(sig, nullptr, &current);
  return current.sa_handler == SIG_DFL ? "default" : "caught";
}

struct GateCase {
  std::optional<std::int32_t> version;
  const char* trace;
};

TEST(WatchLoop, VersionGateDecidesWhetherTheAgentRuns) {
  constexpr const char* kQuiet = "end@0 status=0 detach=0 usr2=default signalObject=0 finalized=1";
  constexpr const char* kRuns = "end@1 status=0 detach=1 usr2=caught signalObject=1 finalized=1";
  for (const GateCase& c :
       {GateCase{0x1050, kQuiet}, GateCase{0x1100, kQuiet}, GateCase{0x1049, kRuns},
        GateCase{-1, kRuns}, GateCase{std::nullopt, kRuns}}) {
    LoopScenario scenario;
    scenario.platform.version = c.version;
    QuitFrom(scenario, 1);
    scenario.afterRun = [&scenario] {
      const bool signalObject = zeb::App() != nullptr && zeb::App()->mMyApplication != nullptr;
      return "detach=" + std::to_string(scenario.platform.detachCalls) +
             " usr2=" + SignalDisposition(SIGUSR2) +
             " signalObject=" + std::to_string(signalObject) + " " + test::FinalizedState();
    };
    EXPECT_EQ(scenario.Run(), c.trace) << (c.version ? *c.version : 0);
  }
}

struct ClockCase {
  Tick start;
  Tick atPassOne;
  Tick atPassTwo;
};

TEST(WatchLoop, ChecksOnlyAfterMoreThanTenSecondsAlsoAcrossTheWrap) {
  for (const ClockCase& c :
       {ClockCase{0, 600, 601}, ClockCase{2'147'483'000, 2'147'483'600, -2'147'483'643}}) {
    LoopScenario scenario;
    scenario.platform.now = c.start;
    scenario.library.outputs[kListingCommand] = "COMMAND\n";  // the session is over
    scenario.atPass = [&scenario, &c](int pass) {
      scenario.platform.now = pass == 1 ? c.atPassOne : c.atPassTwo;
    };
    EXPECT_EQ(scenario.Run(), "listing@2 end@2 status=0") << c.start;
  }
}

TEST(WatchLoop, NextCheckCountsFromTheEndOfTheLastOne) {
  LoopScenario scenario;
  scenario.atPass = [&scenario](int pass) {
    const Tick clock[] = {0, kFirstCheck, 1300, 1301};
    scenario.platform.now = clock[std::min(pass, 3)];
  };
  scenario.duringCommand = [&scenario](const String&, int) { scenario.platform.now = 700; };
  QuitFrom(scenario, 4);
  EXPECT_EQ(scenario.Run(), "listing@1 listing@3 end@4 status=0");
}

TEST(WatchLoop, DuplicateTestComesBeforeTheSessionTest) {
  // With no session left, only the duplicate test asks for the executable's name: its absence
  // shows that test ran first.
  LoopScenario scenario;
  scenario.library.outputs[kListingCommand] = "COMMAND\n";
  scenario.platform.executablePath = "";
  CheckDueFromPassOne(scenario);
  scenario.afterRun = test::FinalizedState;
  EXPECT_EQ(scenario.Run(), "listing@1 end@1 status=1 [NilObjectException: ] finalized=1");
}

struct RequestCase {
  const char* name;
  int requestsBeforePassOne;
  const char* requestDuring;  // a request arrives while this command runs in pass 1
  const char* listing;        // a check in pass 1 gets this listing
  const char* trace;
};

TEST(WatchLoop, LaunchRequestIsAFlagClearedBeforeTheLaunch) {
  for (const RequestCase& c : {
           RequestCase{"two before a pass", 2, nullptr, nullptr, "launch@1 end@3 status=0"},
           RequestCase{"during the launch", 1, kLaunchCommand, nullptr,
                       "launch@1 launch@2 end@3 status=0"},
           RequestCase{"during a check", 0, kListingCommand, test::kLiveSession,
                       "listing@1 launch@2 end@3 status=0"},
           RequestCase{"during the last check", 0, kListingCommand, "COMMAND\n",
                       "listing@1 end@1 status=0"},
       }) {
    LoopScenario scenario;
    if (c.listing != nullptr) {
      scenario.library.outputs[kListingCommand] = c.listing;
    }
    scenario.atPass = [&scenario, &c](int pass) {
      if (pass == 1) {
        scenario.platform.now = c.listing != nullptr ? kFirstCheck : 0;
        for (int request = 0; request < c.requestsBeforePassOne; ++request) {
          std::raise(SIGUSR2);
        }
      }
    };
    scenario.duringCommand = [&c](const String& command, int pass) {
      if (pass == 1 && c.requestDuring != nullptr && command == c.requestDuring) {
        std::raise(SIGUSR2);
      }
    };
    QuitFrom(scenario, 3);
    EXPECT_EQ(scenario.Run(), c.trace) << c.name;
  }
}

TEST(WatchLoop, QuitRequestEndsThePassItArrivesIn) {
  LoopScenario duringPause;
  duringPause.library.onPause = [] { std::raise(SIGTERM); };
  EXPECT_EQ(duringPause.Run(), "end@1 status=0");

  LoopScenario withLaunch;  // which goes first, with the pump that follows it
  withLaunch.atPass = [](int) {
    std::raise(SIGUSR2);
    std::raise(SIGTERM);
  };
  withLaunch.afterRun = [&withLaunch] {
    std::string waits = "waits";
    for (const std::int32_t wait : withLaunch.platform.waits) {
      waits += " " + std::to_string(wait);
    }
    return waits;
  };
  EXPECT_EQ(withLaunch.Run(), "launch@1 end@1 status=0 waits 10 10");

  // The missing executable name shows the check's tests still ran after the request.
  LoopScenario duringCheck;
  duringCheck.platform.executablePath = "";
  CheckDueFromPassOne(duringCheck);
  duringCheck.duringCommand = [](const String&, int) { std::raise(SIGTERM); };
  EXPECT_EQ(duringCheck.Run(), "listing@1 end@1 status=1 [NilObjectException: ]");
}

}  // namespace
}  // namespace zeb
