#include "runtime/Exceptions.h"

#include <execinfo.h>

#include <cstdlib>
#include <memory>

namespace zeb {

namespace {

constexpr int kMaximumFrames = 64;

std::vector<void*> CaptureFrames() {
  std::vector<void*> frames(kMaximumFrames);
  const int count = backtrace(frames.data(), kMaximumFrames);
  frames.resize(static_cast<std::size_t>(count > 0 ? count : 0));
  return frames;
}

}  // namespace

RuntimeException::RuntimeException() : frames_(CaptureFrames()) {}

RuntimeException::RuntimeException(String message)
    : message_(std::move(message)), frames_(CaptureFrames()) {}

std::vector<String> RuntimeException::Stack() const {
  // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): backtrace_symbols memory is given back by free
  const auto free_names = [](char** names) { std::free(static_cast<void*>(names)); };
  const std::unique_ptr<char*, decltype(free_names)> names(
      backtrace_symbols(frames_.data(), static_cast<int>(frames_.size())), free_names);
  if (!names) {
    return {};
  }
  // The Strings are copies; nothing returned points into the block freed on the way out.
  // cppcheck-suppress returnDanglingLifetime
  return {names.get(), names.get() + frames_.size()};
}

void RuntimeRaiseFunctionNotFoundException(const String& function, const String& library) {
  throw FunctionNotFoundException("function " + function + " not found in " + library);
}

}  // namespace zeb
