#pragma once

// What the macOS platform computes from the answers of its system calls, apart from the calls
// so that every build compiles it and the tests run it on Linux.

#include <cstdint>
#include <optional>
#include <string_view>

#include "runtime/Text.h"

namespace zeb::darwin {

// The system version as 0xMMmb from the kernel's release ("8.11.1" is Mac OS X 10.4.11): Darwin
// 8 is 10.4, 9 is 10.5, and so on, its second number the bug-fix release. A digit above 9 gives
// 9, as the system's own version query does (10.4.11 is 0x1049), so every system from Darwin 9,
// macOS 26 included, comes out at 0x1050 or more. Nothing for a string that is no release.
std::optional<std::int32_t> SystemVersion(std::string_view release);

// `units` of mach_absolute_time in nanoseconds, for a timebase of `numer`/`denom` nanoseconds a
// unit (1/1 on Intel, 125/3 on Apple silicon); right as long as the result fits.
std::uint64_t Nanoseconds(std::uint64_t units, std::uint32_t numer, std::uint32_t denom);

// argv[0] from a KERN_PROCARGS2 buffer (the argument count as an int, the executable's path, NUL
// padding, then the arguments and the environment, each ending in NUL), where ps -c takes a
// process's name from; empty when the count is 0 or the buffer ends before argv[0] does.
String FirstArgument(std::string_view processArguments);

}  // namespace zeb::darwin
