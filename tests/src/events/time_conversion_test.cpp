#include "events/time_conversion.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <cstdint>

#include "fakes/fake_clock.h"

namespace {

constexpr std::int64_t MONOTONIC_NOW = 3'000'000'000;

TEST(TimeConversionTest, NowIsTheWallClocksTime) {
  const std::int64_t before = g_get_real_time();
  const std::int64_t now = utils::utcTime();
  EXPECT_GE(now, before);
  EXPECT_LE(now, g_get_real_time());
}

TEST(TimeConversionTest, MonotonicNowBecomesWallClockNow) {
  const FakeClock clock(MONOTONIC_NOW);
  const std::int64_t before = g_get_real_time();
  const std::int64_t converted = utils::convertMonotonicToUTC_Time(MONOTONIC_NOW);
  EXPECT_GE(converted, before);
  EXPECT_LE(converted, g_get_real_time());
}

TEST(TimeConversionTest, MonotonicPastAndFutureKeepTheirDistance) {
  const FakeClock clock(MONOTONIC_NOW);
  for (const std::int64_t distance : {-10'000'000LL, 10'000'000LL}) {
    const std::int64_t before = g_get_real_time();
    const std::int64_t converted = utils::convertMonotonicToUTC_Time(MONOTONIC_NOW + distance);
    EXPECT_GE(converted, before + distance);
    EXPECT_LE(converted, g_get_real_time() + distance);
  }
}

TEST(TimeConversionTest, WallClockTimesBecomeMonotonicOnes) {
  const FakeClock clock(MONOTONIC_NOW);
  for (const std::int64_t distance : {-10'000'000LL, 0LL, 10'000'000LL}) {
    const std::int64_t before = g_get_real_time();
    const std::int64_t converted = utils::convertUTC_ToMonotonicTime(before + distance);
    const std::int64_t elapsed = g_get_real_time() - before;
    EXPECT_LE(converted, MONOTONIC_NOW + distance);
    EXPECT_GE(converted, MONOTONIC_NOW + distance - elapsed);
  }
}

}  // namespace
