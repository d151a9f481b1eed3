#include <gtest/gtest.h>

#include <csignal>
#include <vector>

#include "app/App.h"
#include "runtime/Runtime.h"
#include "signals/MyApplication.h"

namespace zeb {
namespace {

struct ReactionCase {
  std::vector<int> signals;
  bool launch;
  bool idle;
};

// Driven through the event caller directly: no handler is installed here.
TEST(MyApplication, ReactsToLaunchAndQuitRequestsOnly) {
  for (const ReactionCase& c : {
           ReactionCase{{}, false, false},
           ReactionCase{{SIGUSR2, SIGUSR2}, true, false},
           ReactionCase{{SIGINT, SIGUSR2}, true, true},
           ReactionCase{{SIGTERM}, false, true},
           ReactionCase{{SIGQUIT}, false, true},
           ReactionCase{
               {SIGUSR1, SIGHUP, SIGALRM, SIGCHLD, SIGTSTP, SIGPIPE, 0, 32, 64, -1}, false, false},
       }) {
    RuntimeInit(0, nullptr);
    RuntimeRegisterConsoleAppObject(std::make_shared<class App>(), false);
    MyApplication signals;
    for (const int sig : c.signals) {
      signals.SignalCaughtEventCaller(sig);
    }
    EXPECT_EQ(static_cast<bool>(zeb::App()->DoLaunch), c.launch)
        << testing::PrintToString(c.signals);
    EXPECT_EQ(signals.Idle(), c.idle) << testing::PrintToString(c.signals);
    EXPECT_EQ(signals.Idle(), c.idle) << "Idle clears nothing";
  }
  RuntimeInit(0, nullptr);
}

}  // namespace
}  // namespace zeb
