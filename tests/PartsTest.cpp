// The parts a whole run cannot show in detail: the capture's output shape with real commands,
// binding failures inside a capture, and the text functions.

#include <gtest/gtest.h>

#include "runtime/Exceptions.h"
#include "shell/Shell.h"
#include "signals/SignalModule.h"
#include "tests/Harness.h"

namespace zeb::test {
namespace {

std::string Zeros(std::size_t count) { return std::string(count, '\0'); }

struct CaptureRow {
  const char* command;
  std::string output;
  long errorFromByte = -1;
};

TEST(Capture, OutputShape) {
  const std::string x511(511, 'x');
  const CaptureRow rows[] = {
      {"true", Zeros(1024)},
      {"printf 'abc\\n'", "abc\n" + Zeros(1020)},
      {"head -c 512 /dev/zero | tr '\\0' x", std::string(512, 'x') + Zeros(1024)},
      {"head -c 600 /dev/zero | tr '\\0' x", std::string(600, 'x') + Zeros(936)},
      {"printf 'A\\n\\nB\\n'", "A" + Zeros(512)},
      {"printf '\\n\\nabc'", Zeros(512)},
      {"printf '%511s\\n\\nyz' | tr ' ' x", x511 + "\n" + "\nyz" + Zeros(509) + Zeros(512)},
      {"false", Zeros(1024)},
      {"a stream error after the second item", std::string(1024, 'x'), 600},
  };
  for (const CaptureRow& row : rows) {
    FakePlatform platform;
    platform.errorFromByte = row.errorFromByte;
    if (row.errorFromByte >= 0) {
      platform.outputs[row.command] = std::string(1100, 'x');
    }
    const ScopedPlatform scoped(platform);
    String output = "old";
    shell::Capture(output, row.command);
    EXPECT_EQ(output, row.output) << row.command;
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

TEST(Text, FieldsAndCharacters) {
  const std::tuple<const char*, const char*, std::int32_t, const char*> rows[] = {
      {"zeb\nzeb-agent\nzeb", "zeb", 4, ""},
      {"aaaa", "aa", 3, ""},
      {"abc\n\ndef", "\n\n", 2, "abc"},
      {"abc", "\n\n", 1, "abc"},
      {"\n\nabc", "\n\n", 2, ""},
      {"", "x", 1, ""},
      {"abc", "", 1, "abc"},
  };
  for (const auto& [source, delimiter, fields, first] : rows) {
    EXPECT_EQ(CountFields(source, delimiter), fields) << source;
    EXPECT_EQ(NthField(source, delimiter, 1), first) << source;
  }
  EXPECT_EQ(NthField("a,b,c", ",", 2), "b");
  EXPECT_EQ(NthField("a,b,c", ",", 3), "c");
  EXPECT_EQ(NthField("a,b,c", ",", 4), "");
  EXPECT_EQ(NthField("a,b,c", ",", 0), "");
  EXPECT_EQ(NthField("ab" + Zeros(510), "\n\n", 1), "ab" + Zeros(510));
  EXPECT_EQ(Chr(10), "\n");
}

}  // namespace
}  // namespace zeb::test
