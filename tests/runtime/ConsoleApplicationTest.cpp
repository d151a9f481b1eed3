#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "runtime/ConsoleApplication.h"
#include "runtime/FolderItem.h"
#include "tests/support/ChildProcess.h"

namespace zeb {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

bool IsDevNull(int descriptor) {
  struct stat stream {};
  struct stat null {};
  return fstat(descriptor, &stream) == 0 && stat("/dev/null", &null) == 0 &&
         stream.st_dev == null.st_dev && stream.st_ino == null.st_ino;
}

// What the detached process finds out about itself, one word per line.
std::string DescribeDetachedProcess(bool detached) {
  std::ostringstream out;
  char folder[256] = {};
  out << "detached=" << detached << "\n"
      << "session-leader=" << (getsid(0) == getpid()) << "\n"
      << "terminal=" << (open("/dev/tty", O_RDWR | O_NOCTTY) >= 0) << "\n"
      << "streams-null=" << (IsDevNull(0) && IsDevNull(1) && IsDevNull(2)) << "\n"
      << "folder=" << (getcwd(folder, sizeof folder) != nullptr ? folder : "?") << "\n";
  return out.str();
}

TEST(ConsoleApplication, DaemonizeDetachesAndTheStarterExitsAtOnce) {
  char report[] = "/tmp/zeb-daemonize-XXXXXX";
  const int descriptor = mkstemp(report);
  ASSERT_GE(descriptor, 0);
  close(descriptor);
  const std::string path = report;
  const test::ChildResult starter = test::RunInChild([&path] {
    ConsoleApplication app;
    const bool detached = app.Daemonize();
    const std::string description = DescribeDetachedProcess(detached);
    std::ofstream(path + ".part") << description;
    rename((path + ".part").c_str(), path.c_str());
    _exit(0);
    return std::string();
  });
  EXPECT_TRUE(starter.exited);
  EXPECT_EQ(starter.status, 0);

  std::string description;
  for (const auto deadline = steady_clock::now() + std::chrono::seconds(10);
       description.empty() && steady_clock::now() < deadline;
       std::this_thread::sleep_for(milliseconds(10))) {
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    description = text.str();
  }
  unlink(path.c_str());
  EXPECT_EQ(description, "detached=1\nsession-leader=1\nterminal=0\nstreams-null=1\nfolder=/\n");
}

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

TEST(ConsoleApplication, ExecutableFileNamesTheRunningProgram) {
  const auto file = ConsoleApplication().ExecutableFile();
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->Name(), "zeb-agent-tests");
  EXPECT_EQ(file->Path().front(), '/');
}

TEST(FolderItem, NameIsTheLastComponent) {
  for (const auto& [path, name] : std::initializer_list<std::pair<const char*, const char*>>{
           {"/usr/local/bin/agent", "agent"},
           {"agent", "agent"},
           {"/opt/zeb agent/zeb-agent", "zeb-agent"},
           {"/usr/bin/", "bin"},
           {"/", ""}}) {
    EXPECT_EQ(FolderItem(path).Name(), name) << path;
  }
}

}  // namespace
}  // namespace zeb
