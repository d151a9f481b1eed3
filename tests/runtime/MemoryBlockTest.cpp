#include <gtest/gtest.h>

#include "runtime/Exceptions.h"
#include "runtime/MemoryBlock.h"

namespace zeb {
namespace {

TEST(MemoryBlock, RefusesAccessOutsideTheBlock) {
  MemoryBlock block(4);
  block.Long(0, -1);
  EXPECT_EQ(block.Long(0), -1);
  EXPECT_THROW(block.Long(1), OutOfBoundsException);
  EXPECT_THROW(block.Long(-1, 0), OutOfBoundsException);
  EXPECT_THROW(block.StringValue(2, 3), OutOfBoundsException);
  EXPECT_THROW(block.StringValue(0, -1), OutOfBoundsException);
  EXPECT_THROW(MemoryBlock(-1), OutOfBoundsException);
  EXPECT_EQ(block.StringValue(4, 0), "");
}

}  // namespace
}  // namespace zeb
