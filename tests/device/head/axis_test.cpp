#include "head/axis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace device {
namespace {

constexpr AxisSetup kTilt{.speed = 100, .acceleration = 400, .low = -90, .high = 20};
constexpr AxisSetup kPan{
    .speed = 100, .acceleration = 400, .low = -180, .high = 180, .endless = true};

TEST(AxisTest, standsStillAtFirst) {
  Axis axis(kTilt, -3.6);
  axis.step(1);
  EXPECT_DOUBLE_EQ(axis.position(), -3.6);
  EXPECT_DOUBLE_EQ(axis.velocity(), 0);
  EXPECT_FALSE(axis.moving());
}

TEST(AxisTest, startsWithinItsEndStops) {
  EXPECT_DOUBLE_EQ(Axis(kTilt, -200).position(), -90);
  EXPECT_DOUBLE_EQ(Axis(kTilt, 50).position(), 20);
}

// 100 deg/s at 400 deg/s2: 0.25 s and 12.5 degrees to full speed and as much to brake. For 85
// degrees that leaves 60 degrees, 0.6 s, at full speed: 1.1 s in all.
TEST(AxisTest, goesToAPositionByATrapezoid) {
  Axis axis(kTilt, 0);
  axis.moveTo(-85, 100);
  axis.step(0.1);
  EXPECT_NEAR(axis.position(), -2, 0.05);  // 400 * 0.1^2 / 2
  EXPECT_NEAR(axis.velocity(), -40, 0.5);
  axis.step(0.15);
  EXPECT_NEAR(axis.position(), -12.5, 0.05);
  EXPECT_NEAR(axis.velocity(), -100, 0.5);
  axis.step(0.6);
  EXPECT_NEAR(axis.position(), -72.5, 0.1);
  axis.step(0.23);
  EXPECT_TRUE(axis.moving());
  axis.step(0.03);
  EXPECT_FALSE(axis.moving());
  EXPECT_DOUBLE_EQ(axis.position(), -85);
}

// 4 degrees need no full speed: half the way up to 400 * t = sqrt(2 * 400 * 2), t = 0.1 s.
TEST(AxisTest, goesAShortWayByATriangle) {
  Axis axis(kTilt, 0);
  axis.moveTo(4, 100);
  axis.step(0.1);
  EXPECT_NEAR(axis.position(), 2, 0.05);
  EXPECT_NEAR(axis.velocity(), 40, 1);
  axis.step(0.11);
  EXPECT_DOUBLE_EQ(axis.position(), 4);
  EXPECT_FALSE(axis.moving());
}

TEST(AxisTest, theSpeedLimitOfAWayHolds) {
  Axis axis(kTilt, 0);
  axis.moveTo(-80, 20);
  axis.step(1);
  EXPECT_NEAR(axis.velocity(), -20, 1e-9);
}

TEST(AxisTest, theLengthOfAStepHasNoInfluence) {
  Axis coarse(kTilt, 0);
  Axis fine(kTilt, 0);
  coarse.moveTo(-40, 100);
  fine.moveTo(-40, 100);
  coarse.step(0.4);
  for (int i = 0; i < 400; ++i) {
    fine.step(0.001);
  }
  EXPECT_NEAR(coarse.position(), fine.position(), 0.06);  // one thousandth of a second's way
}

// 35 % for a second: 0.0875 s to speed up, in which half the way is lost.
TEST(AxisTest, goesOnAtASpeed) {
  Axis axis(kTilt, 0);
  axis.moveAt(-35);
  axis.step(1);
  EXPECT_NEAR(axis.position(), -35 * (1 - 0.0875 / 2), 0.05);
  EXPECT_NEAR(axis.velocity(), -35, 1e-9);
  EXPECT_TRUE(axis.moving());
}

TEST(AxisTest, speedZeroBrakesAsFastAsItCan) {
  Axis axis(kTilt, -80);
  axis.moveAt(100);
  axis.step(0.5);
  const double before = axis.position();
  axis.moveAt(0);
  axis.step(0.24);
  EXPECT_TRUE(axis.moving());
  axis.step(0.02);
  EXPECT_FALSE(axis.moving());
  EXPECT_NEAR(axis.position(), before + 12.5, 0.05);
}

// 20 deg/s at 400 deg/s2: 0.05 s and half a degree to full speed and as much to brake.
TEST(AxisTest, aSpeedHoldsForItsTimeOnly) {
  Axis axis(kTilt, -80);
  axis.moveAt(20, 1);
  axis.step(0.99);
  EXPECT_NEAR(axis.velocity(), 20, 1e-9);
  axis.step(0.07);
  EXPECT_FALSE(axis.moving());
  axis.step(1);
  EXPECT_NEAR(axis.position(), -80 + 0.5 + 20 * 0.95 + 0.5, 0.05);
}

TEST(AxisTest, aSpeedThatIsRepeatedGoesOn) {
  Axis axis(kTilt, -80);
  for (int i = 0; i < 4; ++i) {
    axis.moveAt(20, 1);
    axis.step(0.9);
  }
  EXPECT_NEAR(axis.velocity(), 20, 1e-9);
  EXPECT_NEAR(axis.position(), -80 + 0.5 + 20 * (4 * 0.9 - 0.05), 0.05);
}

TEST(AxisTest, theTimeOfASpeedDoesNotCutAWayShort) {
  Axis axis(kTilt, 0);
  axis.moveAt(20, 0.1);
  axis.moveTo(-85, 100);
  axis.step(3);
  EXPECT_DOUBLE_EQ(axis.position(), -85);
}

TEST(AxisTest, noSpeedAboveItsOwn) {
  Axis axis(kPan, 0);
  axis.moveAt(1000);
  axis.step(1);
  EXPECT_NEAR(axis.velocity(), 100, 1e-9);
}

TEST(AxisTest, brakesInTimeForAnEndStopAndStandsThere) {
  Axis axis(kTilt, 0);
  axis.moveAt(100);
  double fastest = 0;
  for (int i = 0; i < 2000; ++i) {
    axis.step(0.001);
    fastest = std::max(fastest, axis.velocity());
    ASSERT_LE(axis.position(), 20);
    // Whatever its speed, it could still stop before the end.
    ASSERT_LE(axis.velocity() * axis.velocity() / 800, 20 - axis.position() + 0.1);
  }
  EXPECT_NEAR(fastest, std::sqrt(2 * 400 * 10), 1.0);  // half the 20 degrees to speed up
  EXPECT_DOUBLE_EQ(axis.position(), 20);
  EXPECT_FALSE(axis.moving());
}

TEST(AxisTest, leavesAnEndStopAgain) {
  Axis axis(kTilt, 20);
  axis.moveAt(50);
  axis.step(1);
  EXPECT_DOUBLE_EQ(axis.position(), 20);
  axis.moveAt(-50);
  axis.step(1);
  EXPECT_NEAR(axis.position(), 20 - 50 * (1 - 0.125 / 2), 0.05);
}

TEST(AxisTest, targetsBeyondAnEndStopEndThere) {
  Axis axis(kTilt, 0);
  axis.moveTo(90, 100);
  axis.step(5);
  EXPECT_DOUBLE_EQ(axis.position(), 20);
}

TEST(AxisTest, endlessAxisTakesTheShorterWayOverTheSeam) {
  Axis axis(kPan, 170);
  axis.moveTo(-170, 100);
  axis.step(0.2);
  EXPECT_GT(axis.velocity(), 0);
  axis.step(1);
  EXPECT_DOUBLE_EQ(axis.position(), -170);

  axis.moveTo(170, 100);
  axis.step(0.2);
  EXPECT_LT(axis.velocity(), 0);
  axis.step(1);
  EXPECT_DOUBLE_EQ(axis.position(), 170);
}

TEST(AxisTest, endlessAxisGoesUpWhenBothWaysAreEqual) {
  Axis axis(kPan, -90);
  axis.moveTo(90, 100);
  axis.step(0.2);
  EXPECT_GT(axis.velocity(), 0);
}

TEST(AxisTest, endlessAxisKeepsItsPositionsBetweenTheSeams) {
  Axis axis(kPan, 0);
  axis.moveAt(100);
  axis.step(5);  // 500 degrees less half of the 0.25 s of speeding up
  EXPECT_NEAR(axis.position(), 487.5 - 360, 0.1);
  EXPECT_TRUE(axis.moving());
}

TEST(AxisTest, upperSeamAsATargetIsTheLowerOne) {
  Axis axis(kPan, 0);
  axis.moveTo(180, 100);
  axis.step(5);
  EXPECT_DOUBLE_EQ(axis.position(), -180);
}

TEST(AxisTest, aNewTargetOnTheWayReplacesTheOldOne) {
  Axis axis(kTilt, 0);
  axis.moveTo(-80, 100);
  axis.step(0.5);
  axis.moveTo(-10, 100);
  axis.step(5);
  EXPECT_DOUBLE_EQ(axis.position(), -10);
}

// Whatever it is told, an axis keeps to its end stops, its speed and its acceleration.
TEST(AxisTest, randomCommandsNeverBreakItsLimits) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> anywhere(-120, 120);
  Axis axis(kTilt, 0);
  double velocity = 0;
  for (int i = 0; i < 4000; ++i) {
    if (i % 20 == 0) {
      const double value = anywhere(random);
      if (i % 40 == 0) {
        axis.moveTo(value, 100);
      } else {
        axis.moveAt(value);
      }
    }
    axis.step(0.01);
    ASSERT_GE(axis.position(), -90);
    ASSERT_LE(axis.position(), 20);
    ASSERT_LE(std::abs(axis.velocity()), 100 + 1e-9);
    ASSERT_LE(std::abs(axis.velocity() - velocity), 400 * 0.0105 + 1) << "at step " << i;
    velocity = axis.velocity();
  }
}

}  // namespace
}  // namespace device
