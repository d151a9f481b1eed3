#include "runtime/Text.h"

#include <algorithm>
#include <limits>

#include "runtime/Platform.h"

namespace zeb {

String Chr(std::int32_t code) {
  // Not braces: they would pick the initializer-list constructor and give two characters.
  return String(1, static_cast<char>(code));  // NOLINT(modernize-return-braced-init-list)
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
  if (index < 1) {
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
  return String(source.substr(start, source.find(delimiter, start) - start));  // npos: to the end
}

void Replace(String& variable, String value) noexcept { variable.swap(value); }

Tick Ticks() { return CurrentPlatform().Ticks(); }

}  // namespace zeb
