#pragma once

#include <cstdio>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "runtime/Exceptions.h"
#include "runtime/PosixPlatform.h"

namespace zeb::test {

// A platform for in-process tests: a clock that only moves when told, a version answer of the
// test's choosing, no real detaching or waiting, and a loader in which single functions can be
// replaced or taken away. Whatever a test leaves alone is the real thing.
class FakePlatform : public PosixPlatform {
 public:
  void* LoadFunctionPointerFromLibrary(const String& function, const String& library) override;
  bool QuerySystemVersion(std::int32_t& result) override {
    result = version.value_or(result);
    return version.has_value();
  }
  bool Detach() override {
    ++detachCalls;
    return true;
  }
  void WaitForEvents(std::int32_t milliseconds) override {
    waits.push_back(milliseconds);
    if (onWait) {
      onWait();
    }
  }
  Tick Ticks() override { return now; }
  String ExecutablePath() override { return executablePath; }
  void ReportUnhandledException(const RuntimeException& error) override {
    reports.push_back(String(error.ClassName()) + ": " + error.Message());
  }

  std::map<String, void*> replaced;
  std::set<String> missing;
  std::map<String, int> lookups;  // bindings are per call, so these count the calls too

  std::optional<std::int32_t> version;  // no value: the query fails
  Tick now = 0;
  String executablePath = "/usr/local/bin/zeb-agent";
  int detachCalls = 0;
  std::vector<std::int32_t> waits;
  std::function<void()> onWait;
  std::vector<String> reports;
};

// Stand-ins for usleep, popen, ferror and pclose; the real feof and fread read the canned output.
// Their state is one global, since C functions have nowhere else to keep it.
struct FakeLibrary {
  std::map<String, String> outputs;  // command -> what it writes; others write nothing
  std::vector<String> commands;      // every popen, in order
  std::function<void(const String&)> onCommand;
  std::function<void()> onPause;
  long errorFromByte = -1;  // ferror reports an error once the stream has been read this far

  // Puts the stand-ins into `platform`'s loader and resets this state.
  static FakeLibrary& InstallInto(FakePlatform& platform);
};

}  // namespace zeb::test
