// The macOS platform's arithmetic, run here on the answers a Mac would give.

#include <gtest/gtest.h>

#include <climits>

#include "runtime/Darwin.h"

namespace zeb::darwin {
namespace {

TEST(Darwin, SystemVersion) {
  const std::pair<const char*, std::optional<std::int32_t>> rows[] = {
      {"8.0.0", 0x1040},  // 10.4
      {"8.1.0", 0x1041},
      {"8.2.0", 0x1042},
      {"8.3.0", 0x1043},
      {"8.4.0", 0x1044},
      {"8.5.0", 0x1045},
      {"8.6.0", 0x1046},
      {"8.7.0", 0x1047},
      {"8.8.1", 0x1048},
      {"8.9.1", 0x1049},
      {"8.10.1", 0x1049},  // one digit for the bug fix
      {"8.11.1", 0x1049},
      {"9.0.0", 0x1050},  // 10.5: the agent stays quiet from here on
      {"9.8.0", 0x1058},
      {"13.4.0", 0x1094},  // 10.9.4
      {"14.0.0", 0x1090},  // 10.10
      {"20.6.0", 0x1096},  // macOS 11.5
      {"25.0.0", 0x1090},  // macOS 26
      {"8", 0x1040},
      {"", std::nullopt},
      {"Darwin", std::nullopt},
      {"-9.0.0", std::nullopt},
      {"99999999999.0.0", std::nullopt},  // past the largest int
      {"9.99999999999", std::nullopt},
      {"9.0rc", std::nullopt},
      {"8.", std::nullopt},
  };
  for (const auto& [release, version] : rows) {
    EXPECT_EQ(SystemVersion(release), version) << release;
  }
}

TEST(Darwin, Nanoseconds) {
  const std::tuple<std::uint64_t, std::uint32_t, std::uint32_t, std::uint64_t> rows[] = {
      {123'456'789, 1, 1, 123'456'789},     // Intel
      {24'000'000, 125, 3, 1'000'000'000},  // Apple silicon, one second
      {1, 125, 3, 41},
      {150'000'000'000'000'001, 125, 3, 6'250'000'000'000'000'041},    // 198 years
      {40'000'000'000, 1'000'000'000, 33'333'333, 1'200'000'012'000},  // 20 minutes
  };
  for (const auto& [units, numer, denom, nanoseconds] : rows) {
    EXPECT_EQ(Nanoseconds(units, numer, denom), nanoseconds) << units << " " << numer;
  }
}

// A reader with _NSGetExecutablePath's contract whose path grows by `growth` after every read.
std::string path;
std::size_t growth = 0;
int Read(char* buffer, std::uint32_t* size) {
  const std::string given = std::exchange(path, path + std::string(growth, '/'));
  if (given.size() >= *size) {
    *size = static_cast<std::uint32_t>(given.size() + 1);
    return -1;
  }
  std::copy(given.c_str(), given.c_str() + given.size() + 1, buffer);
  return 0;
}

TEST(Darwin, ExecutablePath) {
  const std::tuple<std::string, std::size_t, bool> rows[] = {
      {"/usr/local/bin/zeb-agent", 0, true},
      {std::string(PATH_MAX - 1, 'p'), 0, true},
      {std::string(PATH_MAX, 'p'), 0, true},  // read again, with the size it asked for
      {std::string(3 * PATH_MAX, 'p'), 0, true},
      {std::string(PATH_MAX, 'p'), 1, false},  // still too small: given up
  };
  for (const auto& [given, grows, found] : rows) {
    path = given;
    growth = grows;
    EXPECT_EQ(ExecutablePath(&Read), found ? given : "") << given.size();
  }
}

}  // namespace
}  // namespace zeb::darwin
