#include <gtest/gtest.h>

#include <limits>

#include "runtime/Exceptions.h"
#include "runtime/MemoryBlock.h"

namespace zeb {
namespace {

TEST(MemoryBlock, StartsZeroedAndKeepsWhatIsWritten) {
  MemoryBlock block(16);
  EXPECT_EQ(block.Size(), 16);
  EXPECT_EQ(block.StringValue(0, 16), String(16, '\0'));
  block.Long(4, -1);
  block.Long(12, std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(block.Long(4), -1);
  EXPECT_EQ(block.Long(12), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(block.Long(0), 0);
  EXPECT_EQ(block.StringValue(4, 4), String(4, '\xFF'));
}

TEST(MemoryBlock, HoldsAPointerWideHandle) {
  MemoryBlock holder(sizeof(void*));
  int object = 0;
  holder.Ptr(0, reinterpret_cast<std::intptr_t>(&object));
  EXPECT_EQ(reinterpret_cast<int*>(holder.Ptr(0)), &object);
  holder.Ptr(0, -1);
  EXPECT_EQ(holder.Ptr(0), -1);
}

TEST(MemoryBlock, RefusesAccessOutsideTheBlock) {
  MemoryBlock block(4);
  EXPECT_THROW(block.Long(1), OutOfBoundsException);
  EXPECT_THROW(block.Long(-1, 0), OutOfBoundsException);
  EXPECT_THROW(block.StringValue(2, 3), OutOfBoundsException);
  EXPECT_THROW(block.StringValue(0, -1), OutOfBoundsException);
  EXPECT_THROW(MemoryBlock(-1), OutOfBoundsException);
  EXPECT_EQ(block.StringValue(4, 0), "");
}

TEST(MemoryBlock, MadeFromAnAddressGivesItBackWithoutOwningIt) {
  int target = 7;
  const MemoryBlock bare = MemoryBlock::FromAddress(&target);
  EXPECT_EQ(bare.Address(), &target);
  EXPECT_EQ(bare.Size(), 0);
  EXPECT_THROW(bare.Long(0), OutOfBoundsException);
}

}  // namespace
}  // namespace zeb
