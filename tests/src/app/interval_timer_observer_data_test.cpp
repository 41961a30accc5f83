#include "app/interval_timer_observer_data.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "fakes/fake_clock.h"

namespace {

constexpr std::int64_t START = 5'000'000;
constexpr std::int64_t PERIOD = 20'000;

TEST(IntervalTimerObserverDataTest, IsFirstDueOnePeriodAfterItWasMade) {
  const FakeClock clock(START);
  const IntervalTimerObserverData observer(3, PERIOD, [](std::int32_t) {});
  EXPECT_EQ(observer.getId(), 3);
  EXPECT_FALSE(observer.isDue(START));
  EXPECT_FALSE(observer.isDue(START + PERIOD - 1));
  EXPECT_TRUE(observer.isDue(START + PERIOD));
}

TEST(IntervalTimerObserverDataTest, NotifyHandsTheIdToTheCallback) {
  const FakeClock clock(START);
  std::vector<std::int32_t> ids;
  IntervalTimerObserverData observer(7, PERIOD, [&ids](std::int32_t id) { ids.push_back(id); });
  EXPECT_TRUE(ids.empty());
  observer.notify();
  observer.notify();
  EXPECT_EQ(ids, (std::vector<std::int32_t>{7, 7}));
}

TEST(IntervalTimerObserverDataTest, ThePeriodCountsFromTheEndOfTheCallback) {
  FakeClock clock(START);
  IntervalTimerObserverData observer(0, PERIOD,
                                     [&clock](std::int32_t) { clock.set(START + 100'000); });
  observer.notify();
  EXPECT_FALSE(observer.isDue(START + 100'000 + PERIOD - 1));
  EXPECT_TRUE(observer.isDue(START + 100'000 + PERIOD));
}

TEST(IntervalTimerObserverDataTest, UpdateCountsOnePeriodFromNowAndTellsTheTime) {
  FakeClock clock(START);
  IntervalTimerObserverData observer(0, PERIOD, [](std::int32_t) {});
  clock.set(START + 5'000);
  EXPECT_EQ(observer.updateNotificationTime(), START + 5'000 + PERIOD);
  EXPECT_FALSE(observer.isDue(START + PERIOD));
  EXPECT_TRUE(observer.isDue(START + 5'000 + PERIOD));
}

TEST(IntervalTimerObserverDataTest, TakesPeriodsThatExceed32Bits) {
  const FakeClock clock(START);
  constexpr std::int64_t DAY = 86'400'000'000;
  const IntervalTimerObserverData observer(0, DAY, [](std::int32_t) {});
  EXPECT_FALSE(observer.isDue(START + DAY - 1));
  EXPECT_TRUE(observer.isDue(START + DAY));
}

}  // namespace
