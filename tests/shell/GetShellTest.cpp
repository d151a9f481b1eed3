#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>

#include "app/App.h"
#include "runtime/Platform.h"
#include "shell/BoundFunction.h"
#include "tests/support/FakePlatform.h"

namespace zeb {
namespace {

TEST(Binding, FindsOnlyTheCLibraryUnderSystemFramework) {
  EXPECT_EQ(Bind<decltype(::strlen)>("strlen")("four"), 4U);
  EXPECT_EQ(LoadFunctionPointerFromLibrary("no_such_function_zeb", "System.framework"), nullptr);
  EXPECT_EQ(LoadFunctionPointerFromLibrary("strlen", "NoSuch.framework"), nullptr);
  EXPECT_EQ(LoadFunctionPointerFromLibrary(String("strlen\0x", 8), "System.framework"), nullptr);
}

// Captures into a variable that held something before, which must not survive.
String CaptureOf(const String& command) {
  class App app;
  String output = "left over from before";
  app.GetShell(output, command);
  return output;
}

String Zeros(std::size_t count) { return String(count, '\0'); }
String Repeat(char byte, std::size_t count) { return String(count, byte); }

struct CaptureCase {
  const char* name;
  const char* command;
  String expected;
};

TEST(GetShell, RealCommandsGiveTheItemShape) {
  for (const CaptureCase& c : {
           CaptureCase{"nothing written", "true", Zeros(1024)},
           CaptureCase{"short line", "printf 'abc\\n'", "abc\n" + Zeros(1020)},
           CaptureCase{"exactly one item", "head -c 512 /dev/zero | tr '\\0' x",
                       Repeat('x', 512) + Zeros(1024)},
           CaptureCase{"an item and a bit", "head -c 600 /dev/zero | tr '\\0' x",
                       Repeat('x', 600) + Zeros(424) + Zeros(512)},
           CaptureCase{"empty line cuts the item", "printf 'A\\n\\nB\\n'", "A" + Zeros(512)},
           CaptureCase{"item starting with an empty line", "printf '\\n\\nabc'", Zeros(512)},
           CaptureCase{"line feeds across items are no pair",
                       "head -c 511 /dev/zero | tr '\\0' x; printf '\\n\\n';"
                       " head -c 511 /dev/zero | tr '\\0' y",
                       Repeat('x', 511) + "\n\n" + Repeat('y', 511) + Zeros(1024)},
           CaptureCase{"command the shell cannot find",
                       "/nonexistent/zeb-no-such-command 2>/dev/null", Zeros(1024)},
       }) {
    const String output = CaptureOf(c.command);
    EXPECT_EQ(output.size(), c.expected.size()) << c.name;
    EXPECT_TRUE(output == c.expected) << c.name;
  }
}

TEST(GetShell, CapturesTenMegabytesOfBinaryExactly) {
  // Every byte value, zero bytes included, laid out so that no item holds an empty line.
  String data(10 * 1024 * 1024, '\0');
  for (std::size_t at = 0; at < data.size(); ++at) {
    data[at] = static_cast<char>(at % 251);
  }
  const std::string path = testing::TempDir() + "zeb-capture-" + std::to_string(getpid());
  std::ofstream(path, std::ios::binary) << data;
  const String output = CaptureOf("cat " + path);
  unlink(path.c_str());
  EXPECT_EQ(output.size(), data.size() + 1024);
  EXPECT_TRUE(output == data + Zeros(1024));
}

TEST(GetShell, BindsEachStreamFunctionOncePerUse) {
  for (const auto& [bytes, n] : std::initializer_list<std::pair<std::size_t, int>>{
           {0, 1}, {100, 1}, {512, 2}, {1500, 3}, {2048, 5}}) {
    test::FakePlatform platform;
    test::FakeLibrary::InstallInto(platform).outputs["listing"] = Repeat('x', bytes);
    const ScopedPlatform scoped(platform);
    CaptureOf("listing");
    EXPECT_EQ(platform.lookups,
              (std::map<String, int>{
                  {"popen", 1}, {"feof", n + 1}, {"fread", n + 1}, {"ferror", n}, {"pclose", 1}}))
        << bytes << " bytes";
  }
}

}  // namespace
}  // namespace zeb
