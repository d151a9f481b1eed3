#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "runtime/Text.h"

namespace zeb {

// A zero-filled block of fixed size, or (made from an address) a stand-in for a bare address
// that it neither copies nor owns. Offsets and lengths are the caller's to keep inside it.
class MemoryBlock {
 public:
  explicit MemoryBlock(std::int32_t size);
  static MemoryBlock FromAddress(void* address) noexcept;

  std::int32_t Size() const noexcept { return size_; }
  void* Address() const noexcept { return address_; }

  // A pointer-wide integer in the machine's byte order: a stream handle, say.
  std::intptr_t Ptr(std::int32_t offset) const;
  void Ptr(std::int32_t offset, std::intptr_t value);

  String StringValue(std::int32_t offset, std::int32_t length) const;

 private:
  MemoryBlock() = default;

  // NOLINTNEXTLINE(cppcoreguidelines-avoid-c-arrays,modernize-avoid-c-arrays): run-time size
  std::unique_ptr<std::byte[]> storage_;
  std::byte* address_ = nullptr;
  std::int32_t size_ = 0;
};

}  // namespace zeb
