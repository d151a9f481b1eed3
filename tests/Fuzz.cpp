// libFuzzer target: properties of the field functions and of the capture's output shape.

#include <cstdint>
#include <string>

#include "shell/Shell.h"
#include "tests/Harness.h"

using zeb::String;

namespace {

void Expect(bool holds) {
  if (!holds) {
    __builtin_trap();
  }
}

// The fields put back together with their delimiter give the source.
void FieldsRejoin(const String& source, const String& delimiter) {
  String joined = zeb::NthField(source, delimiter, 1);
  for (std::int32_t field = 2; field <= zeb::CountFields(source, delimiter); ++field) {
    joined += delimiter + zeb::NthField(source, delimiter, field);
  }
  Expect(joined == source);
}

// The capture starts with the output up to its first empty line; without one it is the output
// and zeros, two items more than the output fills.
void CaptureShape(const String& written) {
  zeb::test::FakePlatform platform;
  platform.outputs["command"] = written;
  const zeb::ScopedPlatform scoped(platform);
  String captured;
  zeb::shell::Capture(captured, "command");
  const auto emptyLine = written.find("\n\n");
  const auto kept = std::min(emptyLine, written.size());
  Expect(captured.compare(0, kept, written, 0, kept) == 0);
  if (emptyLine == String::npos) {
    Expect(captured.size() == 512 * (written.size() / 512 + 2));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const String input(reinterpret_cast<const char*>(data), size);
  const std::size_t length = size == 0 ? 0 : 1 + static_cast<unsigned char>(input[0]) % 3;
  if (size > length) {
    FieldsRejoin(input.substr(1 + length), input.substr(1, length));
  }
  CaptureShape(input);
  return 0;
}
