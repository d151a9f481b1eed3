#pragma once

// Strings and the tick clock: the small functions the watch loop and the shell capture scan and
// time with.

#include <cstdint>
#include <string>
#include <string_view>

namespace zeb {

// Counted bytes. A zero byte is an ordinary character; concatenation is `+`.
using String = std::string;

// A one-byte String; the program asks only for codes 0 to 127.
String Chr(std::int32_t code);

// Number of occurrences of `delimiter` in `source` plus one. Matches are byte-exact and never
// overlap; an empty delimiter never matches.
std::int32_t CountFields(std::string_view source, std::string_view delimiter);

// Field `index` (1-based) of the same split as CountFields; empty when there is no such field
// or the delimiter is empty.
String NthField(std::string_view source, std::string_view delimiter, std::int32_t index);

// Gives `variable` the content of `value` and frees what it held, as a reference-counted string
// would: a plain assignment keeps the old heap block, and a long listing's room with it.
void Replace(String& variable, String value) noexcept;

// Sixtieths of a second from a fixed moment; the count wraps at the 32-bit limit.
using Tick = std::int32_t;
inline constexpr Tick kTicksPerSecond = 60;

Tick Ticks();

// later - earlier with 32-bit wrap-around, as a signed number, so that intervals stay right
// when the count passes the largest Int32.
constexpr std::int32_t TickDifference(Tick later, Tick earlier) noexcept {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(later) -
                                   static_cast<std::uint32_t>(earlier));
}

}  // namespace zeb
