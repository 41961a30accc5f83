#include "head/drive_curve.h"

#include <gtest/gtest.h>

#include <cmath>

namespace device {
namespace {

TEST(DriveCurveTest, WithoutFlawsTheCommandIsTheSpeed) {
  for (const double percent : {-100.0, -33.3, -0.1, 0.0, 0.1, 47.25, 100.0}) {
    EXPECT_EQ(drivenPercent({}, percent), percent);
  }
}

TEST(DriveCurveTest, BelowTheDeadZoneItStandsStill) {
  const DriveCurve curve{.deadZone = 2};
  EXPECT_EQ(drivenPercent(curve, 1.99), 0);
  EXPECT_EQ(drivenPercent(curve, -1.99), 0);
  EXPECT_EQ(drivenPercent(curve, 2), 2);
  EXPECT_EQ(drivenPercent(curve, -2.5), -2.5);
}

TEST(DriveCurveTest, SpeedsComeInSteps) {
  const DriveCurve curve{.step = 5};
  EXPECT_EQ(drivenPercent(curve, 2.4), 0);
  EXPECT_EQ(drivenPercent(curve, 2.6), 5);
  EXPECT_EQ(drivenPercent(curve, -12), -10);
  EXPECT_EQ(drivenPercent(curve, -98), -100);
}

TEST(DriveCurveTest, StepsNeverLeadBeyondFullSpeed) {
  EXPECT_EQ(drivenPercent({.step = 30}, 100), 90);
  EXPECT_EQ(drivenPercent({.step = 40}, 100), 100);
}

TEST(DriveCurveTest, SpeedGrowsWithAPowerOfTheCommand) {
  const DriveCurve curve{.exponent = 1.5};
  EXPECT_NEAR(drivenPercent(curve, 25), 12.5, 1e-12);  // 0.25 * sqrt(0.25)
  EXPECT_NEAR(drivenPercent(curve, -64), -51.2, 1e-12);
  EXPECT_NEAR(drivenPercent(curve, 100), 100, 1e-12);
  EXPECT_EQ(drivenPercent(curve, 0), 0);
}

}  // namespace
}  // namespace device
