#include "tests/reliability/AgentRun.h"

#include <algorithm>
#include <csignal>
#include <sstream>

#include "app/FileTypes.h"
#include "app/Startup.h"
#include "runtime/FileTypeRegistry.h"
#include "runtime/Platform.h"
#include "signals/SignalModule.h"

namespace zeb::test {

namespace {

// The child reports one value a line, in this order.
std::string RunHere(const AgentRun& run, bool& quitByTest) {
  FakePlatform platform;
  FakeLibrary& library = FakeLibrary::InstallInto(platform);
  library.clock = nullptr;  // time moves only when a pass says so
  if (run.prepare) {
    run.prepare(platform, library);
  }
  int passes = 0;
  bool launchPumpDue = false;
  const auto onCommand = library.onCommand;
  library.onCommand = [&](const String& command) {
    launchPumpDue = command == kLaunchCommand;
    if (onCommand) {
      onCommand(command);
    }
  };
  platform.onWait = [&] {
    // Each pass pumps first; a launch pumps once more, which is not a new pass.
    if (launchPumpDue) {
      launchPumpDue = false;
      return;
    }
    ++passes;
    if (run.atPass) {
      run.atPass(passes, platform);
    }
    if (passes > run.passLimit) {
      quitByTest = true;
      std::raise(SIGTERM);
    }
  };
  std::string reports;
  std::int32_t status = -1;
  {
    const ScopedPlatform scoped(platform);
    const char* const argv[] = {"zeb-agent", nullptr};
    status = RunAgent(1, argv);
  }
  for (const String& report : platform.reports) {
    reports += report + ';';
  }
  const auto count = [&](const char* command) {
    return std::count(library.commands.begin(), library.commands.end(), String(command));
  };
  const bool cleanedUp = signal::myApp.Get() == nullptr && FileTypes::pText == nullptr &&
                         RuntimeFileTypes().entries.empty();
  std::ostringstream out;
  out << status << '\n'
      << reports << '\n'
      << library.commands.size() << '\n'
      << count(kLaunchCommand) << '\n'
      << count(kListingCommand) << '\n'
      << passes << '\n'
      << cleanedUp << '\n'
      << quitByTest << '\n';
  return out.str();
}

}  // namespace

AgentOutcome AgentRun::Run() const {
  AgentOutcome outcome;
  outcome.child = RunInChild([this] {
    bool quitByTest = false;
    return RunHere(*this, quitByTest);
  });
  std::istringstream in(outcome.child.output);
  std::string line;
  const auto next = [&] {
    std::getline(in, line);
    return line;
  };
  try {
    outcome.status = std::stoi(next());
    outcome.reports = next();
    outcome.commands = std::stoul(next());
    outcome.launches = std::stoul(next());
    outcome.listings = std::stoul(next());
    outcome.passes = std::stoi(next());
    outcome.cleanedUp = next() == "1";
    outcome.quitByTest = next() == "1";
  } catch (const std::exception&) {
    outcome.status = -1;  // the child did not get to the end; ChildResult tells why
  }
  return outcome;
}

}  // namespace zeb::test
