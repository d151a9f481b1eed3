#include <gtest/gtest.h>

#include <cstring>

#include "shell/BoundFunction.h"

namespace zeb {
namespace {

TEST(Binding, FindsOnlyTheCLibraryUnderSystemFramework) {
  EXPECT_EQ(Bind<decltype(::strlen)>("strlen")("four"), 4U);
  EXPECT_EQ(LoadFunctionPointerFromLibrary("no_such_function_zeb", "System.framework"), nullptr);
  EXPECT_EQ(LoadFunctionPointerFromLibrary("strlen", "NoSuch.framework"), nullptr);
  EXPECT_EQ(LoadFunctionPointerFromLibrary(String("strlen\0x", 8), "System.framework"), nullptr);
}

}  // namespace
}  // namespace zeb
