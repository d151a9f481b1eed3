// In-process tests. Most behaviour shows in whole runs against the fake platform (Harness.h),
// one table row each; the capture's shape and the text functions have tables of their own.

#include <gtest/gtest.h>

#include "shell/Shell.h"
#include "tests/Harness.h"

namespace zeb::test {
namespace {

constexpr const char* kNoSession = "COMMAND\nbash\nzeb-agent\n";

struct Row {
  const char* script;
  const char* trace;
  const char* listing = nullptr;
  std::optional<std::int32_t> version = std::nullopt;
  const char* missing = "";
  const char* executablePath = "/usr/local/bin/zeb-agent";
  bool versionThrows = false;
};

TEST(Agent, Runs) {
  const char* const kFails = "Unhandled RuntimeException: query failed\nend@0 status=1";
  const char* const kNoUsleep =
      "detach Unhandled FunctionNotFoundException: function usleep not found in "
      "System.framework\nend@1 status=1";
  const char* const kNoName = "detach check@1 pclose Unhandled NilObjectException\nend@1 status=1";
  const Row rows[] = {
      {"end:HUP", "end@0 status=0 killed=1", nullptr, 0x1050},  // no handlers on 10.5
      {"1:TERM", "detach end@1 status=0", nullptr, 0x1049},
      {"1:TERM", "detach end@1 status=0", nullptr, -1},  // signed: older
      {"1:TERM", "detach end@1 status=0"},               // a failed query counts as older
      {"", kFails, nullptr, std::nullopt, "", "", true},
      {"1:USR2 1:USR2 3:TERM", "detach launch@1 pclose end@3 status=0"},
      {"1:USR2 1l:USR2 3:TERM", "detach launch@1 pclose launch@2 pclose end@3 status=0"},
      {"1:601 1c:USR2 3:TERM", "detach check@1 pclose launch@2 pclose end@3 status=0"},
      {"1:601 1c:USR2", "detach check@1 pclose end@1 status=0", kNoSession},
      {"1p:TERM 2:USR2", "detach end@1 status=0"},
      {"1:USR2 1:QUIT", "detach launch@1 pclose end@1 status=0"},
      {"1:601 1c:INT", kNoName, nullptr, std::nullopt, "", ""},  // the check still finishes
      {"1:601", kNoName, kNoSession, std::nullopt, "", ""},      // the duplicate test first
      {"1:600 2:601 3:TERM", "detach check@2 pclose end@3 status=0"},
      {"0:2147483000 1:2147483600 2:-2147483643 3:TERM", "detach check@2 pclose end@3 status=0"},
      {"1:601 1c:700 2:1300 3:1301 4:TERM", "detach check@1 pclose check@3 pclose end@4 status=0"},
      {"", kNoUsleep, nullptr, std::nullopt, "usleep"},
      {"1:TERM end:USR1",
       "detach end@1 status=0Unhandled NilObjectException: raised in a signal handler\n exit=1"},
  };
  for (const Row& row : rows) {
    FakePlatform platform;
    platform.version = row.version;
    platform.versionThrows = row.versionThrows;
    platform.executablePath = row.executablePath;
    platform.missing = {row.missing};
    if (row.listing != nullptr) {
      platform.listings = {row.listing};
    }
    EXPECT_EQ(platform.Run(row.script), row.trace) << row.script;
  }
}

TEST(Agent, EndsOnTheListing) {
  for (const auto& [listing, ends] : std::initializer_list<std::pair<const char*, bool>>{
           {"COMMAND\nloginwindow\nzeb-agent\n", false},
           {"COMMAND\nloginwindow\nzeb-agen\nzeb-agen\n", false},  // a shortened name
           {kNoSession, true},
           {"COMMAND\nloginwindow\nzeb-agent\nbash\nzeb-agent\n", true},
           {"COMMAND\nloginwindow\nzeb-agent\nzeb-agent-updater\n", true},  // matched anywhere
           {"COMMAND\nloginwindowd\nzeb-agent\n", true},
           {"COMMAND\n loginwindow\nzeb-agent\n", true},
           {"COMMAND\nLoginwindow\nzeb-agent\n", true},
           {"loginwindow\nzeb-agent\n", true},  // no line feed before it
           {"COMMAND\nzeb-agent\nloginwindow", true}}) {
    FakePlatform platform;
    platform.listings = {listing};
    EXPECT_EQ(platform.Run("1:601 2:TERM"), ends ? "detach check@1 pclose end@1 status=0"
                                                 : "detach check@1 pclose end@2 status=0")
        << listing;
  }
}

// Every signal twice, then a launch request: what each does to the two flags, and that the
// handler stays installed.
TEST(Agent, SignalSweep) {
  for (int sig = 1; sig <= 31; ++sig) {
    const std::string twice = "1:SIG" + std::to_string(sig) + " 1:SIG" + std::to_string(sig);
    const char* const expected =
        sig == SIGINT || sig == SIGTERM || sig == SIGQUIT ? "detach end@1 status=0"
        : sig == SIGUSR2 ? "detach launch@1 pclose launch@2 pclose end@3 status=0"
                         : "detach launch@2 pclose end@3 status=0";
    if (sig != SIGKILL && sig != SIGSTOP) {
      EXPECT_EQ(FakePlatform().Run(twice + " 2:USR2 3:TERM"), expected) << sig;
    }
  }
}

std::string Zeros(std::size_t count) { return std::string(count, '\0'); }

TEST(Capture, OutputShape) {
  const std::pair<const char*, std::string> rows[] = {
      {"true", Zeros(1024)},
      {"false", Zeros(1024)},
      {"printf 'abc\\n'", "abc\n" + Zeros(1020)},
      {"head -c 512 /dev/zero | tr '\\0' x", std::string(512, 'x') + Zeros(1024)},
      {"head -c 600 /dev/zero | tr '\\0' x", std::string(600, 'x') + Zeros(936)},
      {"printf 'A\\n\\nB\\n'", "A" + Zeros(512)},
      {"printf '\\n\\nabc'", Zeros(512)},
      {"printf '%511s\\n\\nyz' | tr ' ' x", std::string(511, 'x') + "\n\nyz" + Zeros(1021)},
      {"a stream error after the second item", std::string(1024, 'x')},
  };
  for (const auto& [command, output] : rows) {
    FakePlatform platform;
    platform.outputs["a stream error after the second item"] = std::string(1100, 'x');
    platform.errorFromByte = 600;  // seen only by a stream that can tell its position
    const ScopedPlatform scoped(platform);
    String captured = "old";
    shell::Capture(captured, command);
    EXPECT_EQ(captured, output) << command;
  }
}

TEST(Capture, BindsAtEveryCallAndStopsAtAMissingFunction) {
  FakePlatform platform;
  const ScopedPlatform scoped(platform);
  String output = "old";
  shell::Capture(output, "head -c 600 /dev/zero");
  EXPECT_EQ(platform.lookups,
            (std::map<String, int>{
                {"popen", 1}, {"feof", 3}, {"fread", 3}, {"ferror", 2}, {"pclose", 1}}));
  for (const char* function : {"popen", "feof", "fread"}) {
    platform.missing = {function};
    output = "old";
    EXPECT_THROW(shell::Capture(output, "true"), FunctionNotFoundException) << function;
    EXPECT_EQ(output, "") << function;
  }
  EXPECT_THROW(signal::InstallHandler(1, nullptr), NilObjectException);
}

TEST(Text, Fields) {
  for (const auto& [source, delimiter, index, fields, field] :
       std::initializer_list<std::tuple<std::string, const char*, int, int, std::string>>{
           {"zeb\nzeb-agent\nzeb", "zeb", 1, 4, ""},
           {"aaaa", "aa", 1, 3, ""},
           {"abc\n\ndef", "\n\n", 1, 2, "abc"},
           {"abc", "\n\n", 1, 1, "abc"},
           {"ab" + Zeros(510), "\n\n", 1, 1, "ab" + Zeros(510)},
           {"", "x", 1, 1, ""},
           {"abc", "", 1, 1, "abc"},
           {"a,b,c", ",", 2, 3, "b"},
           {"a,b,c", ",", 3, 3, "c"},
           {"a,b,c", ",", 4, 3, ""},
           {"a,b,c", ",", 0, 3, ""}}) {
    EXPECT_EQ(CountFields(source, delimiter), fields) << source;
    EXPECT_EQ(NthField(source, delimiter, index), field) << source << index;
  }
}

}  // namespace
}  // namespace zeb::test
