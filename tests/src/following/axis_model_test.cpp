#include "following/axis_model.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "following/simulated_head.h"

namespace following {
namespace {

SpeedCurve curve(int step = 1) {
  const SpeedLevel levels[] = {{2, 0.283}, {10, 3.162}, {100, 100.0}};
  return {levels, step};
}

TEST(SpeedCurveTest, IsStraightBetweenLogarithms) {
  EXPECT_NEAR(curve().speed(5), 1.118, 1e-3);
  EXPECT_NEAR(curve().speed(50), 35.35, 1e-2);
  EXPECT_NEAR(curve().speed(-50), -35.35, 1e-2);
}

TEST(SpeedCurveTest, IsNothingBelowTheLeastLevelAndTheGreatestAboveTheLast) {
  EXPECT_EQ(curve().speed(1), 0.0);
  EXPECT_EQ(curve().speed(0), 0.0);
  EXPECT_EQ(curve().speed(2), 0.283);
  EXPECT_EQ(curve().speed(-250), -100.0);
  EXPECT_EQ(curve().slowest(), 0.283);
  EXPECT_EQ(curve().fastest(), 100.0);
  EXPECT_EQ(curve(5).slowest(), curve().speed(5));
}

TEST(SpeedCurveTest, LevelsInTheDeadZoneAreLeftOut) {
  // 0.08 % of 200 is 0.16.
  const SpeedLevel levels[] = {{2, 0.09}, {3, 0.15}, {4, 0.17}, {100, 200.0}};
  const SpeedCurve found(levels, 1);
  ASSERT_EQ(found.levels().size(), 2U);
  EXPECT_EQ(found.levels()[0].percent, 4);
  const SpeedLevel slow[] = {{2, 0.09}, {3, 0.11}, {100, 50.0}};
  EXPECT_EQ(SpeedCurve(slow, 1).levels()[0].percent, 3);
}

TEST(SpeedCurveTest, LevelsNotFasterThanTheNextLowerOneAreLeftOut) {
  const SpeedLevel levels[] = {{2, 1.0}, {3, 1.0}, {4, 0.9}, {6, 3.0}, {100, 50.0}};
  const SpeedCurve found(levels, 1);
  ASSERT_EQ(found.levels().size(), 3U);
  EXPECT_EQ(found.levels()[1].percent, 6);
}

TEST(SpeedCurveTest, CommandIsTheOneWhoseSpeedIsNearest) {
  simulation::Random random(11);
  for (const int step : {1, 5}) {
    const SpeedCurve found = curve(step);
    for (int i = 0; i < 2000; ++i) {
      const double wanted = random.uniform(-120.0, 120.0) * random.uniform(0.0, 1.0);
      const int before = static_cast<int>(random.uniform(-100.0, 100.0)) / step * step;
      // Every command, one after the other.
      double least = 1e9;
      for (int percent = -100; percent <= 100; percent += step) {
        if (percent != 0 && found.speed(percent) == 0.0) {
          continue;
        }
        const double off = std::abs(found.speed(percent) - wanted);
        const bool isBefore = percent == before;
        const bool isAcross = percent * wanted < 0.0;
        if (!isAcross) {
          least = std::min(least, isBefore ? 0.7 * off : off);
        }
      }
      const int command = found.command(wanted, before);
      const double off = std::abs(found.speed(command) - wanted);
      EXPECT_NEAR(command == before ? 0.7 * off : off, least, 1e-9)
          << wanted << " before " << before << " step " << step;
      EXPECT_EQ(command % step, 0);
      EXPECT_LE(std::abs(command), 100);
      EXPECT_GE(command * wanted, 0.0);
    }
  }
}

TEST(SpeedCurveTest, CommandIsNeverBeyondTheGreatestLevel) {
  const SpeedLevel levels[] = {{5, 5.0}, {20, 20.0}, {35, 35.0}};
  EXPECT_EQ(SpeedCurve(levels, 1).command(90.0, 0), 35);
  EXPECT_EQ(SpeedCurve(levels, 1).command(-90.0, 100), -35);
  EXPECT_EQ(SpeedCurve(levels, 10).command(90.0, 0), 30);
}

TEST(SpeedCurveTest, CommandOfBeforeIsKeptWhileItIsNearlyAsGood) {
  const SpeedLevel levels[] = {{10, 10.0}, {100, 100.0}};
  const SpeedCurve found(levels, 10);
  EXPECT_EQ(found.command(15.5, 0), 20);
  EXPECT_EQ(found.command(15.5, 10), 10);  // 0.7 x 5.5 < 4.5
  EXPECT_EQ(found.command(16.5, 10), 20);  // 0.7 x 6.5 > 3.5
  EXPECT_EQ(found.command(5.5, 0), 0);     // 0.7 x 5.5 < 4.5
  EXPECT_EQ(found.command(6.5, 0), 10);
}

TEST(SpeedCurveTest, WhatIsNotFiniteCommandsNothing) {
  EXPECT_EQ(curve().command(std::nan(""), 10), 0);
  EXPECT_EQ(curve().command(INFINITY, 10), 0);
  EXPECT_EQ(curve().speed(std::nan("")), 0.0);
  const SpeedLevel broken[] = {{5, std::nan("")}, {10, INFINITY}};
  EXPECT_FALSE(SpeedCurve(broken, 1).moves());
  EXPECT_EQ(SpeedCurve(broken, 1).command(10.0, 0), 0);
  EXPECT_EQ(SpeedCurve(broken, 1).fastest(), 0.0);
}

// From 0 to 30 deg/s at 300 deg/s2: 0.1 s and 1.5 deg, then straight.
TEST(AxisMotionTest, IsAParabolaThenALine) {
  AxisMotion motion;
  motion.advance(0.05, 30.0, 300.0);
  EXPECT_NEAR(motion.velocity, 15.0, 1e-12);
  EXPECT_NEAR(motion.position, 0.375, 1e-12);
  motion.advance(0.25, 30.0, 300.0);
  EXPECT_NEAR(motion.velocity, 30.0, 1e-12);
  EXPECT_NEAR(motion.position, 1.5 + 0.2 * 30.0, 1e-12);
}

TEST(AxisMotionTest, IsTheSameInAnySteps) {
  simulation::Random random(5);
  for (int round = 0; round < 100; ++round) {
    const double wanted = random.uniform(-100, 100);
    const double acceleration = random.uniform(10, 1000);
    AxisMotion once{1.0, random.uniform(-100, 100)};
    AxisMotion often = once;
    double total = 0.0;
    for (int i = 0; i < 20; ++i) {
      const double part = random.uniform(0.0, 0.1);
      often.advance(part, wanted, acceleration, 1.1);
      total += part;
    }
    once.advance(total, wanted, acceleration, 1.1);
    EXPECT_NEAR(once.position, often.position, 1e-9);
    EXPECT_NEAR(once.velocity, often.velocity, 1e-9);
  }
}

TEST(AxisModelTest, ImplausibleHeadsAreTold) {
  AxisModel model;
  EXPECT_TRUE(model.isPlausible());
  for (const double bad : {-0.1, 3.1, std::nan("")}) {
    AxisModel other = model;
    other.deadTime = bad;
    EXPECT_FALSE(other.isPlausible()) << bad;
  }
  for (const double bad : {0.0, -5.0, HUGE_VAL, std::nan("")}) {
    AxisModel other = model;
    other.acceleration = bad;
    EXPECT_FALSE(other.isPlausible()) << bad;
  }
  AxisModel dead = model;
  dead.curve = SpeedCurve(std::span<const SpeedLevel>(), 1);
  EXPECT_FALSE(dead.isPlausible());
  AxisModel upsideDown = model;
  upsideDown.lowest = 10.0;
  upsideDown.highest = -10.0;
  EXPECT_FALSE(upsideDown.isPlausible());
}

}  // namespace
}  // namespace following
