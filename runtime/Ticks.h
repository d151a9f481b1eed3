#pragma once

#include <cstdint>

namespace zeb {

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
