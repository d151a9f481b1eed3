#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <sstream>

#include "app/App.h"
#include "runtime/Exceptions.h"
#include "runtime/Runtime.h"
#include "signals/MyApplication.h"
#include "signals/SignalModule.h"
#include "tests/support/ChildProcess.h"

namespace zeb {
namespace {

using test::RunInChild;

constexpr std::chrono::seconds kDeadline(10);

// Counts what reaches it, signal by signal.
class Recorder : public SIGConsoleApplication {
 public:
  void Event_SignalCaught(std::int32_t sig) noexcept override {
    if (sig > 0 && sig < static_cast<std::int32_t>(received.size())) {
      ++received[static_cast<std::size_t>(sig)];
    }
  }
  std::array<std::atomic<int>, 33> received{};
};

bool Catchable(int sig) { return sig != SIGKILL && sig != SIGSTOP; }

TEST(SignalModule, EveryCatchableNumberReachesTheObjectEachTime) {
  const auto child = RunInChild(
      [] {
        auto recorder = std::make_shared<Recorder>();
        signal::SetApplication(recorder);
        signal::CatchAllSignals();
        std::ostringstream wrong;
        for (int sig = 1; sig <= 31; ++sig) {
          if (Catchable(sig)) {
            raise(sig);
            raise(sig);
            if (recorder->received[static_cast<std::size_t>(sig)] != 2) {
              wrong << sig << ":" << recorder->received[static_cast<std::size_t>(sig)] << " ";
            }
          }
        }
        return "survived " + wrong.str();
      },
      kDeadline);
  EXPECT_EQ(child.output, "survived ");
  EXPECT_TRUE(child.exited);
}

TEST(SignalModule, DefaultActionsThatEndOrStopAreDisarmed) {
  const auto child = RunInChild(
      [] {
        RuntimeInit(0, nullptr);
        RuntimeRegisterConsoleAppObject(std::make_shared<class App>(), false);
        auto signals = std::make_shared<MyApplication>();
        signal::SetApplication(signals);
        signal::CatchAllSignals();
        for (const int sig :
             {SIGHUP, SIGPIPE, SIGALRM, SIGTSTP, SIGTTIN, SIGTTOU, SIGUSR1, SIGCHLD}) {
          raise(sig);
        }
        return std::string(signals->Idle() ? "idle" : "running") +
               (zeb::App()->DoLaunch ? " launch" : "");
      },
      kDeadline);
  EXPECT_EQ(child.output, "running");
}

TEST(SignalModule, SigkillStillKills) {
  const auto child = RunInChild(
      [] {
        signal::SetApplication(std::make_shared<Recorder>());
        signal::CatchAllSignals();
        raise(SIGKILL);
        return std::string("alive");
      },
      kDeadline);
  EXPECT_FALSE(child.exited);
  EXPECT_EQ(child.status, SIGKILL);
}

TEST(SignalModule, SigstopStillStops) {
  const pid_t child = fork();
  if (child == 0) {
    signal::SetApplication(std::make_shared<Recorder>());
    signal::CatchAllSignals();
    raise(SIGSTOP);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, WUNTRACED), child);
  EXPECT_TRUE(WIFSTOPPED(status));
  kill(child, SIGCONT);
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
}

TEST(SignalModule, SecondRegistrationTakesOver) {
  const auto child = RunInChild(
      [] {
        auto first = std::make_shared<Recorder>();
        auto second = std::make_shared<Recorder>();
        signal::SetApplication(first);
        signal::SetApplication(second);
        signal::CatchAllSignals();
        raise(SIGHUP);
        return std::to_string(first->received[SIGHUP]) + std::to_string(second->received[SIGHUP]);
      },
      kDeadline);
  EXPECT_EQ(child.output, "01");
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
    const auto child = RunInChild(
        [&c] {
          c.prepare();
          signal::CatchAllSignals();
          raise(c.sig);
          return std::string("returned");
        },
        kDeadline);
    EXPECT_TRUE(child.exited) << c.name;
    EXPECT_EQ(child.status, kUnhandledExceptionStatus) << c.name;
    EXPECT_EQ(child.output, "") << c.name;
    EXPECT_EQ(child.errors, "Unhandled NilObjectException: raised in a signal handler\n") << c.name;
  }
}

TEST(SignalModule, InstallingANilBlockRaises) {
  EXPECT_THROW(signal::InstallHandler(SIGHUP, nullptr), NilObjectException);
}

}  // namespace
}  // namespace zeb
