// In-process tests, a table row a behaviour: whole runs, the capture, the platform, Darwin's sums.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>

#include "runtime/Darwin.h"
#include "shell/Shell.h"
#include "tests/Harness.h"

#if defined(__linux__)
#include <sys/prctl.h>

// close_range as a system without it answers: the agent's call comes here, not to the C library.
extern "C" int close_range(unsigned int /*first*/, unsigned int /*last*/, int /*flags*/) noexcept {
  errno = ENOSYS;
  return -1;
}
#endif

// A memory shortage that stays: once allocationsFail is set, every allocation fails.
void* operator new(std::size_t size) {
  void* const block = zeb::test::allocationsFail ? nullptr : std::malloc(size + 1);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
// Not inlined, so that the compiler never sees free() meet a pointer from operator new.
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace zeb::test {
namespace {

TEST(Agent, Runs) {
  struct Row {
    const char *behaviour, *script;
    std::string trace, listing = kLiveSession;
  };
  const Row rows[] = {
      {"10.5 and later: ends at once, with no handler", "version:0x1050 end:HUP",
       "end@0 status=0 killed=1"},
      {"an escaping exception: reported on one line however long, status 1", "throws:",
       "Unhandled RuntimeException: query failed" + std::string(300, '.') + "\nend@0 status=1"},
      {"standard error closed: no report, still status 1", "0:closed throws:", "end@0 status=1"},
      {"start-up registers App and one file type; shutdown releases", "held: 1:TERM",
       "held[App text/R*ch/TEXT/ pText] detach end@1 status=0 held[App]"},
      {"a request while a command runs gets the next pass", "1:USR2 1l:USR2 2:601 2c:USR2 4:TERM",
       "detach launch@1 pclose launch@2 pclose check@2 pclose launch@3 pclose end@4 status=0"},
      {"a negative version is older; a quit in a launch's pass ends after the launch",
       "version:-1 1:USR2 1p:QUIT", "detach launch@1 pclose end@1 status=0"},
      {"no own name: NilObjectException after the listing", "path: 1:601 1c:INT",
       "detach check@1 pclose Unhandled NilObjectException\nend@1 status=1",
       "COMMAND\nbash\nzeb-agent\n"},
      {"600 ticks start no check, 601 do, across the wrap, from the end of the last check",
       "0:2147483000 1:2147483600 2:-2147483643 2c:-2147483000 3:-2147482400 4:-2147482399 5:TERM",
       "detach check@2 pclose check@4 pclose end@5 status=0"},
      {"10.4.9 runs; no usleep: FunctionNotFoundException", "version:0x1049 missing:usleep",
       "detach Unhandled FunctionNotFoundException: function usleep not found in "
       "System.framework\nend@1 status=1"},
      {"a memory shortage that stays: still its line, status 1", "1:601 1p:nomem",
       "detach Unhandled RuntimeException: std::bad_alloc\nend@1 status=1"},
      {"a signal after shutdown: NilObjectException, exit 1", "1:TERM end:USR1",
       "detach end@1 status=0Unhandled NilObjectException: raised in a signal handler\n exit=1"},
      {"a shortened name, or a match overlapping another, is no copy", "path:/bin/aa 1:601 2:TERM",
       "detach check@1 pclose end@2 status=0", "COMMAND\nloginwindow\na\na\naaa\n"},
      {"a name holding it is a copy", "1:601 2:TERM", "detach check@1 pclose end@1 status=0",
       "COMMAND\nloginwindow\nzeb-agent\nzeb-agent-updater\n"},
      {"loginwindow only as a whole line; the request is dropped", "1:601 1c:USR2",
       "detach check@1 pclose end@1 status=0",
       "loginwindow\n loginwindow\nloginwindowd\nLoginwindow\nzeb-agent\nloginwindow"},
  };
  for (const auto& [behaviour, script, trace, listing] : rows)
    EXPECT_EQ(FakePlatform(listing).Run(script), trace) << behaviour;
}

// Each signal while it detaches (held) and again, then a request: its flag; the handler stays.
TEST(Agent, SignalSweep) {
  for (int sig = 1; sig <= 31; ++sig) {
    const std::string twice = std::string("0d:") + sigabbrev_np(sig) + " 1:" + sigabbrev_np(sig);
    const char* const expected =
        sig == SIGINT || sig == SIGTERM || sig == SIGQUIT ? "detach end@1 status=0"
        : sig == SIGUSR2 ? "detach launch@1 pclose launch@2 pclose end@3 status=0"
                         : "detach launch@2 pclose end@3 status=0";
    if (sig == SIGKILL || sig == SIGSTOP) continue;
    EXPECT_EQ(FakePlatform().Run(twice + " 2:USR2 3:TERM"), expected) << sig;
  }
}

static_assert(std::is_same_v<decltype(NilChecked(System())), SystemClass*>);  // no dangling

std::string Zeros(std::size_t count) { return std::string(count, '\0'); }

TEST(Capture, OutputShape) {
  const std::tuple<const char*, std::string, int> rows[] = {
      {"true", Zeros(1024), 2},
      {"head -c 512 /dev/zero | tr '\\0' x", std::string(512, 'x') + Zeros(1024), 3},
      {"head -c 600 /dev/zero | tr '\\0' x", std::string(600, 'x') + Zeros(936), 3},
      {"printf 'A\\n\\nB\\n'", "A" + Zeros(512), 2},
      {"printf '\\n\\nabc'", Zeros(512), 2},
      {"printf '%511s\\n\\nyz' | tr ' ' x", std::string(511, 'x') + "\n\nyz" + Zeros(1021), 3},
      {"a stream error after the second item", std::string(1024, 'x'), 2},  // pclose all the same
  };
  for (const auto& [command, output, feofs] : rows) {
    FakePlatform platform;
    platform.outputs["a stream error after the second item"] = std::string(1100, 'x');
    platform.errorFromByte = 600;  // seen only by a stream that can tell its position
    const ScopedPlatform scoped(platform);
    String captured = "old";
    shell::Capture(captured, command);
    EXPECT_EQ(captured, output) << command;
    EXPECT_EQ(platform.lookups["feof"], feofs) << command;  // bound afresh at every call
    EXPECT_EQ(platform.lookups["fread"], feofs) << command;
    EXPECT_EQ(platform.lookups["pclose"], 1) << command;
  }
}

// The real platform: detaching with close_range refused closes the highest descriptor allowed
// after the soft limit is lowered below it (else status 1); the pump outlasts signals (else 2).
TEST(Platform, DetachAndWait) {
  static std::atomic<int> caught = 0;
#if defined(__linux__)  // adopted, the detached ones end here; on a Mac only the pump's status does
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);
#endif
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  const int high = static_cast<int>(std::min<rlim_t>(limit.rlim_cur, 1024) - 1);
  for (const rlim_t soft : {static_cast<rlim_t>(high), rlim_t{4}}) {  // 4: no room for the list
    if (::fork() == 0) {
      std::signal(SIGALRM, [](int) { ++caught; });
      ::ualarm(1000, 1000);
      const auto start = std::chrono::steady_clock::now();
      Platform().WaitForEvents(50);
      const auto waited = std::chrono::steady_clock::now() - start;
      ::ualarm(0, 0);
      if (waited < std::chrono::milliseconds(50) || caught == 0) ::_exit(2);
      const bool opened = ::dup2(STDERR_FILENO, 3) == 3 && ::dup2(STDERR_FILENO, high) == high;
      limit.rlim_cur = soft;
      ::setrlimit(RLIMIT_NOFILE, &limit);
      Platform().Detach();
      ::_exit(opened && ::fcntl(high, F_GETFD) < 0 ? 0 : 1);
    }
  }
  for (int status = 0; ::wait(&status) > 0;) EXPECT_EQ(status, 0);  // true's, the agents'
}

TEST(Darwin, SystemVersion) {
  const std::pair<const char*, std::optional<std::int32_t>> rows[] = {
      {"8", 0x1040},       // no minor: 0
      {"8.9.0", 0x1049},   // 10.4.9
      {"8.11.1", 0x1049},  // 10.4.11: one digit for the bug fix, as the system's own query gives
      {"9.0.0", 0x1050},   // 10.5: the agent stays quiet from here on
      {"20.6.0", 0x1096},  // macOS 11.5
      {"9.0rc", std::nullopt},  // more than numbers
      {"8.", std::nullopt},     // no minor after the dot
  };
  for (const auto& [release, version] : rows)
    EXPECT_EQ(darwin::SystemVersion(release), version) << release;
}

TEST(Darwin, Nanoseconds) {
  const std::tuple<std::uint64_t, std::uint32_t, std::uint32_t, std::uint64_t> rows[] = {
      {24'000'000, 125, 3, 1'000'000'000},                             // Apple silicon, one second
      {150'000'000'000'000'001, 125, 3, 6'250'000'000'000'000'041},    // 198 years
      {40'000'000'000, 1'000'000'000, 33'333'333, 1'200'000'012'000},  // 20 minutes
  };
  for (const auto& [units, numer, denom, nanoseconds] : rows) {
    EXPECT_EQ(darwin::Nanoseconds(units, numer, denom), nanoseconds) << units << " " << numer;
  }
}

TEST(Darwin, FirstArgument) {
  using namespace std::string_view_literals;
  const auto buffer = [](int count, std::string_view rest) {  // the count as the system puts it
    return std::string(reinterpret_cast<const char*>(&count), sizeof count) + std::string(rest);
  };
  const std::pair<std::string, const char*> rows[] = {
      {buffer(1, "/Zeb/zeb-agent\0\0\0\0zeb-launched\0HOME=/\0"sv), "zeb-launched"},  // launchd
      {buffer(2, "/bin/zeb-agent\0./zeb-agent\0-v\0"sv), "./zeb-agent"},              // no padding
      {buffer(0, "/bin/zeb-agent\0\0HOME=/\0"sv), ""},                                // no argument
      {buffer(1, "/bin/zeb-agent\0\0zeb-ag"sv), ""},                                  // cut short
      {"\1", ""},  // not even the count
  };
  for (const auto& [arguments, argument] : rows)
    EXPECT_EQ(darwin::FirstArgument(arguments), argument) << arguments;
}

}  // namespace
}  // namespace zeb::test
