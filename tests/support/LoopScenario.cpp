#include "tests/support/LoopScenario.h"

#include "app/FileTypes.h"
#include "app/Startup.h"
#include "runtime/FileTypeRegistry.h"
#include "signals/SignalModule.h"

namespace zeb::test {

namespace {

std::string Kind(const String& command) {
  if (command == kLaunchCommand) {
    return "launch";
  }
  return command == kListingCommand ? "listing" : "other";
}

}  // namespace

LoopScenario::LoopScenario() : library(FakeLibrary::InstallInto(platform)) {
  library.outputs[kListingCommand] = kLiveSession;
}

std::string LoopScenario::RunHere() {
  platform.onWait = [this] {
    if (launchPumpDue_) {
      launchPumpDue_ = false;  // the pump after a launch belongs to the same pass
      return;
    }
    ++pass_;
    if (pass_ > passLimit) {
      std::raise(SIGTERM);
    } else if (atPass) {
      atPass(pass_);
    }
  };
  library.onCommand = [this](const String& command) {
    trace_ += Kind(command) + "@" + std::to_string(pass_) + " ";
    launchPumpDue_ = command == kLaunchCommand;
    if (duringCommand) {
      duringCommand(command, pass_);
    }
  };
  const ScopedPlatform scoped(platform);
  const char* const arguments[] = {"zeb-agent"};
  const std::int32_t status = RunAgent(1, arguments);
  trace_ += "end@" + std::to_string(pass_) + " status=" + std::to_string(status);
  for (const String& report : platform.reports) {
    trace_ += " [" + report + "]";
  }
  if (afterRun) {
    trace_ += " " + afterRun();
  }
  return trace_;
}

std::string FinalizedState() {
  const bool finalized = signal::myApp.Get() == nullptr && FileTypes::pText == nullptr &&
                         RuntimeFileTypes().entries.empty();
  return "finalized=" + std::to_string(finalized ? 1 : 0);
}

std::string LoopScenario::Run() {
  const ChildResult child = RunInChild([this] { return RunHere(); });
  return child.timedOut ? "timed out: " + child.output : child.output;
}

}  // namespace zeb::test
