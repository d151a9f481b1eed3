#include "tests/support/ChildProcess.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>

namespace zeb::test {

namespace {

std::string ReadAll(FILE* file) {
  std::string text;
  std::rewind(file);
  std::array<char, 4096> chunk{};
  for (std::size_t got; (got = std::fread(chunk.data(), 1, chunk.size(), file)) > 0;) {
    text.append(chunk.data(), got);
  }
  return text;
}

void WriteAll(int descriptor, const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t wrote = ::write(descriptor, text.data() + done, text.size() - done);
    if (wrote <= 0) {
      return;
    }
    done += static_cast<std::size_t>(wrote);
  }
}

[[noreturn]] void RunBody(const std::function<std::string()>& body, int resultPipe, int errors) {
  ::dup2(errors, STDERR_FILENO);
  std::string output;
  try {
    output = body();
  } catch (const std::exception& error) {
    output = std::string("uncaught: ") + error.what();
  }
  WriteAll(resultPipe, output);
  ::_exit(0);
}

}  // namespace

ChildResult RunInChild(const std::function<std::string()>& body,
                       std::chrono::milliseconds deadline) {
  ChildResult result;
  FILE* const errors = std::tmpfile();
  std::array<int, 2> pipe{};
  if (errors == nullptr || ::pipe(pipe.data()) != 0) {
    std::abort();
  }
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    ::close(pipe[0]);
    RunBody(body, pipe[1], ::fileno(errors));
  }
  ::close(pipe[1]);
  const auto end = std::chrono::steady_clock::now() + deadline;
  std::array<char, 4096> chunk{};
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        end - std::chrono::steady_clock::now());
    pollfd ready{pipe[0], POLLIN, 0};
    if (left.count() <= 0 || ::poll(&ready, 1, static_cast<int>(left.count())) == 0) {
      ::kill(child, SIGKILL);
      result.timedOut = true;
      break;
    }
    const ssize_t got = ::read(pipe[0], chunk.data(), chunk.size());
    if (got <= 0) {
      break;
    }
    result.output.append(chunk.data(), static_cast<std::size_t>(got));
  }
  ::close(pipe[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  result.exited = WIFEXITED(status);
  result.status = result.exited ? WEXITSTATUS(status) : WTERMSIG(status);
  result.errors = ReadAll(errors);
  std::fclose(errors);
  return result;
}

}  // namespace zeb::test
