#include "head/axis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace device {
namespace {

constexpr AxisSetup TILT{.speed = 100, .acceleration = 400, .low = -90, .high = 20};
constexpr AxisSetup PAN{
    .speed = 100, .acceleration = 400, .low = -180, .high = 180, .endless = true};

TEST(AxisTest, StandsStillAtFirst) {
  Axis axis(TILT, -3.6);
  axis.step(1);
  EXPECT_DOUBLE_EQ(axis.getPosition(), -3.6);
  EXPECT_DOUBLE_EQ(axis.getVelocity(), 0);
  EXPECT_FALSE(axis.moving());
}

TEST(AxisTest, StartsWithinItsEndStops) {
  EXPECT_DOUBLE_EQ(Axis(TILT, -200).getPosition(), -90);
  EXPECT_DOUBLE_EQ(Axis(TILT, 50).getPosition(), 20);
}

// 100 deg/s at 400 deg/s2: 0.25 s and 12.5 degrees to full speed and as much to brake. For 85
// degrees that leaves 60 degrees, 0.6 s, at full speed: 1.1 s in all.
TEST(AxisTest, GoesToAPositionByATrapezoid) {
  Axis axis(TILT, 0);
  axis.moveTo(-85, 100);
  axis.step(0.1);
  EXPECT_NEAR(axis.getPosition(), -2, 0.05);  // 400 * 0.1^2 / 2
  EXPECT_NEAR(axis.getVelocity(), -40, 0.5);
  axis.step(0.15);
  EXPECT_NEAR(axis.getPosition(), -12.5, 0.05);
  EXPECT_NEAR(axis.getVelocity(), -100, 0.5);
  axis.step(0.6);
  EXPECT_NEAR(axis.getPosition(), -72.5, 0.1);
  axis.step(0.23);
  EXPECT_TRUE(axis.moving());
  axis.step(0.03);
  EXPECT_FALSE(axis.moving());
  EXPECT_DOUBLE_EQ(axis.getPosition(), -85);
}

// 4 degrees need no full speed: half the way up to 400 * t = sqrt(2 * 400 * 2), t = 0.1 s.
TEST(AxisTest, GoesAShortWayByATriangle) {
  Axis axis(TILT, 0);
  axis.moveTo(4, 100);
  axis.step(0.1);
  EXPECT_NEAR(axis.getPosition(), 2, 0.05);
  EXPECT_NEAR(axis.getVelocity(), 40, 1);
  axis.step(0.11);
  EXPECT_DOUBLE_EQ(axis.getPosition(), 4);
  EXPECT_FALSE(axis.moving());
}

TEST(AxisTest, TheSpeedLimitOfAWayHolds) {
  Axis axis(TILT, 0);
  axis.moveTo(-80, 20);
  axis.step(1);
  EXPECT_NEAR(axis.getVelocity(), -20, 1e-9);
}

TEST(AxisTest, TheLengthOfAStepHasNoInfluence) {
  Axis coarse(TILT, 0);
  Axis fine(TILT, 0);
  coarse.moveTo(-40, 100);
  fine.moveTo(-40, 100);
  coarse.step(0.4);
  for (int i = 0; i < 400; ++i) {
    fine.step(0.001);
  }
  EXPECT_NEAR(coarse.getPosition(), fine.getPosition(), 0.06);  // one thousandth of a second's way
}

// 35 % for a second: 0.0875 s to speed up, in which half the way is lost.
TEST(AxisTest, GoesOnAtASpeed) {
  Axis axis(TILT, 0);
  axis.moveAt(-35);
  axis.step(1);
  EXPECT_NEAR(axis.getPosition(), -35 * (1 - 0.0875 / 2), 0.05);
  EXPECT_NEAR(axis.getVelocity(), -35, 1e-9);
  EXPECT_TRUE(axis.moving());
}

TEST(AxisTest, SpeedZeroBrakesAsFastAsItCan) {
  Axis axis(TILT, -80);
  axis.moveAt(100);
  axis.step(0.5);
  const double before = axis.getPosition();
  axis.moveAt(0);
  axis.step(0.24);
  EXPECT_TRUE(axis.moving());
  axis.step(0.02);
  EXPECT_FALSE(axis.moving());
  EXPECT_NEAR(axis.getPosition(), before + 12.5, 0.05);
}

// 20 deg/s at 400 deg/s2: 0.05 s and half a degree to full speed and as much to brake.
TEST(AxisTest, ASpeedHoldsForItsTimeOnly) {
  Axis axis(TILT, -80);
  axis.moveAt(20, 1);
  axis.step(0.99);
  EXPECT_NEAR(axis.getVelocity(), 20, 1e-9);
  axis.step(0.07);
  EXPECT_FALSE(axis.moving());
  axis.step(1);
  EXPECT_NEAR(axis.getPosition(), -80 + 0.5 + 20 * 0.95 + 0.5, 0.05);
}

TEST(AxisTest, ASpeedThatIsRepeatedGoesOn) {
  Axis axis(TILT, -80);
  for (int i = 0; i < 4; ++i) {
    axis.moveAt(20, 1);
    axis.step(0.9);
  }
  EXPECT_NEAR(axis.getVelocity(), 20, 1e-9);
  EXPECT_NEAR(axis.getPosition(), -80 + 0.5 + 20 * (4 * 0.9 - 0.05), 0.05);
}

TEST(AxisTest, TheTimeOfASpeedDoesNotCutAWayShort) {
  Axis axis(TILT, 0);
  axis.moveAt(20, 0.1);
  axis.moveTo(-85, 100);
  axis.step(3);
  EXPECT_DOUBLE_EQ(axis.getPosition(), -85);
}

TEST(AxisTest, NoSpeedAboveItsOwn) {
  Axis axis(PAN, 0);
  axis.moveAt(1000);
  axis.step(1);
  EXPECT_NEAR(axis.getVelocity(), 100, 1e-9);
}

TEST(AxisTest, BrakesInTimeForAnEndStopAndStandsThere) {
  Axis axis(TILT, 0);
  axis.moveAt(100);
  double fastest = 0;
  for (int i = 0; i < 2000; ++i) {
    axis.step(0.001);
    fastest = std::max(fastest, axis.getVelocity());
    ASSERT_LE(axis.getPosition(), 20);
    // Whatever its speed, it could still stop before the end.
    ASSERT_LE(axis.getVelocity() * axis.getVelocity() / 800, 20 - axis.getPosition() + 0.1);
  }
  EXPECT_NEAR(fastest, std::sqrt(2 * 400 * 10), 1.0);  // half the 20 degrees to speed up
  EXPECT_DOUBLE_EQ(axis.getPosition(), 20);
  EXPECT_FALSE(axis.moving());
}

TEST(AxisTest, LeavesAnEndStopAgain) {
  Axis axis(TILT, 20);
  axis.moveAt(50);
  axis.step(1);
  EXPECT_DOUBLE_EQ(axis.getPosition(), 20);
  axis.moveAt(-50);
  axis.step(1);
  EXPECT_NEAR(axis.getPosition(), 20 - 50 * (1 - 0.125 / 2), 0.05);
}

TEST(AxisTest, TargetsBeyondAnEndStopEndThere) {
  Axis axis(TILT, 0);
  axis.moveTo(90, 100);
  axis.step(5);
  EXPECT_DOUBLE_EQ(axis.getPosition(), 20);
}

TEST(AxisTest, EndlessAxisTakesTheShorterWayOverTheSeam) {
  Axis axis(PAN, 170);
  axis.moveTo(-170, 100);
  axis.step(0.2);
  EXPECT_GT(axis.getVelocity(), 0);
  axis.step(1);
  EXPECT_DOUBLE_EQ(axis.getPosition(), -170);

  axis.moveTo(170, 100);
  axis.step(0.2);
  EXPECT_LT(axis.getVelocity(), 0);
  axis.step(1);
  EXPECT_DOUBLE_EQ(axis.getPosition(), 170);
}

TEST(AxisTest, EndlessAxisGoesUpWhenBothWaysAreEqual) {
  Axis axis(PAN, -90);
  axis.moveTo(90, 100);
  axis.step(0.2);
  EXPECT_GT(axis.getVelocity(), 0);
}

TEST(AxisTest, EndlessAxisKeepsItsPositionsBetweenTheSeams) {
  Axis axis(PAN, 0);
  axis.moveAt(100);
  axis.step(5);  // 500 degrees less half of the 0.25 s of speeding up
  EXPECT_NEAR(axis.getPosition(), 487.5 - 360, 0.1);
  EXPECT_TRUE(axis.moving());
}

TEST(AxisTest, UpperSeamAsATargetIsTheLowerOne) {
  Axis axis(PAN, 0);
  axis.moveTo(180, 100);
  axis.step(5);
  EXPECT_DOUBLE_EQ(axis.getPosition(), -180);
}

TEST(AxisTest, ANewTargetOnTheWayReplacesTheOldOne) {
  Axis axis(TILT, 0);
  axis.moveTo(-80, 100);
  axis.step(0.5);
  axis.moveTo(-10, 100);
  axis.step(5);
  EXPECT_DOUBLE_EQ(axis.getPosition(), -10);
}

// Whatever it is told, an axis keeps to its end stops, its speed and its acceleration.
TEST(AxisTest, RandomCommandsNeverBreakItsLimits) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> anywhere(-120, 120);
  Axis axis(TILT, 0);
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
    ASSERT_GE(axis.getPosition(), -90);
    ASSERT_LE(axis.getPosition(), 20);
    ASSERT_LE(std::abs(axis.getVelocity()), 100 + 1e-9);
    ASSERT_LE(std::abs(axis.getVelocity() - velocity), 400 * 0.0105 + 1) << "at step " << i;
    velocity = axis.getVelocity();
  }
}

}  // namespace
}  // namespace device
