#include <dirent.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <sstream>

#include "app/App.h"
#include "shell/BoundFunction.h"
#include "tests/support/ChildProcess.h"

namespace zeb {
namespace {

constexpr int kRepeats = 1000;
constexpr std::array kBoundFunctions = {"usleep", "popen", "feof", "fread", "ferror", "pclose"};

int OpenDescriptors() {
  int count = 0;
  DIR* const folder = ::opendir("/proc/self/fd");
  if (folder == nullptr) {
    return -1;
  }
  while (const dirent* entry = ::readdir(folder)) {
    count += entry->d_name[0] != '.' ? 1 : 0;
  }
  ::closedir(folder);
  return count - 1;  // the listing's own descriptor
}

int LoadedObjects() {
  int count = 0;
  ::dl_iterate_phdr(
      [](dl_phdr_info* /*info*/, std::size_t /*size*/, void* counter) {
        ++*static_cast<int*>(counter);
        return 0;
      },
      &count);
  return count;
}

bool IsLoaded(const char* library) {
  void* const handle = ::dlopen(library, RTLD_LAZY | RTLD_NOLOAD);
  if (handle == nullptr) {
    return false;
  }
  ::dlclose(handle);
  return true;
}

bool NoChildLeft() {
  int status = 0;
  return ::waitpid(-1, &status, WNOHANG) == -1 && errno == ECHILD;
}

struct Census {
  int wrongCaptures = -1;
  int unbound = -1;
  int descriptorsBefore = 0;
  int descriptorsAfter = -1;
  int objectsBefore = 0;
  int objectsAfter = -1;
  int childrenLeft = -1;
  int libcReachable = 0;
};

TEST(Hygiene, CapturesAndBindingsKeepNoDescriptorChildOrLibrary) {
  const test::ChildResult result = test::RunInChild([] {
    Census census;
    census.descriptorsBefore = OpenDescriptors();
    census.objectsBefore = LoadedObjects();
    class App app;
    String output;
    census.wrongCaptures = 0;
    for (int capture = 0; capture < kRepeats; ++capture) {
      app.GetShell(output, "printf abc");
      census.wrongCaptures += output == "abc" + String(1021, '\0') ? 0 : 1;
    }
    census.unbound = 0;
    for (int round = 0; round < kRepeats; ++round) {
      for (const char* function : kBoundFunctions) {
        census.unbound += BindEntry(function) == nullptr ? 1 : 0;
      }
    }
    census.descriptorsAfter = OpenDescriptors();
    census.objectsAfter = LoadedObjects();
    census.childrenLeft = NoChildLeft() ? 0 : 1;
    // A leaked reference would not show for libc, which is never unloaded, but the count of
    // references must still be consistent enough to take one and give it back.
    void* const libc = ::dlopen("libc.so.6", RTLD_LAZY | RTLD_NOLOAD);
    census.libcReachable = libc != nullptr && ::dlclose(libc) == 0 ? 1 : 0;
    std::ostringstream out;
    out << census.wrongCaptures << ' ' << census.unbound << ' ' << census.descriptorsBefore << ' '
        << census.descriptorsAfter << ' ' << census.objectsBefore << ' ' << census.objectsAfter
        << ' ' << census.childrenLeft << ' ' << census.libcReachable;
    return out.str();
  });
  ASSERT_FALSE(result.timedOut);
  Census census;
  std::istringstream(result.output) >> census.wrongCaptures >> census.unbound >>
      census.descriptorsBefore >> census.descriptorsAfter >> census.objectsBefore >>
      census.objectsAfter >> census.childrenLeft >> census.libcReachable;
  EXPECT_EQ(census.wrongCaptures, 0) << result.output;
  EXPECT_EQ(census.unbound, 0);
  EXPECT_GT(census.descriptorsBefore, 0);
  EXPECT_EQ(census.descriptorsAfter, census.descriptorsBefore);
  EXPECT_EQ(census.objectsAfter, census.objectsBefore);
  EXPECT_EQ(census.childrenLeft, 0);
  EXPECT_EQ(census.libcReachable, 1);
}

// A library that nothing else here loads: the loader must neither hand out its functions (the
// address would dangle) nor keep it mapped.
struct ProbeLibrary {
  const char* library;
  const char* function;
};
constexpr std::array kProbes = {ProbeLibrary{"libz.so.1", "zlibVersion"},
                                ProbeLibrary{"libbz2.so.1.0", "BZ2_bzlibVersion"}};

TEST(Hygiene, OtherLibrariesAreNeitherBoundNorLoaded) {
  const test::ChildResult result = test::RunInChild([]() -> std::string {
    for (const ProbeLibrary& probe : kProbes) {
      if (IsLoaded(probe.library)) {
        continue;
      }
      const int objects = LoadedObjects();
      int found = 0;
      for (int round = 0; round < kRepeats; ++round) {
        found += LoadFunctionPointerFromLibrary(probe.function, probe.library) != nullptr ? 1 : 0;
      }
      std::ostringstream out;
      out << probe.library << " found " << found << " still loaded " << IsLoaded(probe.library)
          << " objects " << LoadedObjects() - objects;
      return out.str();
    }
    return "skip";
  });
  ASSERT_FALSE(result.timedOut);
  if (result.output == "skip") {
    GTEST_SKIP() << "no probe library is installed and unloaded here";
  }
  EXPECT_NE(result.output.find(" found 0 still loaded 0 objects 0"), std::string::npos)
      << result.output;
}

}  // namespace
}  // namespace zeb
