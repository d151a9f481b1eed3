#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace zeb::test {

struct ChildResult {
  bool exited = false;    // ended by exit rather than a signal
  int status = -1;        // exit status, or the number of the signal that ended it
  bool timedOut = false;  // killed at the deadline
  std::string output;     // what the body returned
};

// Runs `body` in a forked child, so that signal handlers and exits stay out of the test runner.
ChildResult RunInChild(const std::function<std::string()>& body,
                       std::chrono::milliseconds deadline = std::chrono::seconds(30));

}  // namespace zeb::test
