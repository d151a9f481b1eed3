#include "session/Sandbox.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>

namespace zeb::session {

namespace fs = std::filesystem;

namespace {

std::string Reason(const std::string& what) { return what + ": " + std::strerror(errno); }

void WriteProcFile(const std::string& path, const std::string& text) {
  std::ofstream file(path);
  file << text;
  file.close();
  if (!file) {
    throw SandboxUnavailable("cannot write " + path);
  }
}

// Maps the calling user to root of the new user namespace, as `unshare -r` does, so that
// mounting is allowed and files keep their owner outside.
void EnterUserNamespace() {
  const uid_t uid = ::geteuid();
  const gid_t gid = ::getegid();
  if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
    throw SandboxUnavailable(
        Reason("not root, and no user namespace allowed (unshare CLONE_NEWUSER|CLONE_NEWNS)") +
        "; run as root or enable unprivileged user namespaces");
  }
  WriteProcFile("/proc/self/setgroups", "deny");
  WriteProcFile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
  WriteProcFile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
}

void Mount(const char* source, const fs::path& target, const char* type, const std::string& data) {
  if (::mount(source, target.c_str(), type, 0, data.c_str()) != 0) {
    throw SandboxUnavailable(
        Reason("cannot mount " + std::string(type) + " on " + target.string()));
  }
}

bool IsOwnFolder(const fs::path& folder) {
  return fs::is_directory(fs::symlink_status(folder)) &&
         fs::canonical(folder) != fs::canonical("/usr/bin");
}

}  // namespace

void EnterPrivateMountNamespace() {
  if (::geteuid() == 0) {
    if (::unshare(CLONE_NEWNS) != 0) {
      throw SandboxUnavailable(
          Reason("root, but no mount namespace allowed (unshare CLONE_NEWNS)"));
    }
  } else {
    EnterUserNamespace();
  }
  if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    throw SandboxUnavailable(Reason("cannot make mounts private"));
  }
}

CommandOverlay::CommandOverlay(const std::vector<StandIn>& standIns) {
  std::string pattern = (fs::temp_directory_path() / "zeb-session.XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error(Reason("cannot make a scratch folder"));
  }
  scratch_ = pattern;
  Mount("zeb-session", scratch_, "tmpfs", "mode=0755");
  mounted_.push_back(scratch_);
  Overlay("/usr/bin", standIns);
  // Where /bin is not merged into /usr/bin, /bin/ps must be replaced there as well.
  if (IsOwnFolder("/bin")) {
    Overlay("/bin", standIns);
  }
}

CommandOverlay::~CommandOverlay() {
  for (auto mount = mounted_.rbegin(); mount != mounted_.rend(); ++mount) {
    ::umount2(mount->c_str(), MNT_DETACH);
  }
  std::error_code ignored;
  fs::remove(scratch_, ignored);
}

void CommandOverlay::Overlay(const fs::path& target, const std::vector<StandIn>& standIns) {
  const std::string tag = std::to_string(mounted_.size());
  const fs::path upper = scratch_ / ("upper" + tag);
  const fs::path work = scratch_ / ("work" + tag);
  fs::create_directory(upper);
  fs::create_directory(work);
  for (const StandIn& standIn : standIns) {
    const fs::path placed = upper / standIn.name;
    fs::copy_file(standIn.source, placed, fs::copy_options::overwrite_existing);
    fs::permissions(placed, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                fs::perms::others_read | fs::perms::others_exec);
  }
  Mount(
      "overlay", target, "overlay",
      "lowerdir=" + target.string() + ",upperdir=" + upper.string() + ",workdir=" + work.string());
  mounted_.push_back(target);
}

}  // namespace zeb::session
