#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>

#include "app/App.h"
#include "runtime/Exceptions.h"
#include "runtime/Platform.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/LoopScenario.h"

namespace zeb {
namespace {

using test::FakeLibrary;
using test::FakePlatform;
using test::LoopScenario;

TEST(FaultInjection, MissingFunctionEndsTheProgramWithAReportAndAnOrderlyShutdown) {
  for (const String function : {"usleep", "popen", "feof", "fread", "ferror", "pclose"}) {
    LoopScenario scenario;
    scenario.platform.missing = {function};
    // A launch request and an overdue check in pass 1, so every bound function is needed.
    scenario.atPass = [&scenario](int pass) {
      if (pass == 1) {
        scenario.platform.now += 601;
        std::raise(SIGUSR2);
      }
    };
    scenario.afterRun = [&scenario] {
      return "pclose=" + std::to_string(scenario.platform.lookups["pclose"]) + " " +
             test::FinalizedState();
    };
    const bool launchStarted = function != "usleep" && function != "popen";
    EXPECT_EQ(scenario.Run(), String(launchStarted ? "launch@1 " : "") +
                                  "end@1 status=1 [FunctionNotFoundException: function " +
                                  function + " not found in System.framework] pclose=" +
                                  (function == "pclose" ? "1" : "0") + " finalized=1");
  }
}

TEST(FaultInjection, FailedLaunchIsNotRetried) {
  LoopScenario scenario;
  scenario.library.outputs.clear();  // every command fails without output
  scenario.atPass = [](int pass) {
    if (pass == 2 || pass == 5) {
      std::raise(SIGUSR2);
    }
  };
  scenario.passLimit = 9;
  EXPECT_EQ(scenario.Run(), "launch@2 launch@5 end@10 status=0");
}

// The capture alone, in this process: it installs no handlers.
class CaptureFault : public testing::Test {
 protected:
  FakePlatform platform;
  FakeLibrary& library = FakeLibrary::InstallInto(platform);
  ScopedPlatform scoped{platform};
  class App app;
  String output = "held before the call";
};

TEST_F(CaptureFault, NoPopenRaisesAfterTheOutputWasEmptied) {
  platform.missing = {"popen"};
  try {
    app.GetShell(output, "listing");
    ADD_FAILURE() << "no exception";
  } catch (const FunctionNotFoundException& error) {
    EXPECT_EQ(error.Message(), "function popen not found in System.framework");
    EXPECT_FALSE(error.Stack().empty());
  }
  EXPECT_EQ(output, "");
}

// Stand-ins that record the handle they were given and never touch it.
std::vector<const void*> handlesSeen;

FILE* FailingPopen(const char* /*command*/, const char* /*mode*/) noexcept { return nullptr; }
int RecordingFeof(FILE* stream) noexcept {
  handlesSeen.push_back(stream);
  return 1;
}
std::size_t RecordingFread(void* /*buffer*/, std::size_t /*size*/, std::size_t /*count*/,
                           FILE* stream) noexcept {
  handlesSeen.push_back(stream);
  return 0;
}
int RecordingPclose(FILE* stream) noexcept {
  handlesSeen.push_back(stream);
  return -1;
}

TEST_F(CaptureFault, FailedPopenHandleIsPassedOnNotCaught) {
  handlesSeen.clear();
  platform.replaced["popen"] = reinterpret_cast<void*>(&FailingPopen);
  platform.replaced["feof"] = reinterpret_cast<void*>(&RecordingFeof);
  platform.replaced["fread"] = reinterpret_cast<void*>(&RecordingFread);
  platform.replaced["pclose"] = reinterpret_cast<void*>(&RecordingPclose);
  app.GetShell(output, "cannot start");
  // feof, the read after the loop, pclose: all given the null handle.
  EXPECT_EQ(handlesSeen, (std::vector<const void*>{nullptr, nullptr, nullptr}));
  EXPECT_EQ(output, String(512, '\0'));
}

TEST_F(CaptureFault, StreamErrorEndsReadingAfterThatItemAndStillCloses) {
  library.outputs["listing"] = String(1500, 'x');
  for (const int items : {1, 2}) {
    library.errorFromByte = 512L * items;
    platform.lookups.clear();
    app.GetShell(output, "listing");
    EXPECT_TRUE(output == String(512U * items, 'x')) << output.size() << " bytes";
    EXPECT_EQ(platform.lookups["fread"], items) << "no read after the loop";
    EXPECT_EQ(platform.lookups["pclose"], 1);
  }
}

}  // namespace
}  // namespace zeb
