#pragma once

// One harness for in-process runs: a fake platform, and whole runs of the agent against it in a
// child process (a run installs signal handlers and may exit), told by a trace such as
// "detach launch@1 check@2 end@3 status=0".

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "runtime/Platform.h"

namespace zeb::test {

// The clock, the version answer, the executable's path and the loader are the test's; usleep,
// popen, ferror and pclose are stand-ins that serve `outputs` as real streams; detaching and
// waiting are not done. Everything else is the real thing.
class FakePlatform : public Platform {
 public:
  FakePlatform();
  ~FakePlatform() override;
  FakePlatform(const FakePlatform&) = delete;
  FakePlatform& operator=(const FakePlatform&) = delete;
  FakePlatform(FakePlatform&&) = delete;
  FakePlatform& operator=(FakePlatform&&) = delete;

  void* LoadFunctionPointerFromLibrary(const String& function, std::string_view library) override;
  bool QuerySystemVersion(std::int32_t& result) override;
  bool Detach() override;
  void WaitForEvents(std::int32_t milliseconds) override;
  Tick Ticks() override { return now; }
  String ExecutablePath() override { return executablePath; }

  std::optional<std::int32_t> version;  // none: the query fails
  bool versionThrows = false;           // the query throws a std::exception
  Tick now = 0;
  String executablePath = "/usr/local/bin/zeb-agent";
  std::set<String> missing;  // functions the loader does not find
  std::map<String, int> lookups;
  std::map<String, String> outputs;  // command -> what it writes (real popen for the rest)
  long errorFromByte = -1;           // ferror fails once the stream has been read this far
  std::function<void(const String& command)> onCommand;
  std::function<void()> onPause;
  std::function<void(std::int32_t milliseconds)> onWait;
};

// Runs `body` in a child; returns what it wrote to standard output and error, and " exit=N" or
// " killed=N" unless it exited with 0.
std::string RunInChild(const std::function<void()>& body);

// A whole run against `platform`. `script` holds events "P:X": in pass P (from 1; "end" is after
// the run), at its start or, with a suffix, while the launch runs (l), while the listing runs
// (c) or in the pause (p), X happens: a signal (USR2, TERM, ..., or SIG<number>) or the clock
// reading in ticks. Check N gets listings[N-1], the last one repeating. A run still going after
// 30 passes is ended with SIGTERM and shows "limit".
std::string RunScript(FakePlatform& platform, const std::string& script,
                      std::vector<std::string> listings = {});

inline const std::string kLiveSession = "COMMAND\nloginwindow\nzeb-agent\n";

}  // namespace zeb::test
