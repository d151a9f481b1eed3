// zeb-signal-storm PID SECONDS: for SECONDS, about once a millisecond, sends PID a launch request
// (SIGUSR2) and one of the signals the agent catches and ignores, taking them in turn. The last
// signal sent is a launch request. Prints what it sent, one "name value" per line:
//   signals, launch-requests, ignored-kinds, seconds, last-request (wall clock, as $EPOCHREALTIME)

#include <signal.h>
#include <sys/time.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kRoundPause = std::chrono::milliseconds(1);

std::vector<int> IgnoredSignals() {
  std::vector<int> ignored;
  for (int number = 1; number <= 31; ++number) {
    switch (number) {
      case SIGKILL:
      case SIGSTOP:
      case SIGINT:
      case SIGTERM:
      case SIGQUIT:
      case SIGUSR2:
        break;
      default:
        ignored.push_back(number);
    }
  }
  return ignored;
}

double WallClockSeconds() {
  timeval now{};
  ::gettimeofday(&now, nullptr);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) / 1e6;
}

bool Send(pid_t target, int number) {
  if (::kill(target, number) == 0) {
    return true;
  }
  std::perror("zeb-signal-storm: kill");
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: zeb-signal-storm PID SECONDS\n", stderr);
    return 2;
  }
  const pid_t target = std::stoi(argv[1]);
  const auto duration = std::chrono::duration<double>(std::stod(argv[2]));
  const std::vector<int> ignored = IgnoredSignals();

  long signals = 0;
  long requests = 0;
  double lastRequest = 0;
  std::size_t next = 0;
  const Clock::time_point start = Clock::now();
  const Clock::time_point end = start + std::chrono::duration_cast<Clock::duration>(duration);
  while (Clock::now() < end) {
    if (!Send(target, ignored[next]) || !Send(target, SIGUSR2)) {
      return 1;
    }
    lastRequest = WallClockSeconds();
    next = (next + 1) % ignored.size();
    signals += 2;
    ++requests;
    std::this_thread::sleep_for(kRoundPause);
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();

  std::printf("signals %ld\nlaunch-requests %ld\nignored-kinds %zu\nseconds %.3f\n", signals,
              requests, ignored.size(), seconds);
  std::printf("last-request %.6f\n", lastRequest);
  return 0;
}
