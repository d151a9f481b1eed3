// zeb-session: runs a program in a simulated login session, for the black-box tests and the demo.
//
//   zeb-session [--open FILE] [--ps FILE] [--deadline SECONDS] --out DIR -- COMMAND [ARG...]
//
// In a private mount namespace (a user namespace too when not root) the given scripts stand in
// for /usr/bin/open and /bin/ps. The tool becomes a child subreaper, starts COMMAND (the
// starter), waits for it, adopts the process it leaves running (the detached agent) and waits
// for that one too. Once the deadline (default 60 s after the start) passes, what still runs is
// killed. Results go to DIR, one small file each, written whole (rename), agent-status last:
//   started-at       wall clock at the start, seconds since the epoch
//   starter-status   "exit N" or "signal NAME";  starter-seconds: how long the starter ran
//   agent-pid        the adopted process (same PID namespace as the caller, so kill it by pid)
//   agent-status     "exit N", "signal NAME", or "none" when nothing was left running
//   agent-seconds    from the start to the agent's end;  ended-at: wall clock at its end
// Exit status: 0 when the run was recorded, 77 when the machine allows no such sandbox (the
// message says what is missing), 2 for a usage error, 1 for any other failure.

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "session/Processes.h"
#include "session/Sandbox.h"

namespace {

namespace fs = std::filesystem;
using zeb::session::Clock;

constexpr int kUsageError = 2;
constexpr int kSandboxUnavailable = 77;
constexpr auto kAdoptionWait = std::chrono::seconds(2);

struct Options {
  std::vector<zeb::session::StandIn> standIns;
  fs::path out;
  std::chrono::seconds deadline{60};
  std::vector<std::string> command;
};

constexpr const char* kUsage =
    "usage: zeb-session [--open FILE] [--ps FILE] [--deadline SECONDS] --out DIR -- COMMAND "
    "[ARG...]\n"
    "Runs COMMAND with FILE standing in for /usr/bin/open and /bin/ps in a private mount\n"
    "namespace, adopts the process it leaves running and records both ends in DIR.\n";

std::optional<Options> ParseOptions(int argc, char** argv) {
  Options options;
  int index = 1;
  for (; index < argc && std::string(argv[index]) != "--"; ++index) {
    const std::string option = argv[index];
    if (index + 1 >= argc) {
      return std::nullopt;
    }
    const std::string value = argv[++index];
    if (option == "--open" || option == "--ps") {
      options.standIns.push_back({option.substr(2), fs::absolute(value)});
    } else if (option == "--out") {
      options.out = value;
    } else if (option == "--deadline") {
      options.deadline = std::chrono::seconds(std::stoi(value));
    } else {
      return std::nullopt;
    }
  }
  for (++index; index < argc; ++index) {
    options.command.emplace_back(argv[index]);
  }
  if (options.out.empty() || options.command.empty()) {
    return std::nullopt;
  }
  return options;
}

class Recorder {
 public:
  explicit Recorder(fs::path folder) : folder_(std::move(folder)) {
    fs::create_directories(folder_);
  }

  // Written whole, so that a reader polling for the file never sees half of it.
  void Write(const std::string& name, const std::string& text) const {
    const fs::path partial = folder_ / ("." + name + ".partial");
    std::ofstream(partial) << text << '\n';
    fs::rename(partial, folder_ / name);
  }

  void WriteSeconds(const std::string& name, Clock::duration duration) const {
    Write(name, Format(std::chrono::duration<double>(duration).count(), "%.6f"));
  }

  void WriteWallClock(const std::string& name) const {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    Write(name, Format(std::chrono::duration<double>(now).count(), "%.6f"));
  }

 private:
  static std::string Format(double value, const char* format) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
  }

  fs::path folder_;
};

int WaitOrKill(pid_t process, Clock::time_point deadline, const char* what) {
  if (const auto status = zeb::session::WaitUntil(process, deadline)) {
    return *status;
  }
  std::cerr << "zeb-session: the deadline passed; killing the " << what << "\n";
  ::kill(process, SIGKILL);
  int status = 0;
  ::waitpid(process, &status, 0);
  return status;
}

int RunSession(const Options& options) {
  const Recorder recorder(options.out);
  zeb::session::EnterPrivateMountNamespace();
  const zeb::session::CommandOverlay overlay(options.standIns);
  if (::prctl(PR_SET_CHILD_SUBREAPER, 1) != 0) {
    throw zeb::session::SandboxUnavailable("cannot become a child subreaper");
  }
  zeb::session::BlockChildSignal();

  const Clock::time_point start = Clock::now();
  const Clock::time_point deadline = start + options.deadline;
  recorder.WriteWallClock("started-at");
  const pid_t starter = zeb::session::Start(options.command);
  const int starterStatus = WaitOrKill(starter, deadline, "starter");
  recorder.WriteSeconds("starter-seconds", Clock::now() - start);
  recorder.Write("starter-status", zeb::session::DescribeStatus(starterStatus));

  const auto agent =
      zeb::session::FindAdoptedChild(std::min(deadline, Clock::now() + kAdoptionWait));
  if (!agent) {
    recorder.Write("agent-status", "none");
    return 0;
  }
  recorder.Write("agent-pid", std::to_string(*agent));
  const int agentStatus = WaitOrKill(*agent, deadline, "agent");
  recorder.WriteSeconds("agent-seconds", Clock::now() - start);
  recorder.WriteWallClock("ended-at");
  recorder.Write("agent-status", zeb::session::DescribeStatus(agentStatus));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const auto options = ParseOptions(argc, argv);
  if (!options) {
    std::cerr << kUsage;
    return kUsageError;
  }
  try {
    return RunSession(*options);
  } catch (const zeb::session::SandboxUnavailable& missing) {
    std::cerr << "zeb-session: cannot build the session sandbox: " << missing.what() << "\n";
    return kSandboxUnavailable;
  } catch (const std::exception& failure) {
    std::cerr << "zeb-session: " << failure.what() << "\n";
    return 1;
  }
}
