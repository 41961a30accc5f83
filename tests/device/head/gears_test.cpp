#include "head/gears.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "head/axis.h"

namespace device {
namespace {

constexpr double PIECE = 0.0005;

TEST(GearsTest, StiffGearsWithoutPlayDoNothing) {
  Gears gears({}, 300);
  gears.step(PIECE, 1, 300);
  EXPECT_EQ(gears.offset(), 0);
  EXPECT_FALSE(gears.swinging());
}

TEST(GearsTest, TheHeadFollowsWhenThePlayIsTakenUp) {
  Gears gears({.play = 0.1}, 300);
  double motor = 0;
  const auto turn = [&](double way) {
    motor += way;
    gears.step(PIECE, way, 0);
    return motor + gears.offset();
  };
  EXPECT_NEAR(turn(0.03), 0, 1e-12);  // half of the play lies before it
  EXPECT_NEAR(turn(0.03), 0.01, 1e-12);
  EXPECT_NEAR(turn(1), 1.01, 1e-12);
  EXPECT_NEAR(turn(-0.09), 1.01, 1e-12);  // all of the play lies behind it
  EXPECT_NEAR(turn(-0.02), 1.0, 1e-12);
}

// A brake from full speed that lasts longer than the swing needs to settle.
TEST(GearsTest, BrakingSwingsTheHeadBeyondTheMotor) {
  for (const double overshoot : {0.1, 0.5, 2.0}) {
    Axis axis({.speed = 100,
               .acceleration = 20,
               .low = -180,
               .high = 180,
               .endless = true,
               .gears = {.play = 0, .overshoot = overshoot}},
              0);
    axis.moveAt(100);
    axis.step(8);
    axis.moveAt(0);
    for (int i = 0; i < 10000 && axis.getVelocity() != 0; ++i) {
      axis.step(0.001);
    }
    const double most = axis.headPosition() - axis.getPosition();
    EXPECT_NEAR(most, overshoot, 0.05 * overshoot);
    EXPECT_TRUE(axis.moving());
  }
}

// Its first swing back reaches exp(-pi d / sqrt(1 - d^2)) of the overshoot, 37 % for d = 0.3.
TEST(GearsTest, TheSwingDiesDown) {
  Gears gears({.overshoot = 0.5}, 300);
  for (double time = 0; time < 3; time += PIECE) {
    gears.step(PIECE, 0, -300);
  }
  ASSERT_NEAR(gears.offset(), 0.5, 0.005);
  double least = 0;
  for (double time = 0; time < 0.3; time += PIECE) {
    gears.step(PIECE, 0, 0);
    least = std::min(least, gears.offset());
  }
  EXPECT_NEAR(least, -0.5 * 0.3723, 0.01);
  for (double time = 0; time < 3; time += PIECE) {
    gears.step(PIECE, 0, 0);
  }
  EXPECT_NEAR(gears.offset(), 0, 1e-4);
  EXPECT_FALSE(gears.swinging());
}

TEST(GearsTest, AVeryStiffMountStaysCalm) {
  Gears gears({.overshoot = 0.001}, 100000);
  for (int i = 0; i < 2000; ++i) {
    gears.step(PIECE, 0, i < 1000 ? -100000 : 0);
    ASSERT_LT(std::abs(gears.offset()), 0.002);
  }
  EXPECT_NEAR(gears.offset(), 0, 1e-6);
}

TEST(GearsTest, PlayDoesNotMindTheSeam) {
  Axis axis({.speed = 100,
             .acceleration = 400,
             .low = -180,
             .high = 180,
             .endless = true,
             .gears = {.play = 0.2}},
            179);
  axis.moveAt(50);
  axis.step(0.5);
  ASSERT_LT(axis.getPosition(), 0);  // beyond the seam
  EXPECT_NEAR(axis.headPosition(), axis.getPosition() - 0.1, 1e-9);
  axis.moveAt(-50);
  axis.step(1);
  ASSERT_GT(axis.getPosition(), 0);
  EXPECT_NEAR(axis.headPosition(), axis.getPosition() + 0.1, 1e-9);
}

}  // namespace
}  // namespace device
