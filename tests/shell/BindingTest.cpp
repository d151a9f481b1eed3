#include <gtest/gtest.h>

#include <cstring>

#include "runtime/Exceptions.h"
#include "shell/BoundFunction.h"
#include "tests/support/FakePlatform.h"

namespace zeb {
namespace {

TEST(Binding, FindsTheCLibraryUnderSystemFramework) {
  EXPECT_EQ(Bind<decltype(::strlen)>("strlen")("four"), 4U);
  EXPECT_EQ(LoadFunctionPointerFromLibrary("no_such_function_zeb", "System.framework"), nullptr);
  EXPECT_EQ(LoadFunctionPointerFromLibrary("strlen", "NoSuch.framework"), nullptr);
  EXPECT_EQ(LoadFunctionPointerFromLibrary(String("strlen\0x", 8), "System.framework"), nullptr);
}

TEST(Binding, MissingFunctionRaisesWithBothNames) {
  try {
    Bind<decltype(::usleep)>("no_such_function_zeb");
    FAIL() << "bound a function that does not exist";
  } catch (const FunctionNotFoundException& error) {
    EXPECT_NE(error.Message().find("no_such_function_zeb"), String::npos);
    EXPECT_NE(error.Message().find("System.framework"), String::npos);
  }
}

TEST(Binding, EveryCallAsksTheLoaderAgain) {
  test::FakePlatform platform;
  const ScopedPlatform scoped(platform);
  for (int call = 0; call < 3; ++call) {
    Bind<decltype(::strlen)>("strlen")("x");
  }
  EXPECT_EQ(platform.lookups["strlen"], 3);
}

}  // namespace
}  // namespace zeb
