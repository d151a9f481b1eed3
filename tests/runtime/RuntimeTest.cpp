#include <gtest/gtest.h>

#include <stdexcept>

#include "runtime/Runtime.h"
#include "tests/support/FakePlatform.h"

namespace zeb {
namespace {

TEST(Runtime, UnhandledLineNamesClassAndMessageOnOneLine) {
  EXPECT_EQ(UnhandledExceptionLine(NilObjectException()), "Unhandled NilObjectException\n");
  EXPECT_EQ(UnhandledExceptionLine(FunctionNotFoundException("two\nlines")),
            "Unhandled FunctionNotFoundException: two lines\n");
}

TEST(Runtime, AnythingThrownIsReportedUnderItsOwnClassAndMakesTheStatusOne) {
  test::FakePlatform platform;
  const ScopedPlatform scoped(platform);
  const std::vector<std::exception_ptr> thrown = {
      std::make_exception_ptr(FunctionNotFoundException("function usleep not found")),
      std::make_exception_ptr(std::runtime_error("plain")),
      std::make_exception_ptr(std::bad_alloc()), std::make_exception_ptr(42)};
  for (const auto& error : thrown) {
    RuntimeInit(0, nullptr);
    internal::UnhandledException(error);
    EXPECT_EQ(RuntimeExit(), 1);
  }
  EXPECT_EQ(platform.reports,
            (std::vector<String>{"FunctionNotFoundException: function usleep not found",
                                 "RuntimeException: plain", "OutOfMemoryException: out of memory",
                                 "RuntimeException: unknown exception"}));
}

}  // namespace
}  // namespace zeb
