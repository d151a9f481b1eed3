#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "runtime/posix/Posix.h"

namespace zeb::posix {

namespace {

class Descriptor {
 public:
  explicit Descriptor(int descriptor) noexcept : descriptor_(descriptor) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor(Descriptor&&) = delete;
  Descriptor& operator=(Descriptor&&) = delete;
  ~Descriptor() {
    if (descriptor_ > STDERR_FILENO) {
      ::close(descriptor_);
    }
  }
  int Get() const noexcept { return descriptor_; }

 private:
  int descriptor_;
};

bool StandardStreamsToNull() {
  const Descriptor null(::open("/dev/null", O_RDWR | O_CLOEXEC));
  if (null.Get() < 0) {
    return false;
  }
  constexpr std::array kStreams = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
  return std::ranges::all_of(kStreams, [&null](int stream) {
    return null.Get() == stream || ::dup2(null.Get(), stream) >= 0;
  });
}

// Descriptors inherited from the starter would keep its pipes and files open for the whole
// session.
void CloseInheritedDescriptors() {
#if defined(__linux__)
  if (::close_range(STDERR_FILENO + 1, ~0U, 0) == 0) {
    return;
  }
#endif
  const long limit = ::sysconf(_SC_OPEN_MAX);
  constexpr long kMostDescriptors = 1 << 16;
  const int last =
      static_cast<int>(limit > 0 && limit < kMostDescriptors ? limit : kMostDescriptors);
  for (int descriptor = STDERR_FILENO + 1; descriptor < last; ++descriptor) {
    ::close(descriptor);
  }
}

}  // namespace

bool DetachFromStarter() {
  const pid_t child = ::fork();
  if (child < 0) {
    return false;
  }
  if (child > 0) {
    // The starter is done; _exit, so that nothing buffered is flushed twice.
    ::_exit(0);
  }
  // A new session has no controlling terminal, and the child of a fork never leads a group.
  const bool detached = ::setsid() >= 0;
  const bool atRoot = ::chdir("/") == 0;
  CloseInheritedDescriptors();
  return StandardStreamsToNull() && detached && atRoot;
}

}  // namespace zeb::posix
