#include "world/overview_camera.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace device {
namespace {

OverviewCameraSetup setupOf(double pan, double tilt, double fov, int rotation = 0) {
  OverviewCameraSetup setup;
  setup.position = {1, -2, 9};
  setup.pan = pan;
  setup.tilt = tilt;
  setup.horizontalFov = fov;
  setup.rotation = rotation;
  return setup;
}

SpacePoint along(const OverviewCameraSetup& setup, const Direction& direction, double distance) {
  const SpacePoint ray = unitVector(direction);
  return {setup.position.x + ray.x * distance, setup.position.y + ray.y * distance,
          setup.position.z + ray.z * distance};
}

TEST(OverviewCameraTest, PixelsAreSquare) {
  const OverviewCamera camera(setupOf(0, 0, 60));
  // tan(30) * 1080 / 1920 = 0.32476 -> 2 * 17.9920 degrees.
  EXPECT_NEAR(camera.verticalFov(), 35.9839, 1e-3);
  EXPECT_EQ(camera.pictureWidth(), 1920);
  EXPECT_EQ(camera.pictureHeight(), 1080);
}

TEST(OverviewCameraTest, OnItsSideThePictureIsUpright) {
  const OverviewCamera camera(setupOf(0, 0, 30, 270));
  EXPECT_EQ(camera.pictureWidth(), 1080);
  EXPECT_EQ(camera.pictureHeight(), 1920);
  // tan(15) * 1920 / 1080 = 0.47635 -> 2 * 25.4712 degrees.
  EXPECT_NEAR(camera.verticalFov(), 50.9423, 1e-3);
}

TEST(OverviewCameraTest, MiddleAndEdgesOfThePicture) {
  const OverviewCameraSetup setup = setupOf(40, 0, 60);
  const OverviewCamera camera(setup);
  const PicturePoint middle = *camera.project(along(setup, {40, 0}, 10));
  EXPECT_NEAR(middle.x, 0, 1e-12);
  EXPECT_NEAR(middle.y, 0, 1e-12);
  const PicturePoint right = *camera.project(along(setup, {70, 0}, 10));
  EXPECT_NEAR(right.x, 1, 1e-12);
  const PicturePoint top = *camera.project(along(setup, {40, camera.verticalFov() / 2}, 10));
  EXPECT_NEAR(top.y, 1, 1e-12);
}

TEST(OverviewCameraTest, NothingFromBehindTheLens) {
  const OverviewCameraSetup setup = setupOf(0, 0, 60);
  EXPECT_FALSE(OverviewCamera(setup).project(along(setup, {120, 0}, 10)));
  EXPECT_FALSE(OverviewCamera(setup).project(setup.position));
}

// The gnomonic projection of spherical trigonometry, which knows no vectors.
TEST(OverviewCameraTest, ProjectsAsTheGnomonicFormulaSays) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> anyPan(-180, 180);
  std::uniform_real_distribution<double> anyTilt(-85, 85);
  std::uniform_real_distribution<double> anyOffset(-40, 40);
  for (int i = 0; i < 2000; ++i) {
    const OverviewCameraSetup setup = setupOf(anyPan(random), anyTilt(random), 70);
    const Direction direction{setup.pan + anyOffset(random),
                              std::clamp(setup.tilt + anyOffset(random) / 2, -89.0, 89.0)};
    const double delta = toRadians(direction.pan - setup.pan);
    const double tilt = toRadians(direction.tilt);
    const double axis = toRadians(setup.tilt);
    const double depth =
        std::sin(axis) * std::sin(tilt) + std::cos(axis) * std::cos(tilt) * std::cos(delta);
    if (depth < 0.1) {
      continue;
    }
    const double right = std::cos(tilt) * std::sin(delta) / depth;
    const double up =
        (std::cos(axis) * std::sin(tilt) - std::sin(axis) * std::cos(tilt) * std::cos(delta)) /
        depth;
    const double half = std::tan(toRadians(35));
    const OverviewCamera camera(setup);
    const std::optional<PicturePoint> point = camera.project(along(setup, direction, 20));
    ASSERT_TRUE(point);
    ASSERT_NEAR(point->x, right / half, 1e-9);
    ASSERT_NEAR(point->y, up / half * 1920 / 1080, 1e-9);
    const Direction back = camera.lineOfSight(*point);
    ASSERT_NEAR(angleBetween(back, direction), 0, 1e-6);
  }
}

TEST(OverviewCameraTest, PointsAnew) {
  OverviewCameraSetup setup = setupOf(0, 0, 60);
  OverviewCamera camera(setup);
  camera.pointAt({90, -20}, 10);
  EXPECT_DOUBLE_EQ(camera.horizontalFov(), 10);
  EXPECT_NEAR(camera.project(along(setup, {90, -20}, 5))->x, 0, 1e-12);
  camera.pointAt({10, 0});
  EXPECT_DOUBLE_EQ(camera.horizontalFov(), 10);
  EXPECT_NEAR(camera.project(along(setup, {15, 0}, 5))->x, 1, 1e-12);
}

// How a receiver of the frames turns their coordinates back.
PicturePoint turnedBack(const PicturePoint& scene, int rotation) {
  switch (rotation) {
    case 90:
      return {scene.y, -scene.x};
    case 180:
      return {-scene.x, -scene.y};
    case 270:
      return {-scene.y, scene.x};
    default:
      return scene;
  }
}

TEST(OverviewCameraTest, ReceiversGetTheUprightPictureBack) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> anywhere(-1, 1);
  for (const int rotation : {0, 90, 180, 270}) {
    const OverviewCamera camera(setupOf(0, 0, 30, rotation));
    for (int i = 0; i < 100; ++i) {
      const PicturePoint upright{anywhere(random), anywhere(random)};
      const PicturePoint scene = camera.toScene(upright);
      EXPECT_DOUBLE_EQ(turnedBack(scene, rotation).x, upright.x);
      EXPECT_DOUBLE_EQ(turnedBack(scene, rotation).y, upright.y);
      EXPECT_DOUBLE_EQ(camera.toUpright(scene).x, upright.x);
      EXPECT_DOUBLE_EQ(camera.toUpright(scene).y, upright.y);
    }
  }
}

// A sensor of 1920x1080 on its side: half-way to the right on the sensor is half-way down in the
// upright picture.
TEST(OverviewCameraTest, AQuarterTurnByHand) {
  const OverviewCamera camera(setupOf(0, 0, 30, 90));
  const PicturePoint upright = camera.toUpright({0.5, 0});
  EXPECT_DOUBLE_EQ((upright.x + 1) * camera.pictureWidth() / 2, 540);
  EXPECT_DOUBLE_EQ((1 - upright.y) * camera.pictureHeight() / 2, 1440);
}

}  // namespace
}  // namespace device
