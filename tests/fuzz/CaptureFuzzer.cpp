// The shape of GetShell's output for arbitrary command output, against a model of the capture
// rule. The command's output is the fuzz input, served by a stand-in popen over a memory stream;
// feof, fread and ferror are the C library's own, found by the real loader.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "app/App.h"
#include "tests/support/FakePlatform.h"

namespace {

using zeb::String;

constexpr std::size_t kItem = 512;

String served;  // what the stand-in command writes

// A memory stream over the fuzz input; an empty one still needs a valid buffer.
FILE* ServePopen(const char* /*command*/, const char* /*mode*/) noexcept {
  static char none = 0;
  return ::fmemopen(served.empty() ? &none : served.data(), served.size(), "r");
}

int ServePclose(FILE* stream) noexcept { return std::fclose(stream); }

// Bytes of one zero-padded item before its first pair of line feeds; all 512 without one.
String ModelItem(const String& stream, std::size_t from) {
  String item = stream.substr(from, kItem);
  item.resize(kItem, '\0');
  for (std::size_t at = 0; at + 1 < kItem; ++at) {
    if (item[at] == '\n' && item[at + 1] == '\n') {
      return item.substr(0, at);
    }
  }
  return item;
}

// Full items; then the item that meets the end (padded, or all zeros when the length is a
// multiple of 512, since only a read that finds nothing sets the end-of-stream indicator);
// then the read after the loop, which finds nothing.
String ModelCapture(const String& stream) {
  String output;
  std::size_t from = 0;
  for (; from + kItem <= stream.size(); from += kItem) {
    output += ModelItem(stream, from);
  }
  output += ModelItem(stream, from);
  output += String(kItem, '\0');
  return output;
}

void Check(bool condition) {
  if (!condition) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static zeb::test::FakePlatform platform;
  static const zeb::ScopedPlatform inPlace(platform);
  platform.replaced = {{"popen", reinterpret_cast<void*>(&ServePopen)},
                       {"pclose", reinterpret_cast<void*>(&ServePclose)}};
  static class zeb::App app;  // the accessor of the same name hides the class

  served.assign(reinterpret_cast<const char*>(data), size);
  const String expected = ModelCapture(served);
  String output = "left over from the last call";
  app.GetShell(output, "listing");
  Check(output == expected);
  return 0;
}
