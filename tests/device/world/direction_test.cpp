#include "world/direction.h"

#include <gtest/gtest.h>

#include <cmath>

namespace device {
namespace {

TEST(DirectionTest, PanGrowsToTheRightAndTiltUpwards) {
  EXPECT_NEAR(directionOf({0, 5, 0}).pan, 0, 1e-12);
  EXPECT_NEAR(directionOf({5, 0, 0}).pan, 90, 1e-12);
  EXPECT_NEAR(directionOf({-5, 0, 0}).pan, -90, 1e-12);
  EXPECT_NEAR(directionOf({0, 5, 5}).tilt, 45, 1e-12);
  EXPECT_NEAR(directionOf({3, 4, -5}).tilt, -45, 1e-12);
}

TEST(DirectionTest, BackwardsIsTheLowerSeam) {
  EXPECT_DOUBLE_EQ(directionOf({0, -5, 0}).pan, -180);
}

TEST(DirectionTest, StraightUpHasPanZero) {
  EXPECT_DOUBLE_EQ(directionOf({0, 0, 2}).pan, 0);
  EXPECT_DOUBLE_EQ(directionOf({0, 0, 2}).tilt, 90);
}

TEST(DirectionTest, VectorAndBack) {
  for (double pan = -175; pan < 180; pan += 25) {
    for (double tilt = -80; tilt <= 80; tilt += 20) {
      const Direction back = directionOf(unitVector({pan, tilt}));
      EXPECT_NEAR(back.pan, pan, 1e-9);
      EXPECT_NEAR(back.tilt, tilt, 1e-9);
    }
  }
}

TEST(DirectionTest, NormalizedPan) {
  EXPECT_DOUBLE_EQ(normalizedPan(180), -180);
  EXPECT_DOUBLE_EQ(normalizedPan(-180), -180);
  EXPECT_DOUBLE_EQ(normalizedPan(190), -170);
  EXPECT_DOUBLE_EQ(normalizedPan(-541), 179);
}

TEST(DirectionTest, Angles) {
  EXPECT_NEAR(angleBetween({10, 0}, {30, 0}), 20, 1e-9);
  EXPECT_NEAR(angleBetween({170, 0}, {-170, 0}), 20, 1e-9);
  EXPECT_NEAR(angleBetween({0, 80}, {180, 80}), 20, 1e-9);
  EXPECT_NEAR(angleBetween({0, 90}, {123, 90}), 0, 1e-9);
  EXPECT_NEAR(angleBetween({0, -90}, {0, 90}), 180, 1e-6);
  EXPECT_DOUBLE_EQ(angleBetween({12, 34}, {12, 34}), 0);
  // The law of cosines.
  const double expected =
      std::acos(std::sin(0.3) * std::sin(-0.2) + std::cos(0.3) * std::cos(-0.2) * std::cos(0.7));
  EXPECT_NEAR(angleBetween({toDegrees(0.1), toDegrees(0.3)}, {toDegrees(0.8), toDegrees(-0.2)}),
              toDegrees(expected), 1e-9);
}

}  // namespace
}  // namespace device
