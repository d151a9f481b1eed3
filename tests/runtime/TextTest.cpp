#include <gtest/gtest.h>

#include "runtime/Text.h"

namespace zeb {
namespace {

TEST(Text, ChrOfLineFeedIsOneByte) { EXPECT_EQ(Chr(10), String(1, '\n')); }

}  // namespace
}  // namespace zeb
