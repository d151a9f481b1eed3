// libFuzzer target: a text's fields joined by their delimiter give the text; a capture starts with
// the output up to its first empty line and, without one, is 512 * (L / 512 + 2) bytes long.

#include "shell/Shell.h"
#include "tests/Harness.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::size_t cut = std::min<std::size_t>(size, 1 + size % 3);
  const std::string delimiter = input.substr(0, cut), source = input.substr(cut);
  std::string joined = zeb::NthField(source, delimiter, 1);
  for (std::int32_t field = 2; field <= zeb::CountFields(source, delimiter); ++field) {
    joined += delimiter + zeb::NthField(source, delimiter, field);
  }
  zeb::test::FakePlatform platform;
  platform.outputs["command"] = input;
  const zeb::ScopedPlatform scoped(platform);
  std::string captured;
  zeb::shell::Capture(captured, "command");
  const auto kept = std::min(input.find("\n\n"), size);
  const bool shaped = kept < size || captured.size() == 512 * (size / 512 + 2);
  if (joined != source || captured.compare(0, kept, input, 0, kept) != 0 || !shaped) {
    __builtin_trap();
  }
  return 0;
}
