#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>

#include <chrono>

#include "runtime/ConsoleApplication.h"
#include "tests/support/ChildProcess.h"

namespace zeb {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

void Ignore(int /*sig*/) {}

TEST(ConsoleApplication, DoEventsWaitsItsTimeThroughASignalBurst) {
  const test::ChildResult child = test::RunInChild([] {
    struct sigaction action {};
    action.sa_handler = Ignore;
    sigaction(SIGALRM, &action, nullptr);
    const itimerval everyMillisecond{{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &everyMillisecond, nullptr);
    ConsoleApplication app;
    const auto start = steady_clock::now();
    app.DoEvents(60);
    const auto waited = steady_clock::now() - start;
    const auto beforeZero = steady_clock::now();
    app.DoEvents(0);
    app.DoEvents(-5);
    const auto zero = steady_clock::now() - beforeZero;
    return std::string(waited >= milliseconds(60) ? "full" : "short") +
           (zero < milliseconds(20) ? " prompt" : " slow");
  });
  EXPECT_EQ(child.output, "full prompt");
}

}  // namespace
}  // namespace zeb
