#include <gtest/gtest.h>

#include <limits>

#include "runtime/Platform.h"
#include "runtime/Ticks.h"

namespace zeb {
namespace {

constexpr std::int32_t kCheckInterval = 600;

struct Interval {
  Tick earlier;
  Tick later;
  std::int32_t difference;
};

TEST(Ticks, DifferenceWrapsAndComparesSigned) {
  constexpr auto kMax = std::numeric_limits<Tick>::max();
  constexpr auto kMin = std::numeric_limits<Tick>::min();
  for (const Interval& c :
       {Interval{0, 600, 600}, Interval{0, 601, 601}, Interval{2'147'483'000, -2'147'483'643, 653},
        Interval{kMax, kMin, 1}, Interval{-300, 301, 601}, Interval{601, 0, -601}}) {
    EXPECT_EQ(TickDifference(c.later, c.earlier), c.difference) << c.earlier << " -> " << c.later;
  }
  EXPECT_FALSE(TickDifference(600, 0) > kCheckInterval);
  EXPECT_TRUE(TickDifference(601, 0) > kCheckInterval);
  EXPECT_TRUE(TickDifference(-2'147'483'643, 2'147'483'000) > kCheckInterval);
}

TEST(Ticks, RealClockCountsSixtiethsForward) {
  const Tick first = Ticks();
  struct timespec pause {
    0, 50'000'000
  };
  nanosleep(&pause, nullptr);
  const std::int32_t elapsed = TickDifference(Ticks(), first);
  EXPECT_GE(elapsed, 2);  // 50 ms is three ticks; allow for truncation at both ends
  EXPECT_LT(elapsed, 60 * 60);
}

}  // namespace
}  // namespace zeb
