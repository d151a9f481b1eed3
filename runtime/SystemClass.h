#pragma once

#include <cstdint>
#include <string_view>

#include "runtime/Text.h"

namespace zeb {

// The four bytes of a selector packed big-endian ("sysv" is 0x73797376); false unless the
// selector is exactly four bytes long.
bool FourCharCode(std::string_view selector, std::uint32_t& code) noexcept;

class SystemClass {
 public:
  // Answers a system query; "sysv" gives the system version as 0xMMmb. False when the query
  // fails or is unknown, and `result` is then left as it was.
  bool Gestalt(const String& selector, std::int32_t& result);
};

// The single system object.
SystemClass* System() noexcept;

}  // namespace zeb
