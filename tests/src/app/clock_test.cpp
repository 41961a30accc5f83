#include "app/clock.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

class StandingClock : public Clock {
 public:
  std::int64_t now() const override { return 42; }
  void sleep(std::int64_t microseconds) override { slept.push_back(microseconds); }

  std::vector<std::int64_t> slept;
};

TEST(ClockTest, TheMachinesTimeIsThatOfThePlatform) {
  const std::int64_t before = g_get_monotonic_time();
  const std::int64_t now = utils::monotonicTime();
  EXPECT_GE(now, before);
  EXPECT_LE(now, g_get_monotonic_time());
}

TEST(ClockTest, SleepingOnTheMachinesClockTakesAtLeastThatLong) {
  const std::int64_t before = g_get_monotonic_time();
  utils::sleep(2000);
  EXPECT_GE(g_get_monotonic_time() - before, 2000);
}

TEST(ClockTest, AReplacedClockIsAskedForEverything) {
  StandingClock clock;
  Clock::replace(&clock);
  EXPECT_EQ(utils::monotonicTime(), 42);
  utils::sleep(3'600'000'000);
  Clock::replace(nullptr);
  EXPECT_EQ(clock.slept, std::vector<std::int64_t>{3'600'000'000});
}

TEST(ClockTest, NullBringsTheMachinesClockBack) {
  StandingClock clock;
  Clock::replace(&clock);
  Clock::replace(nullptr);
  EXPECT_GE(utils::monotonicTime(), g_get_monotonic_time() - 60'000'000);
}

}  // namespace
