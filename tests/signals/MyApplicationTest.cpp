#include <gtest/gtest.h>

#include <csignal>

#include "app/App.h"
#include "runtime/Runtime.h"
#include "signals/MyApplication.h"

namespace zeb {
namespace {

// The reactions, driven through the event caller directly: no handler is installed here.
class Reactions : public testing::Test {
 protected:
  void SetUp() override {
    RuntimeInit(0, nullptr);
    RuntimeRegisterConsoleAppObject(std::make_shared<class App>(), false);
  }
  void TearDown() override { RuntimeInit(0, nullptr); }

  static bool LaunchRequested() { return zeb::App()->DoLaunch; }
  MyApplication signals;
};

TEST_F(Reactions, UntouchedObjectIsNotIdle) {
  EXPECT_FALSE(signals.Idle());
  EXPECT_FALSE(LaunchRequested());
}

TEST_F(Reactions, LaunchRequestIsAFlagNotACount) {
  signals.SignalCaughtEventCaller(SIGUSR2);
  signals.SignalCaughtEventCaller(SIGUSR2);
  EXPECT_TRUE(LaunchRequested());
  zeb::App()->DoLaunch = false;
  EXPECT_FALSE(LaunchRequested());
  EXPECT_FALSE(signals.Idle());
}

TEST_F(Reactions, QuitSignalsMakeIdleTrueForGood) {
  for (const int sig : {SIGINT, SIGTERM, SIGQUIT}) {
    MyApplication fresh;
    fresh.SignalCaughtEventCaller(sig);
    EXPECT_TRUE(fresh.Idle()) << sig;
    fresh.SignalCaughtEventCaller(SIGUSR2);
    EXPECT_TRUE(fresh.Idle()) << sig;
  }
  EXPECT_FALSE(signals.Idle());
}

TEST_F(Reactions, OtherNumbersChangeNothing) {
  for (const int sig : {SIGUSR1, SIGHUP, SIGALRM, SIGCHLD, SIGTSTP, SIGPIPE, 0, 32, 64, -1}) {
    signals.SignalCaughtEventCaller(sig);
  }
  EXPECT_FALSE(signals.Idle());
  EXPECT_FALSE(LaunchRequested());
}

TEST_F(Reactions, PlainSignalObjectDoesNothing) {
  SIGConsoleApplication plain;
  for (const int sig : {SIGUSR2, SIGINT, SIGTERM, SIGQUIT}) {
    plain.SignalCaughtEventCaller(sig);
  }
  EXPECT_FALSE(LaunchRequested());
}

}  // namespace
}  // namespace zeb
