#include "bridge/frame_clock.h"

#include <gtest/gtest.h>

namespace device::bridge {
namespace {

constexpr std::int64_t MS = 1000;
constexpr std::int64_t SECOND = 1000 * MS;
constexpr std::int64_t HOUR = 3600 * SECOND;
// The camera's clock is that much ahead of the monotonic one; any number will do.
constexpr std::int64_t AHEAD = 1767268800LL * SECOND;

// A frame was taken at a moment and arrives after a delay.
struct Sender {
  std::int64_t send(FrameClock& clock, std::int64_t taken, std::int64_t delay) const {
    return clock.timeOf(taken + ahead, std::nullopt, taken + delay);
  }
  std::int64_t ahead = AHEAD;
};

TEST(FrameClockTest, FastestFrameIsTakenForOneThatTookNoTime) {
  FrameClock clock;
  const Sender camera;
  EXPECT_EQ(SECOND + 80 * MS, camera.send(clock, SECOND, 80 * MS));
  // 30 ms is the least so far: it stands for the moment of the exposure.
  EXPECT_EQ(2 * SECOND + 30 * MS, camera.send(clock, 2 * SECOND, 30 * MS));
  EXPECT_EQ(3 * SECOND + 30 * MS, camera.send(clock, 3 * SECOND, 200 * MS));
}

TEST(FrameClockTest, KnownDelayIsTakenOff) {
  FrameClock clock(25 * MS);
  EXPECT_EQ(SECOND + 5 * MS, Sender().send(clock, SECOND, 30 * MS));
}

TEST(FrameClockTest, FastestFrameCountsForAMinute) {
  FrameClock clock;
  const Sender camera;
  camera.send(clock, 0, 10 * MS);
  EXPECT_EQ(59 * SECOND + 10 * MS, camera.send(clock, 59 * SECOND, 50 * MS));
  EXPECT_EQ(62 * SECOND + 40 * MS, camera.send(clock, 62 * SECOND, 40 * MS));
}

TEST(FrameClockTest, ClockThatIsSetIsFollowedAfterFiveFrames) {
  for (const std::int64_t set : {HOUR, -HOUR}) {
    FrameClock clock;
    Sender camera;
    camera.send(clock, 0, 20 * MS);
    camera.ahead += set;
    std::int64_t time = 0;
    for (int frame = 1; frame <= 4; ++frame) {
      const std::int64_t next = camera.send(clock, frame * SECOND, 20 * MS);
      EXPECT_GT(next, time);
      EXPECT_LE(next, frame * SECOND + 20 * MS);
      time = next;
    }
    EXPECT_EQ(5 * SECOND + 30 * MS, camera.send(clock, 5 * SECOND, 30 * MS));
    EXPECT_EQ(6 * SECOND + 30 * MS, camera.send(clock, 6 * SECOND, 90 * MS));
  }
}

TEST(FrameClockTest, SingleStrangeTimeChangesNothing) {
  FrameClock clock;
  Sender camera;
  camera.send(clock, 0, 20 * MS);
  camera.ahead += HOUR;
  camera.send(clock, SECOND, 20 * MS);
  camera.ahead -= HOUR;
  EXPECT_EQ(2 * SECOND + 20 * MS, camera.send(clock, 2 * SECOND, 70 * MS));
}

TEST(FrameClockTest, TimeNeverStandsStillOrGoesBeyondTheArrival) {
  FrameClock clock;
  const Sender camera;
  EXPECT_EQ(SECOND, camera.send(clock, SECOND, 0));
  EXPECT_EQ(SECOND + 1, camera.send(clock, SECOND - 300 * MS, 400 * MS));
  EXPECT_EQ(SECOND + 200 * MS,
            clock.timeOf(SECOND + 400 * MS + AHEAD, std::nullopt, SECOND + 200 * MS));
}

TEST(FrameClockTest, WithoutAnyTimeItIsTheArrival) {
  FrameClock clock(10 * MS);
  EXPECT_EQ(SECOND - 10 * MS, clock.timeOf(std::nullopt, std::nullopt, SECOND));
}

TEST(FrameClockTest, TimeThatStandsStillGivesWayToTheTransports) {
  FrameClock clock;
  std::int64_t time = 0;
  for (int frame = 0; frame < 20; ++frame) {
    const std::int64_t taken = frame * SECOND;
    time = clock.timeOf(AHEAD, taken + AHEAD, taken + 30 * MS);
  }
  EXPECT_EQ(19 * SECOND + 30 * MS, time);
}

TEST(FrameClockTest, TimeOfAnotherDayGivesWayToTheTransports) {
  FrameClock clock;
  const auto send = [&](std::int64_t taken, std::int64_t delay) {
    const std::int64_t told = AHEAD + taken % 2 * 3 * FrameClock::DAY + 2 * FrameClock::DAY;
    return clock.timeOf(told + taken, taken + AHEAD, taken + delay);
  };
  EXPECT_EQ(SECOND + 30 * MS, send(SECOND, 30 * MS));
  EXPECT_EQ(2 * SECOND + 1 + 30 * MS, send(2 * SECOND + 1, 60 * MS));
  EXPECT_EQ(3 * SECOND + 30 * MS, send(3 * SECOND, 60 * MS));
}

}  // namespace
}  // namespace device::bridge
