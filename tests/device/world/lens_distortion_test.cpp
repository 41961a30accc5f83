#include "world/lens_distortion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "world/overview_camera.h"

namespace device {
namespace {

TEST(LensDistortionTest, PointsMoveByThePolynomial) {
  EXPECT_DOUBLE_EQ(distorted({}, 0.7), 0.7);
  EXPECT_DOUBLE_EQ(distorted({.k1 = -0.1}, 0.5), 0.5 * (1 - 0.1 * 0.25));
  EXPECT_DOUBLE_EQ(distorted({.k1 = -0.1, .k2 = 0.02}, 2), 2 * (1 - 0.4 + 0.32));
}

TEST(LensDistortionTest, UndistortedTakesItBack) {
  for (const LensDistortion& lens :
       {LensDistortion{-0.05, 0}, LensDistortion{-0.1, 0.02}, LensDistortion{0.1, 0}}) {
    for (const double r : {0.0, 0.01, 0.4, 0.9, 1.3}) {
      EXPECT_NEAR(undistorted(lens, distorted(lens, r)), r, 1e-9);
    }
  }
}

TEST(LensDistortionTest, ReachEndsWhereThePictureFolds) {
  EXPECT_EQ(reachOf({}), std::numeric_limits<double>::infinity());
  EXPECT_EQ(reachOf({.k1 = 0.1}), std::numeric_limits<double>::infinity());
  EXPECT_DOUBLE_EQ(reachOf({.k1 = -0.1}), std::sqrt(1 / 0.3));
  // 1 - 0.6 u + 0.05 u^2 = 0 first at u = 2.
  EXPECT_NEAR(reachOf({.k1 = -0.2, .k2 = 0.01}), std::sqrt(2), 1e-12);
}

OverviewCamera cameraWith(const LensDistortion& lens, double roll = 0) {
  OverviewCameraSetup setup;
  setup.horizontalFov = 90;
  setup.roll = roll;
  setup.distortion = lens;
  return OverviewCamera(setup);
}

// 10 m ahead and 5 m to the right: at half the picture's right half, 0.5 focal lengths out.
TEST(LensDistortionTest, ACameraShowsTheWorldThroughItsLens) {
  const auto straight = cameraWith({}).project({5, 10, 0});
  const auto bent = cameraWith({.k1 = -0.1}).project({5, 10, 0});
  ASSERT_TRUE(straight && bent);
  EXPECT_NEAR(straight->x, 0.5, 1e-12);
  EXPECT_NEAR(bent->x, 0.5 * (1 - 0.1 * 0.25), 1e-12);
}

TEST(LensDistortionTest, TheLineOfSightGoesBackThroughTheLens) {
  const OverviewCamera camera = cameraWith({.k1 = -0.08, .k2 = 0.004}, 3);
  for (const PicturePoint& point : {PicturePoint{0.9, -0.8}, PicturePoint{-0.3, 0.1}}) {
    const SpacePoint ray = unitVector(camera.lineOfSight(point));
    const auto back = camera.project({10 * ray.x, 10 * ray.y, 10 * ray.z});
    ASSERT_TRUE(back);
    EXPECT_NEAR(back->x, point.x, 1e-9);
    EXPECT_NEAR(back->y, point.y, 1e-9);
  }
}

TEST(LensDistortionTest, WhatTheLensCannotShowIsNotInThePicture) {
  EXPECT_TRUE(cameraWith({.k1 = -0.1}).project({18, 10, 0}));   // 1.8 focal lengths
  EXPECT_FALSE(cameraWith({.k1 = -0.1}).project({19, 10, 0}));  // its reach is 1.826
}

// A camera turned clockwise shows what is to its right higher up.
TEST(LensDistortionTest, ARolledCameraTurnsThePicture) {
  const auto seen = cameraWith({}, 30).project({1, 10, 0});
  ASSERT_TRUE(seen);
  EXPECT_NEAR(seen->x, 0.1 * std::cos(30 * 3.14159265358979 / 180), 1e-12);
  EXPECT_NEAR(seen->y, 0.1 * std::sin(30 * 3.14159265358979 / 180) * 16 / 9, 1e-12);
}

}  // namespace
}  // namespace device
