#include "runtime/MemoryBlock.h"

#include <cstring>

#include "runtime/Exceptions.h"

namespace zeb {

MemoryBlock::MemoryBlock(std::int32_t size) {
  if (size < 0) {
    throw OutOfBoundsException("negative block size");
  }
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-c-arrays,modernize-avoid-c-arrays): run-time size
  storage_ = std::make_unique<std::byte[]>(static_cast<std::size_t>(size));
  address_ = storage_.get();
  size_ = size;
}

MemoryBlock MemoryBlock::FromAddress(void* address) noexcept {
  MemoryBlock block;
  block.address_ = static_cast<std::byte*>(address);
  return block;
}

std::byte* MemoryBlock::At(std::int32_t offset, std::size_t width) const {
  if (offset < 0 || static_cast<std::size_t>(offset) + width > static_cast<std::size_t>(size_)) {
    throw OutOfBoundsException("offset outside the block");
  }
  return address_ + offset;
}

std::intptr_t MemoryBlock::Ptr(std::int32_t offset) const {
  std::intptr_t value = 0;
  std::memcpy(&value, At(offset, sizeof value), sizeof value);
  return value;
}

void MemoryBlock::Ptr(std::int32_t offset, std::intptr_t value) {
  std::memcpy(At(offset, sizeof value), &value, sizeof value);
}

String MemoryBlock::StringValue(std::int32_t offset, std::int32_t length) const {
  if (length < 0) {
    throw OutOfBoundsException("negative length");
  }
  const std::byte* from = At(offset, static_cast<std::size_t>(length));
  return {reinterpret_cast<const char*>(from), static_cast<std::size_t>(length)};
}

}  // namespace zeb
