#include "runtime/SystemClass.h"

#include "runtime/Platform.h"

namespace zeb {

namespace {

constexpr std::uint32_t kSystemVersionSelector = 0x73797376;  // "sysv"

SystemClass theSystem;

}  // namespace

bool FourCharCode(std::string_view selector, std::uint32_t& code) noexcept {
  if (selector.size() != 4) {
    return false;
  }
  code = 0;
  for (const char byte : selector) {
    // cppcheck-suppress useStlAlgorithm ; four bytes read plainer as a loop than as accumulate
    code = code << 8 | static_cast<unsigned char>(byte);
  }
  return true;
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): asked of the system object
bool SystemClass::Gestalt(const String& selector, std::int32_t& result) {
  std::uint32_t code = 0;
  if (!FourCharCode(selector, code) || code != kSystemVersionSelector) {
    return false;
  }
  std::int32_t version = 0;
  if (!CurrentPlatform().QuerySystemVersion(version)) {
    return false;
  }
  result = version;
  return true;
}

SystemClass* System() noexcept { return &theSystem; }

}  // namespace zeb
