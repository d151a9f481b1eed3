#include <gtest/gtest.h>

#include "app/App.h"
#include "app/Startup.h"
#include "runtime/FileTypeRegistry.h"
#include "runtime/Runtime.h"
#include "tests/support/FakePlatform.h"

namespace zeb {
namespace {

// A system new enough that the Run event returns at once, which keeps the whole run in this
// process. It notes what start-up had done by the time the Run event asked for the version.
class QuietSystem : public test::FakePlatform {
 public:
  bool QuerySystemVersion(std::int32_t& result) override {
    registryDuringRun = RuntimeFileTypes();
    appDuringRun = zeb::App();
    result = 0x1050;
    return true;
  }
  FileTypeRegistry registryDuringRun;
  class App* appDuringRun = nullptr;
};

TEST(Startup, RegistersTheFileTypeOnceAndKeepsOneApplicationObject) {
  QuietSystem platform;
  const ScopedPlatform scoped(platform);
  const char* const arguments[] = {"zeb-agent", "ignored"};
  EXPECT_EQ(RunAgent(2, arguments), 0);

  EXPECT_EQ(platform.registryDuringRun.entries,
            (std::vector<FileTypeRecord>{{"text", "R*ch", "TEXT", ""}}));
  EXPECT_EQ(platform.registryDuringRun.registrations, 1);
  EXPECT_EQ(platform.registryDuringRun.withdrawals, 0);
  EXPECT_NE(platform.appDuringRun, nullptr);
  EXPECT_EQ(platform.appDuringRun, zeb::App());  // the runtime keeps it past the run
  EXPECT_TRUE(platform.reports.empty());
}

}  // namespace
}  // namespace zeb
