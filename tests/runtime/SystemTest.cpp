#include <gtest/gtest.h>

#include "runtime/SystemClass.h"
#include "runtime/SystemVersion.h"

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

TEST(SystemVersion, ProductVersionsBecomeBinaryCodedDecimal) {
  for (const auto& [text, encoded] :
       std::initializer_list<std::pair<const char*, std::int32_t>>{{"10.5", 0x1050},
                                                                   {"10.4.9", 0x1049},
                                                                   {"10.4.11", 0x1049},
                                                                   {"10.13.4", 0x1094},
                                                                   {"11.2.3", 0x1123},
                                                                   {"14", 0x1400},
                                                                   {"9.2.2", 0x0922}}) {
    std::int32_t version = 0;
    EXPECT_TRUE(ParseProductVersion(text, version)) << text;
    EXPECT_EQ(version, encoded) << text;
  }
  std::int32_t untouched = 7;
  EXPECT_FALSE(ParseProductVersion("", untouched));
  EXPECT_FALSE(ParseProductVersion("x10.5", untouched));
  EXPECT_EQ(untouched, 7);
}

}  // namespace
}  // namespace zeb
