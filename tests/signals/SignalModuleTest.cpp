#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>

#include "runtime/Exceptions.h"
#include "runtime/Runtime.h"
#include "signals/MyApplication.h"
#include "signals/SignalModule.h"
#include "tests/support/ChildProcess.h"

namespace zeb {
namespace {

using test::RunInChild;

// Counts what reaches it, signal by signal.
class Recorder : public SIGConsoleApplication {
 public:
  void Event_SignalCaught(std::int32_t sig) noexcept override {
    if (sig > 0 && sig < static_cast<std::int32_t>(received.size())) {
      ++received[static_cast<std::size_t>(sig)];
    }
  }
  int Received(int sig) const { return received[static_cast<std::size_t>(sig)]; }
  std::array<std::atomic<int>, 33> received{};
};

// Surviving every number also shows that none of them ends or stops the process any more.
TEST(SignalModule, EveryCatchableNumberReachesTheLastRegisteredObjectEachTime) {
  const auto child = RunInChild([] {
    auto replaced = std::make_shared<Recorder>();
    auto recorder = std::make_shared<Recorder>();
    signal::SetApplication(replaced);
    signal::SetApplication(recorder);
    signal::CatchAllSignals();
    std::string wrong;
    for (int sig = 1; sig <= 31; ++sig) {
      if (sig != SIGKILL && sig != SIGSTOP) {
        raise(sig);
        raise(sig);
        if (recorder->Received(sig) != 2 || replaced->Received(sig) != 0) {
          wrong += std::to_string(sig) + " ";
        }
      }
    }
    return "survived " + wrong;
  });
  EXPECT_EQ(child.output, "survived ");
  EXPECT_TRUE(child.exited);
}

TEST(SignalModule, SigstopStillStopsAndSigkillStillKills) {
  const pid_t child = fork();
  if (child == 0) {
    signal::SetApplication(std::make_shared<Recorder>());
    signal::CatchAllSignals();
    raise(SIGSTOP);
    raise(SIGKILL);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, WUNTRACED), child);
  EXPECT_TRUE(WIFSTOPPED(status));
  kill(child, SIGCONT);
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
}

struct Orphan {
  const char* name;
  void (*prepare)();
  int sig;
};

// A signal with nobody to take it must not be thrown across the handler: one line, status 1.
TEST(SignalModule, SignalWithoutItsObjectEndsWithTheUnhandledStatus) {
  for (const Orphan& c : {
           Orphan{"cleared registration", [] { signal::SetApplication(nullptr); }, SIGHUP},
           Orphan{"after the exit routine",
                  [] {
                    signal::SetApplication(std::make_shared<Recorder>());
                    signal::internal::myAppExit();
                  },
                  SIGTERM},
           Orphan{"launch without an application object",
                  [] {
                    RuntimeInit(0, nullptr);
                    signal::SetApplication(std::make_shared<MyApplication>());
                  },
                  SIGUSR2},
       }) {
    EXPECT_EXIT(
        {
          c.prepare();
          signal::CatchAllSignals();
          raise(c.sig);
        },
        testing::ExitedWithCode(kUnhandledExceptionStatus),
        "^Unhandled NilObjectException: raised in a signal handler\n$")
        << c.name;
  }
}

TEST(SignalModule, InstallingANilBlockRaises) {
  EXPECT_THROW(signal::InstallHandler(SIGHUP, nullptr), NilObjectException);
}

}  // namespace
}  // namespace zeb
