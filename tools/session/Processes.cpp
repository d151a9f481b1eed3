#include "session/Processes.h"

#include <signal.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace zeb::session {

namespace {

sigset_t ChildSignal() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGCHLD);
  return set;
}

timespec Remaining(Clock::time_point deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - Clock::now());
  const long long nanoseconds = left.count() > 0 ? left.count() : 0;
  return {static_cast<time_t>(nanoseconds / 1000000000),
          static_cast<long>(nanoseconds % 1000000000)};
}

std::optional<pid_t> ParentOf(const std::filesystem::path& statFile) {
  std::ifstream file(statFile);
  std::string stat;
  std::getline(file, stat);
  // The name in parentheses may hold blanks; the fields after it are plain.
  const auto nameEnd = stat.rfind(')');
  if (nameEnd == std::string::npos) {
    return std::nullopt;
  }
  std::istringstream fields(stat.substr(nameEnd + 1));
  std::string state;
  pid_t parent = 0;
  if (!(fields >> state >> parent)) {
    return std::nullopt;
  }
  return parent;
}

std::optional<pid_t> ScanForChild() {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
    const std::string name = entry.path().filename();
    if (name.find_first_not_of("0123456789") != std::string::npos) {
      continue;
    }
    if (ParentOf(entry.path() / "stat") == ::getpid()) {
      return std::stoi(name);
    }
  }
  return std::nullopt;
}

}  // namespace

void BlockChildSignal() {
  const sigset_t set = ChildSignal();
  sigprocmask(SIG_BLOCK, &set, nullptr);
}

pid_t Start(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  const pid_t child = ::fork();
  if (child < 0) {
    throw std::runtime_error(std::string("fork: ") + strerror(errno));
  }
  if (child == 0) {
    const sigset_t set = ChildSignal();
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
    ::execvp(arguments[0], arguments.data());
    ::_exit(127);
  }
  return child;
}

std::optional<int> WaitUntil(pid_t child, Clock::time_point deadline) {
  const sigset_t set = ChildSignal();
  for (;;) {
    int status = 0;
    if (::waitpid(child, &status, WNOHANG) == child) {
      return status;
    }
    if (Clock::now() >= deadline) {
      return std::nullopt;
    }
    const timespec left = Remaining(deadline);
    sigtimedwait(&set, nullptr, &left);
  }
}

std::optional<pid_t> FindAdoptedChild(Clock::time_point deadline) {
  for (;;) {
    if (const auto child = ScanForChild()) {
      return child;
    }
    if (Clock::now() >= deadline) {
      return std::nullopt;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

std::string DescribeStatus(int waitStatus) {
  if (WIFEXITED(waitStatus)) {
    return "exit " + std::to_string(WEXITSTATUS(waitStatus));
  }
  if (WIFSIGNALED(waitStatus)) {
    const char* name = sigabbrev_np(WTERMSIG(waitStatus));
    return std::string("signal ") + (name != nullptr ? name : std::to_string(WTERMSIG(waitStatus)));
  }
  return "unknown " + std::to_string(waitStatus);
}

}  // namespace zeb::session
