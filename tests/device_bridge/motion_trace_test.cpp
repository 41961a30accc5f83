#include "bridge/motion_trace.h"

#include <gtest/gtest.h>

namespace device::bridge {
namespace {

constexpr std::int64_t MS = 1000;

// Rests at 2 until 300 ms, then goes by 0.1 each 100 ms up to 700 ms, and rests at 2.4.
MotionTrace journey() {
  MotionTrace trace(0.05);
  for (int i = 0; i <= 10; ++i) {
    const int steps = i <= 3 ? 0 : i >= 7 ? 4 : i - 3;
    trace.add(i * 100 * MS, 2 + 0.1 * steps);
  }
  return trace;
}

TEST(MotionTraceTest, LeavingIsSeenAtTheFirstPlaceThatIsAnother) {
  const MotionTrace trace = journey();
  EXPECT_EQ(400 * MS, trace.leftAfter(0));
  EXPECT_EQ(400 * MS, trace.leftAfter(300 * MS));
  EXPECT_FALSE(trace.leftAfter(700 * MS));
  EXPECT_FALSE(MotionTrace(0.05).leftAfter(0));
}

TEST(MotionTraceTest, LessThanTheLeastIsNoMotion) {
  MotionTrace trace(0.05);
  trace.add(0, 1);
  trace.add(100 * MS, 1.04);
  EXPECT_FALSE(trace.leftAfter(0));
  EXPECT_EQ(0, trace.stillSince());
}

TEST(MotionTraceTest, WayAndSpeedAreOfTheMotion) {
  const MotionTrace trace = journey();
  EXPECT_NEAR(0.4, trace.wayFrom(0), 1e-9);
  EXPECT_NEAR(0.2, trace.wayFrom(500 * MS), 1e-9);
  EXPECT_NEAR(1.0, trace.speedBetween(0, 700 * MS), 1e-9) << "0.3 from 400 to 700 ms";
  EXPECT_EQ(0, trace.speedBetween(700 * MS, 1000 * MS));
}

TEST(MotionTraceTest, RestBeginsWhereTheLastPlaceWasReached) {
  EXPECT_EQ(700 * MS, journey().stillSince());
  EXPECT_FALSE(MotionTrace(0.05).stillSince());
}

TEST(MotionTraceTest, PlaceThatIsNoLaterCountsForNothing) {
  MotionTrace trace(0.05);
  trace.add(100 * MS, 1);
  trace.add(100 * MS, 5);
  trace.add(50 * MS, 7);
  EXPECT_EQ(1, trace.place());
}

// A second each to get faster and to slow down, two in between at 10 units a second.
TEST(MotionTraceTest, SteadySpeedIsThatOfTheMiddleOfTheWay) {
  MotionTrace trace(0.01);
  for (int i = 0; i <= 40; ++i) {
    const double t = i / 10.0;
    const double place = t < 1 ? 5 * t * t : t < 3 ? 5 + 10 * (t - 1) : 30 - 5 * (4 - t) * (4 - t);
    trace.add(i * 100000 + 1, place);
  }
  EXPECT_NEAR(10, trace.steadySpeed(1), 1e-6);
  EXPECT_EQ(0, trace.steadySpeed(4000001));
  EXPECT_EQ(0, MotionTrace(0.01).steadySpeed(0));
}

}  // namespace
}  // namespace device::bridge
