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
  for (const GateCase& c :
       {GateCase{0x1050, "end@0 status=0 detach=0 usr2=default signalObject=0"},
        GateCase{0x1100, "end@0 status=0 detach=0 usr2=default signalObject=0"},
        GateCase{0x1049, "end@1 status=0 detach=1 usr2=caught signalObject=1"},
        GateCase{-1, "end@1 status=0 detach=1 usr2=caught signalObject=1"},
        GateCase{std::nullopt, "end@1 status=0 detach=1 usr2=caught signalObject=1"}}) {
    LoopScenario scenario;
    scenario.platform.version = c.version;
    QuitFrom(scenario, 1);
    scenario.afterRun = [&scenario] {
      return "detach=" + std::to_string(scenario.platform.detachCalls) +
             " usr2=" + SignalDisposition(SIGUSR2) +
             " signalObject=" + std::to_string(zeb::App()->mMyApplication != nullptr);
    };
    EXPECT_EQ(scenario.Run(), c.trace) << (c.version ? *c.version : 0);
  }
}

struct ClockCase {
  const char* name;
  Tick start;
  Tick atPassOne;
  Tick atPassTwo;
};

TEST(WatchLoop, ChecksOnlyAfterMoreThanTenSecondsAlsoAcrossTheWrap) {
  for (const ClockCase& c : {ClockCase{"plain", 0, 600, 601},
                             ClockCase{"wrap", 2'147'483'000, 2'147'483'600, -2'147'483'643}}) {
    LoopScenario scenario;
    scenario.platform.now = c.start;
    scenario.library.outputs[kListingCommand] = "COMMAND\n";  // the session is over
    scenario.atPass = [&scenario, &c](int pass) {
      scenario.platform.now = pass == 1 ? c.atPassOne : c.atPassTwo;
    };
    EXPECT_EQ(scenario.Run(), "listing@2 end@2 status=0") << c.name;
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

struct ListingCase {
  const char* name;
  const char* listing;
  const char* trace;
};

void PrintTo(const ListingCase& c, std::ostream* out) { *out << c.name; }

class Listings : public testing::TestWithParam<ListingCase> {};

TEST_P(Listings, DecideWhetherTheSessionGoesOn) {
  LoopScenario scenario;
  scenario.library.outputs[kListingCommand] = GetParam().listing;
  scenario.atPass = [&scenario](int) { scenario.platform.now = kFirstCheck; };
  QuitFrom(scenario, 3);
  EXPECT_EQ(scenario.Run(), GetParam().trace);
}

constexpr const char* kGoesOn = "listing@1 end@3 status=0";
constexpr const char* kEnds = "listing@1 end@1 status=0";

INSTANTIATE_TEST_SUITE_P(
    WatchLoop, Listings,
    testing::Values(
        ListingCase{"LiveSession", "COMMAND\nloginwindow\nzeb-agent\n", kGoesOn},
        ListingCase{"SecondCopy", "COMMAND\nzeb-agent\nloginwindow\nzeb-agent\n", kEnds},
        ListingCase{"NameInsideALongerName", "COMMAND\nzeb-agent\nloginwindow\nzeb-agent-x\n",
                    kEnds},
        ListingCase{"ShortenedOwnName", "COMMAND\nzeb-agen\nloginwindow\nzeb-agen\n", kGoesOn},
        ListingCase{"NoLoginwindow", "COMMAND\nzeb-agent\nbash\n", kEnds},
        ListingCase{"LoginwindowWithSuffix", "COMMAND\nzeb-agent\nloginwindowd\n", kEnds},
        ListingCase{"LoginwindowIndented", "COMMAND\nzeb-agent\n loginwindow\n", kEnds},
        ListingCase{"LoginwindowOtherCase", "COMMAND\nzeb-agent\nLoginWindow\n", kEnds},
        ListingCase{"LoginwindowWithoutLineFeedBefore", "loginwindow\nzeb-agent\n", kEnds},
        ListingCase{"FailedListing", "", kEnds},
        ListingCase{"GarbledBinary", "\x01\xff\n\x7floginwindow\x7f\n", kEnds}),
    [](const testing::TestParamInfo<ListingCase>& param) { return param.param.name; });

TEST(WatchLoop, DuplicateTestComesBeforeTheSessionTest) {
  // With no session left, only the duplicate test asks for the executable's name: its absence
  // shows that test ran first.
  LoopScenario scenario;
  scenario.library.outputs[kListingCommand] = "COMMAND\n";
  scenario.platform.executablePath = "";
  scenario.atPass = [&scenario](int) { scenario.platform.now = kFirstCheck; };
  scenario.afterRun = test::FinalizedState;
  EXPECT_EQ(scenario.Run(), "listing@1 end@1 status=1 [NilObjectException: ] finalized=1");
}

TEST(WatchLoop, TwoRequestsBeforeAPassGiveOneLaunch) {
  LoopScenario scenario;
  scenario.atPass = [](int pass) {
    if (pass == 1) {
      std::raise(SIGUSR2);
      std::raise(SIGUSR2);
    }
  };
  QuitFrom(scenario, 3);
  EXPECT_EQ(scenario.Run(), "launch@1 end@3 status=0");
}

TEST(WatchLoop, RequestDuringTheLaunchGivesAnotherLaunchNextPass) {
  LoopScenario scenario;
  scenario.atPass = [](int pass) {
    if (pass == 1) {
      std::raise(SIGUSR2);
    }
  };
  scenario.duringCommand = [](const String& command, int pass) {
    if (command == kLaunchCommand && pass == 1) {
      std::raise(SIGUSR2);
    }
  };
  QuitFrom(scenario, 4);
  EXPECT_EQ(scenario.Run(), "launch@1 launch@2 end@4 status=0");
}

TEST(WatchLoop, RequestDuringACheckIsServedNextPassUnlessTheCheckEnds) {
  for (const auto& [listing, trace] :
       {std::pair{test::kLiveSession, "listing@1 launch@2 end@3 status=0"},
        std::pair{"COMMAND\n", "listing@1 end@1 status=0"}}) {
    LoopScenario scenario;
    scenario.library.outputs[kListingCommand] = listing;
    scenario.atPass = [&scenario](int) { scenario.platform.now = kFirstCheck; };
    scenario.duringCommand = [](const String& command, int) {
      if (command == kListingCommand) {
        std::raise(SIGUSR2);
      }
    };
    QuitFrom(scenario, 3);
    EXPECT_EQ(scenario.Run(), trace);
  }
}

TEST(WatchLoop, QuitDuringACaptureStillFinishesThePass) {
  // The missing executable name shows the check's tests still ran after the quit request.
  LoopScenario scenario;
  scenario.platform.executablePath = "";
  scenario.atPass = [&scenario](int) { scenario.platform.now = kFirstCheck; };
  scenario.duringCommand = [](const String&, int) { std::raise(SIGTERM); };
  EXPECT_EQ(scenario.Run(), "listing@1 end@1 status=1 [NilObjectException: ]");
}

TEST(WatchLoop, LaunchAndQuitInOnePassLaunchFirst) {
  for (const int quit : {SIGINT, SIGTERM, SIGQUIT}) {
    LoopScenario scenario;
    scenario.atPass = [quit](int) {
      std::raise(SIGUSR2);
      std::raise(quit);
    };
    scenario.afterRun = [&scenario] {
      std::string waits;
      for (const std::int32_t wait : scenario.platform.waits) {
        waits += " " + std::to_string(wait);
      }
      return "waits" + waits;
    };
    EXPECT_EQ(scenario.Run(), "launch@1 end@1 status=0 waits 10 10") << quit;
  }
}

TEST(WatchLoop, QuitDuringThePauseEndsThatPass) {
  LoopScenario scenario;
  scenario.library.onPause = [] { std::raise(SIGTERM); };
  EXPECT_EQ(scenario.Run(), "end@1 status=0");
}

TEST(WatchLoop, ApplicationObjectStaysTheSameAllRun) {
  LoopScenario scenario;
  scenario.atPass = [&scenario](int pass) {
    static class App* first = nullptr;
    if (pass == 1) {
      first = zeb::App();
    } else if (zeb::App() != first || first == nullptr) {
      scenario.platform.now = kFirstCheck;  // a check would show in the trace
    }
  };
  QuitFrom(scenario, 5);
  EXPECT_EQ(scenario.Run(), "end@5 status=0");
}

}  // namespace
}  // namespace zeb
