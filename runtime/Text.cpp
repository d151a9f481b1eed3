#include "runtime/Text.h"

#include <algorithm>
#include <limits>

namespace zeb {

namespace {

constexpr std::int32_t kLastAsciiCode = 0x7F;
constexpr std::int32_t kLastCodePoint = 0x10FFFF;

char Byte(std::int32_t value) { return static_cast<char>(static_cast<unsigned char>(value)); }

String Utf8(std::int32_t code) {
  if (code <= 0x7FF) {
    return {Byte(0xC0 | (code >> 6)), Byte(0x80 | (code & 0x3F))};
  }
  if (code <= 0xFFFF) {
    return {Byte(0xE0 | (code >> 12)), Byte(0x80 | ((code >> 6) & 0x3F)),
            Byte(0x80 | (code & 0x3F))};
  }
  return {Byte(0xF0 | (code >> 18)), Byte(0x80 | ((code >> 12) & 0x3F)),
          Byte(0x80 | ((code >> 6) & 0x3F)), Byte(0x80 | (code & 0x3F))};
}

}  // namespace

String Chr(std::int32_t code) {
  if (code < 0 || code > kLastCodePoint) {
    return {};
  }
  if (code <= kLastAsciiCode) {
    // Not braces: they would pick the initializer-list constructor and give two characters.
    return String(1, Byte(code));  // NOLINT(modernize-return-braced-init-list)
  }
  return Utf8(code);
}

std::int32_t CountFields(std::string_view source, std::string_view delimiter) {
  if (delimiter.empty()) {
    return 1;
  }
  std::int64_t fields = 1;
  for (auto at = source.find(delimiter); at != std::string_view::npos;
       at = source.find(delimiter, at + delimiter.size())) {
    ++fields;
  }
  return static_cast<std::int32_t>(
      std::min<std::int64_t>(fields, std::numeric_limits<std::int32_t>::max()));
}

String NthField(std::string_view source, std::string_view delimiter, std::int32_t index) {
  if (index < 1 || (delimiter.empty() && index > 1)) {
    return {};
  }
  std::size_t start = 0;
  for (std::int32_t field = 1; field < index; ++field) {
    const auto at = source.find(delimiter, start);
    if (at == std::string_view::npos) {
      return {};
    }
    start = at + delimiter.size();
  }
  const auto end = delimiter.empty() ? std::string_view::npos : source.find(delimiter, start);
  return String(source.substr(start, end == std::string_view::npos ? end : end - start));
}

}  // namespace zeb
