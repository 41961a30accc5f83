#include "app/timer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace {

TEST(TimerTest, StartsStopped) {
  const Timer timer(0);
  EXPECT_FALSE(timer.reachedEnd(1));
  EXPECT_FALSE(timer.reachedEnd(std::numeric_limits<std::int64_t>::max()));
}

TEST(TimerTest, DifferenceEqualToTheDurationIsNotTheEnd) {
  Timer timer(500);
  timer.start(1000);
  EXPECT_FALSE(timer.reachedEnd(1500));
}

TEST(TimerTest, OneUnitMoreThanTheDurationIsTheEnd) {
  Timer timer(500);
  timer.start(1000);
  EXPECT_TRUE(timer.reachedEnd(1501));
}

TEST(TimerTest, TheEndLastsUntilStopped) {
  Timer timer(500);
  timer.start(1000);
  EXPECT_TRUE(timer.reachedEnd(1501));
  EXPECT_TRUE(timer.reachedEnd(9000));
  timer.stop();
  EXPECT_FALSE(timer.reachedEnd(9000));
}

TEST(TimerTest, StartWhileRunningKeepsTheFirstTime) {
  Timer timer(500);
  timer.start(1000);
  timer.start(1400);
  EXPECT_TRUE(timer.reachedEnd(1501));
}

TEST(TimerTest, StartAfterTheEndStillKeepsTheFirstTime) {
  Timer timer(500);
  timer.start(1000);
  timer.start(5000);
  EXPECT_TRUE(timer.reachedEnd(5001));
}

TEST(TimerTest, RestartWhileRunningCountsFromTheNewTime) {
  Timer timer(500);
  timer.start(1000);
  timer.restart(1400);
  EXPECT_FALSE(timer.reachedEnd(1900));
  EXPECT_TRUE(timer.reachedEnd(1901));
}

TEST(TimerTest, RestartStartsAStoppedTimer) {
  Timer timer(500);
  timer.restart(1000);
  EXPECT_TRUE(timer.reachedEnd(1501));
}

TEST(TimerTest, StartAfterStopCountsFromTheNewTime) {
  Timer timer(500);
  timer.start(1000);
  timer.stop();
  timer.start(2000);
  EXPECT_FALSE(timer.reachedEnd(2500));
  EXPECT_TRUE(timer.reachedEnd(2501));
}

TEST(TimerTest, TakesTimesBeforeZero) {
  Timer timer(500);
  timer.start(-1000);
  EXPECT_FALSE(timer.reachedEnd(-500));
  EXPECT_TRUE(timer.reachedEnd(-499));
}

TEST(TimerTest, TimeBeforeTheStartIsNotTheEnd) {
  Timer timer(0);
  timer.start(1000);
  EXPECT_FALSE(timer.reachedEnd(999));
  EXPECT_FALSE(timer.reachedEnd(1000));
  EXPECT_TRUE(timer.reachedEnd(1001));
}

TEST(TimerTest, TakesSpansThatExceed32Bits) {
  constexpr std::int64_t HOUR = 3'600'000'000;
  Timer timer(2 * HOUR);
  timer.start(HOUR);
  EXPECT_FALSE(timer.reachedEnd(3 * HOUR));
  EXPECT_TRUE(timer.reachedEnd(3 * HOUR + 1));
}

}  // namespace
