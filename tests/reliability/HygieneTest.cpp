#include <gtest/gtest.h>
#include <link.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <iterator>

#include "app/App.h"
#include "shell/BoundFunction.h"
#include "tests/support/ChildProcess.h"

namespace zeb {
namespace {

constexpr int kRepeats = 1000;
constexpr std::array kBoundFunctions = {"usleep", "popen", "feof", "fread", "ferror", "pclose"};

long OpenDescriptors() {
  const std::filesystem::directory_iterator listing("/proc/self/fd");
  return std::distance(begin(listing), end(listing));
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

// What a thousand captures and six thousand bindings leave behind, in one line.
std::string AfterManyCapturesAndBindings() {
  const long descriptors = OpenDescriptors();
  const int objects = LoadedObjects();
  class App app;
  String output;
  int wrongCaptures = 0;
  for (int capture = 0; capture < kRepeats; ++capture) {
    app.GetShell(output, "printf abc");
    wrongCaptures += output == "abc" + String(1021, '\0') ? 0 : 1;
  }
  int foreignFound = 0;
  for (int round = 0; round < kRepeats; ++round) {
    for (const char* function : kBoundFunctions) {
      BindEntry(function);
    }
    // Another library's address would dangle: the loader must neither give it nor load it.
    foreignFound += LoadFunctionPointerFromLibrary("zlibVersion", "libz.so.1") != nullptr ? 1 : 0;
  }
  int status = 0;
  const bool childLeft = ::waitpid(-1, &status, WNOHANG) != -1 || errno != ECHILD;
  return "wrong=" + std::to_string(wrongCaptures) + " foreign=" + std::to_string(foreignFound) +
         " descriptors+" + std::to_string(OpenDescriptors() - descriptors) + " objects+" +
         std::to_string(LoadedObjects() - objects) + " child=" + std::to_string(childLeft);
}

TEST(Hygiene, CapturesAndBindingsKeepNoDescriptorChildOrLibrary) {
  const test::ChildResult result = test::RunInChild(AfterManyCapturesAndBindings);
  EXPECT_EQ(result.output, "wrong=0 foreign=0 descriptors+0 objects+0 child=0");
}

}  // namespace
}  // namespace zeb
