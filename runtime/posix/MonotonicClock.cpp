#include <cerrno>
#include <ctime>

#include "runtime/IdlePath.h"
#include "runtime/posix/Posix.h"

namespace zeb::posix {

namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::int64_t kNanosecondsPerMillisecond = 1'000'000;

std::int64_t Nanoseconds(const timespec& time) {
  return static_cast<std::int64_t>(time.tv_sec) * kNanosecondsPerSecond + time.tv_nsec;
}

std::int64_t MonotonicNanoseconds() {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return Nanoseconds(now);
}

timespec ToTimespec(std::int64_t nanoseconds) {
  timespec time{};
  time.tv_sec = static_cast<time_t>(nanoseconds / kNanosecondsPerSecond);
  time.tv_nsec = static_cast<long>(nanoseconds % kNanosecondsPerSecond);
  return time;
}

}  // namespace

ZEB_IDLE_PATH Tick MonotonicTicks() {
  const std::int64_t ticks = MonotonicNanoseconds() / (kNanosecondsPerSecond / kTicksPerSecond);
  // Keep the low 32 bits: the count wraps, and callers compare wrapped differences.
  return static_cast<Tick>(static_cast<std::uint32_t>(ticks));
}

// Waits until a fixed deadline, so that signals arriving meanwhile only resume the wait and a
// burst of them cannot turn a caller's loop into a spin.
ZEB_IDLE_PATH void SleepMilliseconds(std::int32_t milliseconds) {
  if (milliseconds <= 0) {
    return;
  }
  const std::int64_t deadline = MonotonicNanoseconds() + milliseconds * kNanosecondsPerMillisecond;
#if defined(__APPLE__)
  for (std::int64_t left = deadline - MonotonicNanoseconds(); left > 0;
       left = deadline - MonotonicNanoseconds()) {
    const timespec pause = ToTimespec(left);
    ::nanosleep(&pause, nullptr);
  }
#else
  const timespec until = ToTimespec(deadline);
  while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
#endif
}

}  // namespace zeb::posix
