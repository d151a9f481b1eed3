// CountFields and NthField against a byte-by-byte model of the same split.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "runtime/Text.h"

namespace {

using zeb::String;

// Pieces between non-overlapping occurrences, searched from the start. An empty delimiter
// never matches, as the functions under test document.
std::vector<String> ModelSplit(const String& source, const String& delimiter) {
  std::vector<String> pieces(1);
  for (std::size_t at = 0; at < source.size();) {
    if (!delimiter.empty() && source.compare(at, delimiter.size(), delimiter) == 0) {
      pieces.emplace_back();
      at += delimiter.size();
    } else {
      pieces.back() += source[at];
      ++at;
    }
  }
  return pieces;
}

void Check(bool condition) {
  if (!condition) {
    std::abort();
  }
}

}  // namespace

// The first byte gives the delimiter's length (0 to 7); the delimiter follows, then the source.
// Short delimiters over few distinct bytes make matches, overlaps included, frequent.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::size_t wanted = data[0] % 8U;
  const std::size_t delimiterSize = wanted < size - 1 ? wanted : size - 1;
  const auto* const bytes = reinterpret_cast<const char*>(data + 1);
  const String delimiter(bytes, delimiterSize);
  const String source(bytes + delimiterSize, size - 1 - delimiterSize);

  const std::vector<String> pieces = ModelSplit(source, delimiter);
  const auto fields = static_cast<std::int32_t>(pieces.size());
  Check(zeb::CountFields(source, delimiter) == fields);

  for (std::int32_t index = 1; index <= fields; ++index) {
    Check(zeb::NthField(source, delimiter, index) == pieces[static_cast<std::size_t>(index - 1)]);
  }
  Check(zeb::NthField(source, delimiter, fields + 1).empty());
  Check(zeb::NthField(source, delimiter, 0).empty());
  return 0;
}
