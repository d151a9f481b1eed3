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

// 10 MB of every byte value, zero bytes included, laid out so that no item holds an empty line.
String BinaryWithoutEmptyLines(std::size_t size) {
  String data(size, '\0');
  for (std::size_t at = 0; at < size; ++at) {
    data[at] = static_cast<char>(at % 251);
  }
  return data;
}

TEST(GetShell, CapturesTenMegabytesOfBinaryExactly) {
  const String data = BinaryWithoutEmptyLines(10 * 1024 * 1024);
  char path[] = "/tmp/zeb-capture-XXXXXX";
  const int descriptor = mkstemp(path);
  ASSERT_GE(descriptor, 0);
  close(descriptor);
  std::ofstream(path, std::ios::binary) << data;
  const String output = CaptureOf(String("cat ") + path);
  unlink(path);
  ASSERT_EQ(output.size(), data.size() + 1024);
  EXPECT_TRUE(output.compare(0, data.size(), data) == 0);
  EXPECT_EQ(output.substr(data.size()), Zeros(1024));
}

struct PassCount {
  std::size_t bytes;
  int passes;
};

TEST(GetShell, BindsEachStreamFunctionOncePerUse) {
  for (const PassCount& c : {PassCount{0, 1}, PassCount{100, 1}, PassCount{512, 2},
                             PassCount{1500, 3}, PassCount{2048, 5}}) {
    test::FakePlatform platform;
    test::FakeLibrary& library = test::FakeLibrary::InstallInto(platform);
    library.outputs["listing"] = Repeat('x', c.bytes);
    const ScopedPlatform scoped(platform);
    CaptureOf("listing");
    const int n = c.passes;
    EXPECT_EQ(platform.lookups,
              (std::map<String, int>{
                  {"popen", 1}, {"feof", n + 1}, {"fread", n + 1}, {"ferror", n}, {"pclose", 1}}))
        << c.bytes << " bytes";
  }
}

}  // namespace
}  // namespace zeb
