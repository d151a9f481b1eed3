#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zeb {

// Counted bytes. A zero byte is an ordinary character; concatenation is `+`.
using String = std::string;

// One character: a single byte for codes 0 to 127, UTF-8 above; empty for invalid codes.
String Chr(std::int32_t code);

// Number of occurrences of `delimiter` in `source` plus one. Matches are byte-exact and never
// overlap. An empty delimiter never matches.
std::int32_t CountFields(std::string_view source, std::string_view delimiter);

// Field `index` (1-based) of the same split as CountFields; empty when there is no such field.
String NthField(std::string_view source, std::string_view delimiter, std::int32_t index);

}  // namespace zeb
