#include <climits>

#if defined(__APPLE__)
#include <mach-o/dyld.h>
#else
#include <unistd.h>
#endif

#include <vector>

#include "runtime/posix/Posix.h"

namespace zeb::posix {

#if defined(__APPLE__)

String ExecutablePath() {
  std::uint32_t size = PATH_MAX;
  std::vector<char> path(size);
  if (::_NSGetExecutablePath(path.data(), &size) != 0) {
    path.resize(size);
    if (::_NSGetExecutablePath(path.data(), &size) != 0) {
      return {};
    }
  }
  return path.data();
}

#else

String ExecutablePath() {
  for (std::size_t capacity = PATH_MAX;; capacity *= 2) {
    std::vector<char> path(capacity);
    const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
    if (length < 0) {
      return {};
    }
    if (static_cast<std::size_t>(length) < path.size()) {
      return {path.data(), static_cast<std::size_t>(length)};
    }
  }
}

#endif

}  // namespace zeb::posix
