#include "runtime/MemoryBlock.h"

#include <cstring>

namespace zeb {

MemoryBlock::MemoryBlock(std::int32_t size)
    // NOLINTNEXTLINE(cppcoreguidelines-avoid-c-arrays,modernize-avoid-c-arrays): run-time size
    : storage_(std::make_unique<std::byte[]>(static_cast<std::size_t>(size))),
      address_(storage_.get()),
      size_(size) {}

MemoryBlock MemoryBlock::FromAddress(void* address) noexcept {
  MemoryBlock block;
  block.address_ = static_cast<std::byte*>(address);
  return block;
}

std::intptr_t MemoryBlock::Ptr(std::int32_t offset) const {
  std::intptr_t value = 0;
  std::memcpy(&value, address_ + offset, sizeof value);
  return value;
}

void MemoryBlock::Ptr(std::int32_t offset, std::intptr_t value) {
  std::memcpy(address_ + offset, &value, sizeof value);
}

String MemoryBlock::StringValue(std::int32_t offset, std::int32_t length) const {
  return {reinterpret_cast<const char*>(address_ + offset), static_cast<std::size_t>(length)};
}

}  // namespace zeb
