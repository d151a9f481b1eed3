#include <gtest/gtest.h>

#include "runtime/Platform.h"
#include "runtime/SystemClass.h"
#include "runtime/SystemVersion.h"
#include "tests/support/FakePlatform.h"

namespace zeb {
namespace {

TEST(Gestalt, SelectorIsFourBytesPackedBigEndian) {
  std::uint32_t code = 0;
  ASSERT_TRUE(FourCharCode("sysv", code));
  EXPECT_EQ(code, 0x73797376U);
  EXPECT_FALSE(FourCharCode("sys", code));
  EXPECT_FALSE(FourCharCode("sysvv", code));
}

TEST(Gestalt, FailsOnASystemWithoutAVersionQuery) {
#if defined(__APPLE__)
  GTEST_SKIP() << "macOS answers the version query";
#else
  std::int32_t version = 42;
  EXPECT_FALSE(System()->Gestalt("sysv", version));
  EXPECT_EQ(version, 42);
#endif
}

TEST(Gestalt, GivesTheSystemVersionOnlyForSysv) {
  test::FakePlatform platform;
  platform.version = 0x1049;
  const ScopedPlatform scoped(platform);
  std::int32_t version = 0;
  EXPECT_TRUE(System()->Gestalt("sysv", version));
  EXPECT_EQ(version, 0x1049);
  version = 0;
  EXPECT_FALSE(System()->Gestalt("sysa", version));
  EXPECT_FALSE(System()->Gestalt("sysv ", version));
  EXPECT_EQ(version, 0);
}

struct VersionCase {
  const char* text;
  std::int32_t encoded;
};

TEST(SystemVersion, ProductVersionsBecomeBinaryCodedDecimal) {
  for (const VersionCase& c :
       {VersionCase{"10.5", 0x1050}, VersionCase{"10.4.9", 0x1049}, VersionCase{"10.3.9", 0x1039},
        VersionCase{"10.4.11", 0x1049}, VersionCase{"10.13.4", 0x1094},
        VersionCase{"11.2.3", 0x1123}, VersionCase{"14", 0x1400}, VersionCase{"9.2.2", 0x0922}}) {
    std::int32_t version = 0;
    EXPECT_TRUE(ParseProductVersion(c.text, version)) << c.text;
    EXPECT_EQ(version, c.encoded) << c.text;
  }
  std::int32_t untouched = 7;
  EXPECT_FALSE(ParseProductVersion("", untouched));
  EXPECT_FALSE(ParseProductVersion("x10.5", untouched));
  EXPECT_EQ(untouched, 7);
}

}  // namespace
}  // namespace zeb
