#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <set>

#include "app/App.h"
#include "runtime/Exceptions.h"
#include "runtime/Platform.h"
#include "tests/support/LoopScenario.h"
#include "tests/support/FakePlatform.h"

namespace zeb {
namespace {

using test::FakeLibrary;
using test::FakePlatform;
using test::LoopScenario;

class MissingFunction : public testing::TestWithParam<const char*> {};

TEST_P(MissingFunction, EndsTheProgramWithAReportAndAnOrderlyShutdown) {
  const String function = GetParam();
  LoopScenario scenario;
  scenario.platform.missing = {function};
  // A launch request and an overdue check in the first pass, so every bound function is needed.
  scenario.atPass = [&scenario](int pass) {
    if (pass == 1) {
      scenario.platform.now += 601;
      std::raise(SIGUSR2);
    }
  };
  scenario.afterRun = test::FinalizedState;
  const bool launchStarted = function != "usleep" && function != "popen";
  EXPECT_EQ(scenario.Run(), String(launchStarted ? "launch@1 " : "") +
                                "end@1 status=1 [FunctionNotFoundException: function " + function +
                                " not found in System.framework] finalized=1");
}

INSTANTIATE_TEST_SUITE_P(FaultInjection, MissingFunction,
                         testing::Values("usleep", "popen", "feof", "fread", "ferror", "pclose"),
                         [](const testing::TestParamInfo<const char*>& param) {
                           return std::string(param.param);
                         });

// The capture alone, in this process: it installs no handlers.
class CaptureFault : public testing::Test {
 protected:
  FakePlatform platform;
  FakeLibrary& library = FakeLibrary::InstallInto(platform);
  ScopedPlatform scoped{platform};
  class App app;
  String output = "held before the call";

  // The name the FunctionNotFoundException of a capture of `command` carries, or "".
  String MissingNameIn(const String& command) {
    try {
      app.GetShell(output, command);
    } catch (const FunctionNotFoundException& error) {
      return error.Message();
    }
    return {};
  }
};

TEST_F(CaptureFault, NoPopenRaisesAfterTheOutputWasEmptied) {
  platform.missing = {"popen"};
  EXPECT_EQ(MissingNameIn("listing"), "function popen not found in System.framework");
  EXPECT_EQ(output, "");
  EXPECT_TRUE(library.commands.empty());
  EXPECT_EQ(platform.lookups, (std::map<String, int>{{"popen", 1}}));
}

TEST_F(CaptureFault, NoFreadRaisesAfterTheCommandStartedAndLeavesItOpen) {
  platform.missing = {"fread"};
  library.outputs["listing"] = "COMMAND\nloginwindow\n";
  EXPECT_EQ(MissingNameIn("listing"), "function fread not found in System.framework");
  EXPECT_EQ(library.commands, std::vector<String>{"listing"});
  EXPECT_EQ(library.feofCalls, 1);
  EXPECT_EQ(library.pcloseCalls, 0);
  EXPECT_EQ(output, "");
}

// Stand-ins that record the handle they were given and never touch it.
struct NullStream {
  std::vector<const void*> handles;
  int reads = 0;
};
NullStream nullStream;

FILE* FailingPopen(const char* /*command*/, const char* /*mode*/) noexcept { return nullptr; }
int RecordingFeof(FILE* stream) noexcept {
  nullStream.handles.push_back(stream);
  return 1;
}
std::size_t RecordingFread(void* /*buffer*/, std::size_t /*size*/, std::size_t /*count*/,
                           FILE* stream) noexcept {
  nullStream.handles.push_back(stream);
  ++nullStream.reads;
  return 0;
}
int RecordingPclose(FILE* stream) noexcept {
  nullStream.handles.push_back(stream);
  return -1;
}

TEST_F(CaptureFault, FailedPopenHandleIsPassedOnNotCaught) {
  nullStream = NullStream{};
  platform.replaced["popen"] = reinterpret_cast<void*>(&FailingPopen);
  platform.replaced["feof"] = reinterpret_cast<void*>(&RecordingFeof);
  platform.replaced["fread"] = reinterpret_cast<void*>(&RecordingFread);
  platform.replaced["pclose"] = reinterpret_cast<void*>(&RecordingPclose);
  app.GetShell(output, "cannot start");
  // feof, the read after the loop, pclose: all given the null handle.
  EXPECT_EQ(nullStream.handles, (std::vector<const void*>{nullptr, nullptr, nullptr}));
  EXPECT_EQ(nullStream.reads, 1);
  EXPECT_EQ(output, String(512, '\0'));
}

struct StreamErrorCase {
  const char* name;
  std::size_t written;
  int errorAfterReads;
  String expected;
  int reads;
};

void PrintTo(const StreamErrorCase& c, std::ostream* out) { *out << c.name; }

class StreamError : public CaptureFault, public testing::WithParamInterface<StreamErrorCase> {};

TEST_P(StreamError, EndsReadingAfterThatItemAndStillCloses) {
  const StreamErrorCase& c = GetParam();
  library.outputs["listing"] = String(c.written, 'x');
  library.ferrorAfterReads = c.errorAfterReads;
  app.GetShell(output, "listing");
  EXPECT_TRUE(output == c.expected) << output.size() << " bytes";
  EXPECT_EQ(library.freadCalls, c.reads) << "no read after the loop";
  EXPECT_EQ(library.pcloseCalls, 1);
}

INSTANTIATE_TEST_SUITE_P(
    CaptureFault, StreamError,
    testing::Values(StreamErrorCase{"FirstOfThreeItems", 1500, 1, String(512, 'x'), 1},
                    StreamErrorCase{"SecondOfThreeItems", 1500, 2, String(1024, 'x'), 2},
                    StreamErrorCase{"ShortItem", 4, 1, String(4, 'x') + String(508, '\0'), 1},
                    StreamErrorCase{"NothingWritten", 0, 1, String(512, '\0'), 1}),
    [](const testing::TestParamInfo<StreamErrorCase>& param) { return param.param.name; });

// Runs the real popen on a command the shell cannot find, whatever command was asked for.
FILE* PopenOfAMissingCommand(const char* command, const char* mode) noexcept {
  const FakeLibrary& library = test::TheFakeLibrary();
  if (library.onCommand) {
    library.onCommand(command);
  }
  return ::popen("/nonexistent/zeb-no-such-command 2>/dev/null", mode);
}

void CommandsAreNotFound(LoopScenario& scenario) {
  scenario.platform.replaced["popen"] = reinterpret_cast<void*>(&PopenOfAMissingCommand);
  scenario.platform.replaced.erase("pclose");  // the real one, for the real stream
}

void CommandsWriteNothing(LoopScenario& scenario) { scenario.library.outputs.clear(); }

struct FailingCommandCase {
  const char* name;
  void (*prepare)(LoopScenario&);
};

void PrintTo(const FailingCommandCase& c, std::ostream* out) { *out << c.name; }

class FailingCommand : public testing::TestWithParam<FailingCommandCase> {};

TEST_P(FailingCommand, FailedListingEndsTheAgentAtTheCheck) {
  LoopScenario scenario;
  GetParam().prepare(scenario);
  scenario.atPass = [&scenario](int pass) {
    if (pass == 3) {
      scenario.platform.now += 601;
    }
  };
  scenario.afterRun = test::FinalizedState;
  EXPECT_EQ(scenario.Run(), "listing@3 end@3 status=0 finalized=1");
}

TEST_P(FailingCommand, FailedLaunchIsNotRetried) {
  for (const auto& [requests, trace] :
       {std::pair{std::set<int>{2}, "launch@2 end@10 status=0"},
        std::pair{std::set<int>{2, 5}, "launch@2 launch@5 end@10 status=0"}}) {
    LoopScenario scenario;
    GetParam().prepare(scenario);
    scenario.atPass = [&requests](int pass) {
      if (requests.contains(pass)) {
        std::raise(SIGUSR2);
      }
    };
    scenario.passLimit = 9;
    EXPECT_EQ(scenario.Run(), trace);
  }
}

INSTANTIATE_TEST_SUITE_P(
    FaultInjection, FailingCommand,
    testing::Values(FailingCommandCase{"WritesNothing", CommandsWriteNothing},
                    FailingCommandCase{"NotFoundByTheShell", CommandsAreNotFound}),
    [](const testing::TestParamInfo<FailingCommandCase>& param) { return param.param.name; });

}  // namespace
}  // namespace zeb
