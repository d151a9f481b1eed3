#pragma once

#include <filesystem>
#include <stdexcept>
#include <vector>

namespace zeb::session {

// The machine does not let us build the sandbox (no namespaces, no overlay); the caller reports
// it as a skip rather than a failure.
class SandboxUnavailable : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Enters a private mount namespace (through a user namespace when not root) whose mounts do not
// propagate back, so nothing done here is seen outside.
void EnterPrivateMountNamespace();

struct StandIn {
  std::string name;              // e.g. "open", placed as /usr/bin/open
  std::filesystem::path source;  // the script to put there
};

// Lays the stand-ins over /usr/bin (and over /bin where it is a folder of its own) for the
// lifetime of the object. Upper and work folders live on a tmpfs in a scratch folder under /tmp.
class CommandOverlay {
 public:
  explicit CommandOverlay(const std::vector<StandIn>& standIns);
  CommandOverlay(const CommandOverlay&) = delete;
  CommandOverlay& operator=(const CommandOverlay&) = delete;
  CommandOverlay(CommandOverlay&&) = delete;
  CommandOverlay& operator=(CommandOverlay&&) = delete;
  ~CommandOverlay();

 private:
  void Overlay(const std::filesystem::path& target, const std::vector<StandIn>& standIns);

  std::filesystem::path scratch_;
  std::vector<std::filesystem::path> mounted_;  // in mount order
};

}  // namespace zeb::session
