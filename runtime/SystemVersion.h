#pragma once

#include <cstdint>
#include <string_view>

namespace zeb {

// Binary-coded 0xMMmb: two digits of major version, one of minor, one of bug fix; each part
// is clamped to the digits it has (10.4.11 is 0x1049).
std::int32_t EncodeSystemVersion(int major, int minor, int bugFix) noexcept;

// "10.4.11" and the like; false for anything that does not start with a major number.
bool ParseProductVersion(std::string_view text, std::int32_t& version) noexcept;

// The running system's version; false on systems without a version query of that kind.
bool QueryRunningSystemVersion(std::int32_t& version);

}  // namespace zeb
