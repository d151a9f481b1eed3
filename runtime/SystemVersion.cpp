#include "runtime/SystemVersion.h"

#include <algorithm>
#include <array>
#include <charconv>

#if defined(__APPLE__)
#include <sys/sysctl.h>
#endif

namespace zeb {

namespace {

int Bcd(int value, int digits) noexcept {
  const int largest = digits == 1 ? 9 : 99;
  const int clamped = std::clamp(value, 0, largest);
  return (clamped / 10) * 16 + clamped % 10;
}

// Reads the number at the front of `text` and the dot after it; false when there is none.
bool TakeNumber(std::string_view& text, int& number) noexcept {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) {
    return false;
  }
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  if (!text.empty() && text.front() == '.') {
    text.remove_prefix(1);
  }
  return true;
}

#if defined(__APPLE__)

bool ReadSysctl(const char* name, std::array<char, 64>& text) noexcept {
  std::size_t size = text.size();
  return ::sysctlbyname(name, text.data(), &size, nullptr, 0) == 0 && size > 0 &&
         size <= text.size();
}

// Darwin 8 is 10.4, Darwin 9 is 10.5, and so on; its minor number is the bug-fix release.
bool DarwinReleaseVersion(std::string_view release, std::int32_t& version) noexcept {
  int darwin = 0;
  int update = 0;
  if (!TakeNumber(release, darwin)) {
    return false;
  }
  TakeNumber(release, update);
  constexpr int kFirstDarwinOfTen = 4;
  version = EncodeSystemVersion(10, darwin - kFirstDarwinOfTen, update);
  return true;
}

#endif

}  // namespace

std::int32_t EncodeSystemVersion(int major, int minor, int bugFix) noexcept {
  return Bcd(major, 2) << 8 | Bcd(minor, 1) << 4 | Bcd(bugFix, 1);
}

bool ParseProductVersion(std::string_view text, std::int32_t& version) noexcept {
  int major = 0;
  int minor = 0;
  int bugFix = 0;
  if (!TakeNumber(text, major)) {
    return false;
  }
  if (TakeNumber(text, minor)) {
    TakeNumber(text, bugFix);
  }
  version = EncodeSystemVersion(major, minor, bugFix);
  return true;
}

bool QueryRunningSystemVersion([[maybe_unused]] std::int32_t& version) {
#if defined(__APPLE__)
  std::array<char, 64> text{};
  if (ReadSysctl("kern.osproductversion", text)) {
    return ParseProductVersion(text.data(), version);
  }
  return ReadSysctl("kern.osrelease", text) && DarwinReleaseVersion(text.data(), version);
#else
  return false;
#endif
}

}  // namespace zeb
