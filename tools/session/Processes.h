#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace zeb::session {

using Clock = std::chrono::steady_clock;

// Must be called before Start: children are watched through a blocked SIGCHLD.
void BlockChildSignal();

// Starts the command as a child with the signal mask it would have had without us.
pid_t Start(const std::vector<std::string>& command);

// The child's wait status, or nothing when the deadline passes first.
std::optional<int> WaitUntil(pid_t child, Clock::time_point deadline);

// A process whose parent is now this one: as child subreaper we inherit what the starter leaves
// behind. Nothing when none shows up before the deadline.
std::optional<pid_t> FindAdoptedChild(Clock::time_point deadline);

// "exit N" or "signal NAME".
std::string DescribeStatus(int waitStatus);

}  // namespace zeb::session
