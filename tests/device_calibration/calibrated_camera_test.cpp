#include "calibration/calibrated_camera.h"

#include <gtest/gtest.h>

#include <cmath>

#include "ptzmath/pinhole.h"
#include "truth.h"

namespace device::calibration {
namespace {

TEST(CalibratedCameraTest, TheMiddleIsTheAxisOfACameraInTheHeadsPlace) {
  const Direction found = toHead({.pan = 30, .tilt = -20, .roll = 7, .horizontalFov = 90}, {0, 0});
  EXPECT_NEAR(found.pan, 30, 1e-9);
  EXPECT_NEAR(found.tilt, -20, 1e-9);
}

// 45 degrees down from 5 m, 3 m to the right of the head: (3, 5) on the ground.
TEST(CalibratedCameraTest, TheHeadLooksAtTheSameGround) {
  CalibratedCamera camera{.tilt = -45, .horizontalFov = 90};
  camera.offsetX = 3;
  camera.cameraHeight = 5;
  camera.headHeight = 5;
  const Direction found = toHead(camera, {0, 0});
  EXPECT_NEAR(found.pan, toDegrees(std::atan2(3, 5)), 1e-9);
  EXPECT_NEAR(found.tilt, -toDegrees(std::atan(5 / std::sqrt(34))), 1e-9);
  // The head 2 m higher.
  camera.headHeight = 7;
  EXPECT_NEAR(toHead(camera, {0, 0}).tilt, -toDegrees(std::atan(7 / std::sqrt(34))), 1e-9);
  // Above the horizon there is no ground.
  EXPECT_NEAR(toHead(camera, {0, 1.9}).pan, 0, 1e-9);
}

TEST(CalibratedCameraTest, ShowsWhereTheHeadLooks) {
  for (int seed = 0; seed < 20; ++seed) {
    truth::Chance chance(static_cast<std::uint64_t>(seed));
    const auto place = truth::randomInstallation(chance, seed % 2 == 1);
    const auto found = std::get<Calibration>(
        calibrate(truth::taskFor(place, truth::exactPoints(place, 9, chance))));
    for (int i = 0; i < 20; ++i) {
      const PicturePoint at{chance.between(-1, 1), chance.between(-1, 1)};
      const auto shown = toPicture(found.camera, toHead(found.camera, at));
      ASSERT_TRUE(shown);
      EXPECT_NEAR(shown->x, at.x, 1e-5);
      EXPECT_NEAR(shown->y, at.y, 1e-5);
    }
  }
}

TEST(CalibratedCameraTest, ShowsNothingThatIsBehindIt) {
  EXPECT_FALSE(toPicture({.horizontalFov = 90}, {180, 0}));
}

// What is found here is told to the host's libptzmath, which has arithmetic of its own.
TEST(CalibratedCameraTest, LibptzmathComesToTheSameDirections) {
  for (int seed = 0; seed < 40; ++seed) {
    truth::Chance chance(static_cast<std::uint64_t>(seed));
    const auto place = truth::randomInstallation(chance, seed % 2 == 1);
    const auto found = std::get<Calibration>(
        calibrate(truth::taskFor(place, truth::exactPoints(place, 9, chance))));
    const CalibratedCamera& camera = found.camera;
    ptzmath::Pinhole pinhole;
    pinhole.setPicture(truth::WIDTH, truth::HEIGHT);
    pinhole.setHorizontalFov(camera.horizontalFov);
    pinhole.setVerticalFov(verticalFov(camera));
    ptzmath::Mounting mounting{camera.pan, camera.tilt, camera.roll, camera.distortion};
    if (place.isOffset) {
      mounting.stand = {camera.offsetX, camera.offsetY, camera.cameraHeight, camera.headHeight};
    }
    pinhole.setMounting(mounting);
    for (int x = 0; x <= truth::WIDTH; x += 192) {
      for (int y = 0; y <= truth::HEIGHT; y += 180) {
        const PicturePoint shown{2.0 * x / truth::WIDTH - 1, 1 - 2.0 * y / truth::HEIGHT};
        const ptzmath::Direction direction = pinhole.directionOf(x, y);
        EXPECT_LT(angleBetween({direction.pan, direction.tilt}, toHead(camera, shown)), 1e-6);
        EXPECT_LT(angleBetween({direction.pan, direction.tilt}, place.headOf(shown)), 1e-3);
      }
    }
  }
}

}  // namespace
}  // namespace device::calibration
