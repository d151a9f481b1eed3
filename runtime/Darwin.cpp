#include "runtime/Darwin.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>
#include <system_error>

namespace zeb::darwin {

namespace {

constexpr int kFirstDarwinOfTen = 4;  // Darwin 8 is 10.4
constexpr int kLargestDigit = 9;

// The number at the start of `text`, which is then left with what follows it; nothing for a
// sign (from_chars takes "-0" for 0), a number too large for an int or no number at all.
std::optional<int> TakeNumber(std::string_view& text) {
  if (text.empty() || std::isdigit(static_cast<unsigned char>(text.front())) == 0) {
    return std::nullopt;
  }
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) {
    return std::nullopt;
  }
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

}  // namespace

std::optional<std::int32_t> SystemVersion(std::string_view release) {
  const std::optional<int> major = TakeNumber(release);
  std::optional<int> minor = 0;
  if (release.starts_with('.')) {
    release.remove_prefix(1);
    minor = TakeNumber(release);
  }
  // A third number is the build's own (8.11.1); anything else after the two is no release.
  if (!major || !minor || !(release.empty() || release.starts_with('.'))) {
    return std::nullopt;
  }
  return 0x1000 | std::clamp(*major - kFirstDarwinOfTen, 0, kLargestDigit) << 4 |
         std::min(*minor, kLargestDigit);
}

std::uint64_t Nanoseconds(std::uint64_t units, std::uint32_t numer, std::uint32_t denom) {
  // Whole periods of `denom` units first: units * numer overflows after 2^64 / numer units,
  // little uptime for a timebase with a large numer.
  return units / denom * numer + units % denom * numer / denom;
}

String FirstArgument(std::string_view processArguments) {
  int count = 0;
  if (processArguments.size() < sizeof count) {
    return {};
  }
  std::memcpy(&count, processArguments.data(), sizeof count);
  const std::string_view rest = processArguments.substr(sizeof count);
  const std::size_t pathEnd = rest.find('\0');
  const std::size_t start = rest.find_first_not_of('\0', pathEnd);
  const std::size_t end = rest.find('\0', start);
  if (count < 1 || end == std::string_view::npos) {
    return {};
  }
  return String(rest.substr(start, end - start));
}

}  // namespace zeb::darwin
