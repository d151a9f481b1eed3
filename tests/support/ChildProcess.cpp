#include "tests/support/ChildProcess.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

namespace zeb::test {

namespace {

std::string ReadAndClose(FILE* file) {
  std::string text;
  std::rewind(file);
  for (int byte; (byte = std::fgetc(file)) != EOF;) {
    text += static_cast<char>(byte);
  }
  std::fclose(file);
  return text;
}

// An exception escaping the body ends the child with SIGABRT, which the caller sees.
[[noreturn]] void RunBody(const std::function<std::string()>& body, FILE* output) {
  const std::string text = body();
  std::fwrite(text.data(), 1, text.size(), output);
  std::fflush(output);
  ::_exit(0);
}

// The child's wait status; a child still running at the deadline is killed.
int WaitUntil(pid_t child, std::chrono::steady_clock::time_point deadline, bool& timedOut) {
  int status = 0;
  while (::waitpid(child, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() >= deadline) {
      ::kill(child, SIGKILL);
      ::waitpid(child, &status, 0);
      timedOut = true;
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return status;
}

}  // namespace

ChildResult RunInChild(const std::function<std::string()>& body,
                       std::chrono::milliseconds deadline) {
  FILE* const output = std::tmpfile();
  if (output == nullptr) {
    std::abort();
  }
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    RunBody(body, output);
  }
  ChildResult result;
  const int status = WaitUntil(child, std::chrono::steady_clock::now() + deadline, result.timedOut);
  result.exited = WIFEXITED(status);
  result.status = result.exited ? WEXITSTATUS(status) : WTERMSIG(status);
  result.output = ReadAndClose(output);
  return result;
}

}  // namespace zeb::test
