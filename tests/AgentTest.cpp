// Whole runs of the agent, in-process against the fake platform: start-up, the version gate, the
// watch loop, the signal chain and shutdown, one table row per behaviour.

#include <gtest/gtest.h>

#include <csignal>

#include "tests/Harness.h"

namespace zeb::test {
namespace {

constexpr const char* kNoSession = "COMMAND\nbash\nzeb-agent\n";

struct Row {
  const char* name;
  const char* script;
  const char* trace;
  std::vector<std::string> listings = {};
  std::optional<std::int32_t> version = std::nullopt;
  const char* executablePath = "/usr/local/bin/zeb-agent";
  const char* missing = "";
  bool versionThrows = false;
};

std::string RunRow(const Row& row) {
  FakePlatform platform;
  platform.version = row.version;
  platform.versionThrows = row.versionThrows;
  platform.executablePath = row.executablePath;
  if (*row.missing != '\0') {
    platform.missing = {row.missing};
  }
  return RunScript(platform, row.script, row.listings);
}

TEST(Agent, Runs) {
  const Row rows[] = {
      {"10.5 and later do nothing", "end:HUP", "end@0 status=0 killed=1", {}, 0x1050},
      {"10.4.9 runs", "1:TERM", "detach end@1 status=0", {}, 0x1049},
      {"a negative version is older", "1:TERM", "detach end@1 status=0", {}, -1},
      {"a failed query runs", "1:TERM", "detach end@1 status=0"},
      {"a failing start-up is reported",
       "",
       "Unhandled RuntimeException: query failed\nend@0 status=1",
       {},
       std::nullopt,
       "/z",
       "",
       true},
      {"requests are a flag", "1:USR2 1:USR2 3:TERM", "detach launch@1 pclose end@3 status=0"},
      {"a request during the launch", "1:USR2 1l:USR2 3:TERM",
       "detach launch@1 pclose launch@2 pclose end@3 status=0"},
      {"a request during a check", "1:601 1c:USR2 3:TERM",
       "detach check@1 pclose launch@2 pclose end@3 status=0"},
      {"a request during the last check",
       "1:601 1c:USR2",
       "detach check@1 pclose end@1 status=0",
       {kNoSession}},
      {"a quit in the pause", "1p:TERM 2:USR2", "detach end@1 status=0"},
      {"a launch before the quit", "1:USR2 1:QUIT", "detach launch@1 pclose end@1 status=0"},
      {"a quit during a check lets it finish",
       "1:601 1c:INT",
       "detach check@1 pclose Unhandled NilObjectException\nend@1 status=1",
       {},
       std::nullopt,
       ""},
      {"checks after more than 600 ticks", "1:600 2:601 3:TERM",
       "detach check@2 pclose end@3 status=0"},
      {"and across the wrap", "0:2147483000 1:2147483600 2:-2147483643 3:TERM",
       "detach check@2 pclose end@3 status=0"},
      {"the next check counts from the end of the last", "1:601 1c:700 2:1300 3:1301 4:TERM",
       "detach check@1 pclose check@3 pclose end@4 status=0"},
      {"the duplicate test comes first",
       "1:601",
       "detach check@1 pclose Unhandled NilObjectException\nend@1 status=1",
       {kNoSession},
       std::nullopt,
       ""},
      {"no usleep",
       "",
       "detach Unhandled FunctionNotFoundException: function usleep not found in "
       "System.framework\nend@1 status=1",
       {},
       std::nullopt,
       "/z",
       "usleep"},
      {"a signal after shutdown", "1:TERM end:USR1",
       "detach end@1 status=0Unhandled NilObjectException: raised in a signal handler\n exit=1"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(RunRow(row), row.trace) << row.name;
  }
}

TEST(Agent, EndsOnTheListing) {
  const std::pair<const char*, bool> listings[] = {
      {"COMMAND\nloginwindow\nzeb-agent\n", false},
      {"COMMAND\nbash\nzeb-agent\n", true},
      {"COMMAND\nloginwindow\nzeb-agent\nbash\nzeb-agent\n", true},
      {"COMMAND\nloginwindow\nzeb-agent\nzeb-agent-updater\n", true},  // matched anywhere
      {"COMMAND\nloginwindow\nzeb-agen\nzeb-agen\n", false},           // a shortened name
      {"COMMAND\nloginwindowd\nzeb-agent\n", true},
      {"COMMAND\n loginwindow\nzeb-agent\n", true},
      {"COMMAND\nLoginwindow\nzeb-agent\n", true},
      {"loginwindow\nzeb-agent\n", true},  // no line feed before it
      {"COMMAND\nzeb-agent\nloginwindow", true},
  };
  for (const auto& [listing, ends] : listings) {
    FakePlatform platform;
    EXPECT_EQ(
        RunScript(platform, "1:601 2:TERM", {listing}),
        ends ? "detach check@1 pclose end@1 status=0" : "detach check@1 pclose end@2 status=0")
        << listing;
  }
}

// Every signal twice, then a launch request: what each does to the two flags, and that the
// handler stays installed.
TEST(Agent, SignalSweep) {
  for (int sig = 1; sig <= 31; ++sig) {
    if (sig == SIGKILL || sig == SIGSTOP) {
      continue;
    }
    const std::string s = "SIG" + std::to_string(sig);
    FakePlatform platform;
    const std::string trace = RunScript(platform, "1:" + s + " 1:" + s + " 2:USR2 3:TERM");
    if (sig == SIGINT || sig == SIGTERM || sig == SIGQUIT) {
      EXPECT_EQ(trace, "detach end@1 status=0") << sig;
    } else if (sig == SIGUSR2) {
      EXPECT_EQ(trace, "detach launch@1 pclose launch@2 pclose end@3 status=0") << sig;
    } else {
      EXPECT_EQ(trace, "detach launch@2 pclose end@3 status=0") << sig;
    }
  }
}

}  // namespace
}  // namespace zeb::test
