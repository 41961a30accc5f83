#include "ptzmath.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>
#include <numbers>
#include <random>
#include <string>

#include "platform/fake_parameter_store.h"
#include "platform/owners.h"
#include "ptzmath/pinhole.h"

namespace {

using ptzmath::Direction;
using ptzmath::Mounting;
using ptzmath::Pinhole;

constexpr double RADIANS = std::numbers::pi / 180;
constexpr double TOLERANCE = 0.05;  // degrees

using Vector = std::array<double, 3>;  // to the right, upwards, ahead, for a head at pan and tilt 0

Vector sightOf(double pan, double tilt) {
  return {std::sin(pan * RADIANS) * std::cos(tilt * RADIANS), std::sin(tilt * RADIANS),
          std::cos(pan * RADIANS) * std::cos(tilt * RADIANS)};
}

double dot(const Vector& a, const Vector& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// Degrees between two directions, also exact for small angles.
double apart(const Vector& a, const Vector& b) {
  const Vector difference{a[0] - b[0], a[1] - b[1], a[2] - b[2]};
  const double lengths = std::sqrt(dot(a, a) * dot(b, b));
  return 2 * std::asin(std::min(1.0, std::sqrt(dot(difference, difference) / lengths) / 2)) /
         RADIANS;
}

// A camera written the other way round: from a direction to the pixel where it is seen.
struct Projector {
  int width;
  int height;
  double horizontalFov;
  double verticalFov;
  Mounting mounting;

  // False when the direction lies behind the camera or near the plane of its picture.
  bool project(double pan, double tilt, double& x, double& y) const {
    const Vector sight = sightOf(pan, tilt);
    const Vector axis = sightOf(mounting.pan, mounting.tilt);
    // What is right and up for a camera that is not rolled.
    const Vector right = sightOf(mounting.pan + 90, 0);
    const Vector up = sightOf(mounting.pan, mounting.tilt + 90);
    const double ahead = dot(sight, axis);
    if (ahead < 0.05) {
      return false;
    }
    const double across = dot(sight, right) / ahead;
    const double above = dot(sight, up) / ahead;
    // A camera that is turned clockwise sees the world turned counter-clockwise.
    const double roll = mounting.roll * RADIANS;
    const double pictureRight = across * std::cos(roll) - above * std::sin(roll);
    const double pictureUp = across * std::sin(roll) + above * std::cos(roll);
    x = width / 2.0 * (1 + pictureRight / std::tan(horizontalFov * RADIANS / 2));
    y = height / 2.0 * (1 - pictureUp / std::tan(verticalFov * RADIANS / 2));
    return true;
  }
};

Pinhole cameraFor(const Projector& projector) {
  Pinhole camera;
  camera.setPicture(projector.width, projector.height);
  camera.setMounting(projector.mounting);
  camera.setHorizontalFov(projector.horizontalFov);
  camera.setVerticalFov(projector.verticalFov);
  return camera;
}

Pinhole squareCamera(const Mounting& mounting) {
  return cameraFor({2000, 2000, 90, 90, mounting});
}

void expectDirection(double pan, double tilt, const Direction& found) {
  EXPECT_NEAR(pan, found.pan, 1e-9);
  EXPECT_NEAR(tilt, found.tilt, 1e-9);
}

TEST(Pinhole, TheMiddleIsTheOpticalAxis) {
  expectDirection(30, -20, squareCamera({30, -20, 10}).directionOf(1000, 1000));
  expectDirection(0, 0, squareCamera({}).directionOf(1000, 1000));
}

TEST(Pinhole, TheEdgesAreHalfTheFieldAngleAway) {
  const Pinhole camera = squareCamera({});
  expectDirection(45, 0, camera.directionOf(2000, 1000));
  expectDirection(-45, 0, camera.directionOf(0, 1000));
  expectDirection(0, 45, camera.directionOf(1000, 0));
  expectDirection(0, -45, camera.directionOf(1000, 2000));
}

TEST(Pinhole, AnglesAreNotProportionalToPixels) {
  // Half of the way to the edge is atan(1/2), not half of the angle.
  expectDirection(std::atan(0.5) / RADIANS, 0, squareCamera({}).directionOf(1500, 1000));
}

TEST(Pinhole, TheCornerOfALevelCamera) {
  // One to the right, one up, one ahead.
  expectDirection(45, std::atan(1 / std::sqrt(2.0)) / RADIANS,
                  squareCamera({}).directionOf(2000, 0));
}

TEST(Pinhole, BothFieldAnglesAreIndependent) {
  const Pinhole camera = cameraFor({1920, 1080, 60, 30, {}});
  expectDirection(30, 0, camera.directionOf(1920, 540));
  expectDirection(0, 15, camera.directionOf(960, 0));
}

TEST(Pinhole, PanIsAddedAcrossTheSeam) {
  expectDirection(-145, 0, squareCamera({170, 0, 0}).directionOf(2000, 1000));
  expectDirection(145, 0, squareCamera({-170, 0, 0}).directionOf(0, 1000));
}

TEST(Pinhole, PanIsBelowHalfATurn) {
  EXPECT_EQ(-180, squareCamera({180, 0, 0}).directionOf(1000, 1000).pan);
  EXPECT_EQ(-180, squareCamera({-180, 0, 0}).directionOf(1000, 1000).pan);
  EXPECT_EQ(-180, squareCamera({540, 0, 0}).directionOf(1000, 1000).pan);
  EXPECT_EQ(-10, squareCamera({-730, 0, 0}).directionOf(1000, 1000).pan);
}

TEST(Pinhole, TiltedCameraKeepsTheVerticalThroughItsMiddle) {
  const Pinhole camera = squareCamera({0, -30, 0});
  expectDirection(0, 15, camera.directionOf(1000, 0));
  expectDirection(0, -75, camera.directionOf(1000, 2000));
}

TEST(Pinhole, TiltedCameraSeesTheSidesAtAWiderPan) {
  // Ahead cos(-60) = 1/2, to the right 1, down sin(60): pan = atan(2).
  const Direction found = squareCamera({0, -60, 0}).directionOf(2000, 1000);
  expectDirection(std::atan(2.0) / RADIANS,
                  -std::atan(std::sin(60 * RADIANS) / std::sqrt(1.25)) / RADIANS, found);
}

TEST(Pinhole, BeyondTheZenithPanTurnsRound) {
  // Axis at 80 degrees, the upper edge 45 degrees further: 55 degrees up on the other side.
  expectDirection(-180, 55, squareCamera({0, 80, 0}).directionOf(1000, 0));
  expectDirection(-80, 55, squareCamera({100, 80, 0}).directionOf(1000, 0));
}

TEST(Pinhole, LookingStraightUpTheSidesAreAtTheirOwnPan) {
  const Pinhole camera = squareCamera({0, 90, 0});
  expectDirection(90, 45, camera.directionOf(2000, 1000));
  expectDirection(-90, 45, camera.directionOf(0, 1000));
  expectDirection(0, 45, camera.directionOf(1000, 2000));
  EXPECT_NEAR(90, camera.directionOf(1000, 1000).tilt, 1e-9);
}

TEST(Pinhole, ACameraTurnedClockwiseSeesBelowTheAxisAtItsRight) {
  const Pinhole camera = squareCamera({0, 0, 90});
  expectDirection(0, -45, camera.directionOf(2000, 1000));
  expectDirection(45, 0, camera.directionOf(1000, 0));
}

TEST(Pinhole, UpsideDown) {
  const Pinhole camera = squareCamera({20, 0, 180});
  expectDirection(-25, 0, camera.directionOf(2000, 1000));
  expectDirection(20, -45, camera.directionOf(1000, 0));
}

TEST(Pinhole, WithoutAFieldAngleEveryPixelIsTheMiddle) {
  expectDirection(5, 6, cameraFor({2000, 2000, 0, 0, {5, 6, 0}}).directionOf(0, 2000));
  expectDirection(45, 0, cameraFor({2000, 2000, 90, 0, {}}).directionOf(2000, 0));
  expectDirection(0, 45, cameraFor({2000, 2000, 0, 90, {}}).directionOf(2000, 0));
}

TEST(Pinhole, ImpossibleFieldAnglesCountAsNone) {
  for (const double fov : {-90.0, 180.0, 360.0, std::nan("")}) {
    expectDirection(0, 0, cameraFor({2000, 2000, fov, fov, {}}).directionOf(0, 2000));
  }
}

TEST(Pinhole, WithoutAPictureEveryPixelIsTheMiddle) {
  expectDirection(1, 2, cameraFor({0, 0, 90, 90, {1, 2, 0}}).directionOf(300, 400));
}

TEST(Pinhole, TheWholeWidthIsTheFieldAngle) {
  const Pinhole camera = cameraFor({1920, 1080, 80, 50, {70, 30, 20}});
  EXPECT_NEAR(80, camera.angleAcross(960, 540, 1920), 1e-9);
  EXPECT_NEAR(80, camera.angleAcross(960, 540, -1920), 1e-9);
  EXPECT_EQ(0, camera.angleAcross(960, 540, 0));
}

TEST(Pinhole, ExtentsShrinkAwayFromTheMiddle) {
  // Right half of a picture of 90 degrees: from 0 to 45 degrees.
  const Pinhole camera = squareCamera({});
  EXPECT_NEAR(45, camera.angleAcross(1500, 1000, 1000), 1e-9);
  // At the upper edge the sight goes (-1, 1, 1) to (1, 1, 1): the cosine is 1/3.
  EXPECT_NEAR(std::acos(1.0 / 3) / RADIANS, camera.angleAcross(1000, 0, 2000), 1e-9);
}

TEST(Pinhole, AgreesWithAProjectionOverWholePictures) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> turn(-180, 180);
  std::uniform_real_distribution<double> tilts(-90, 90);
  std::uniform_real_distribution<double> fov(20, 110);
  int seen = 0;
  for (int i = 0; i < 300; ++i) {
    const Projector projector{
        1920, 1080, fov(random), fov(random), {turn(random), tilts(random), turn(random)}};
    const Pinhole camera = cameraFor(projector);
    for (int k = 0; k < 60; ++k) {
      const double pan = turn(random);
      const double tilt = tilts(random);
      double x = 0;
      double y = 0;
      if (!projector.project(pan, tilt, x, y)) {
        continue;
      }
      ++seen;
      const Direction found = camera.directionOf(x, y);
      ASSERT_LT(apart(sightOf(pan, tilt), sightOf(found.pan, found.tilt)), 1e-6);
      ASSERT_GE(found.pan, -180);
      ASSERT_LT(found.pan, 180);
    }
  }
  EXPECT_GT(seen, 5000);
}

TEST(Pinhole, AgreesWithAProjectionRoundTheZenith) {
  for (const double mountingTilt : {60.0, 85.0, 90.0, -88.0}) {
    const Projector projector{1920, 1080, 90, 60, {175, mountingTilt, 5}};
    const Pinhole camera = cameraFor(projector);
    const double pole = mountingTilt > 0 ? 90 : -90;
    for (int pan = -180; pan < 180; pan += 5) {
      for (const double away : {0.01, 0.5, 5.0}) {
        const double tilt = pole > 0 ? pole - away : pole + away;
        double x = 0;
        double y = 0;
        ASSERT_TRUE(projector.project(pan, tilt, x, y));
        const Direction found = camera.directionOf(x, y);
        EXPECT_NEAR(0, std::remainder(found.pan - pan, 360), 1e-6);
        EXPECT_NEAR(tilt, found.tilt, 1e-6);
      }
    }
  }
}

// A focal length is 100 pixels.
Pinhole smallCamera(const Mounting& mounting) {
  return cameraFor({200, 200, 90, 90, mounting});
}

TEST(PinholeLens, UndoesItsDistortion) {
  // What a pinhole shows at r is shown at r (1 + k r^2): 1 at 0.9, and 1.5 at 1.5 x 0.775.
  const Pinhole barrel = smallCamera({.distortion = -0.1});
  expectDirection(45, 0, barrel.directionOf(190, 100));
  expectDirection(0, -45, barrel.directionOf(100, 190));
  expectDirection(std::atan(1.5) / RADIANS, 0, barrel.directionOf(100 + 116.25, 100));
  const Pinhole cushion = smallCamera({.distortion = 0.1});
  expectDirection(-45, 0, cushion.directionOf(-10, 100));
}

TEST(PinholeLens, DistortsByTheDistanceFromTheMiddle) {
  // Right 0.6 and up 0.8 are 1 away, which is shown at 0.9.
  const Direction found = smallCamera({.distortion = -0.1}).directionOf(154, 28);
  const Direction expected = smallCamera({}).directionOf(160, 20);
  expectDirection(expected.pan, expected.tilt, found);
}

TEST(PinholeLens, OneThatHardlyDistortsIsNearlyOneThatDoesNot) {
  for (const double distortion : {-1e-12, 1e-12, -1e-300, 1e-300}) {
    const Direction found = smallCamera({.distortion = distortion}).directionOf(190, 30);
    const Direction expected = smallCamera({}).directionOf(190, 30);
    EXPECT_NEAR(expected.pan, found.pan, 1e-9);
    EXPECT_NEAR(expected.tilt, found.tilt, 1e-9);
  }
}

// With k = -1 / 3 the picture folds at r = 1, which is shown at 2 / 3.
TEST(PinholeLens, WhatItCannotShowIsTakenForTheFarthestThatItCan) {
  const Pinhole camera = smallCamera({.distortion = -1.0 / 3});
  expectDirection(45, 0, camera.directionOf(100 + 200.0 / 3, 100));
  expectDirection(45, 0, camera.directionOf(190, 100));
}

TEST(PinholeLens, TheMiddleStaysWhereItIs) {
  expectDirection(20, -10, smallCamera({20, -10, 5, -0.2}).directionOf(100, 100));
}

TEST(PinholeLens, AnglesAcrossAreThoseOfThePinhole) {
  // Both ends are shown at 0.9, and seen at 45 degrees.
  const Pinhole camera = smallCamera({.distortion = -0.1});
  EXPECT_NEAR(90, camera.angleAcross(100, 100, 180), 1e-9);
  EXPECT_NEAR(90, camera.angleAcross(100, 100, -180), 1e-9);
  // The ends of what is level in the picture are not level for the pinhole: by their directions.
  const Direction left = camera.directionOf(120, 28);
  const Direction right = camera.directionOf(180, 28);
  EXPECT_NEAR(apart(sightOf(left.pan, left.tilt), sightOf(right.pan, right.tilt)),
              camera.angleAcross(150, 28, 60), 1e-9);
}

TEST(PinholeStand, TheHeadLooksAtTheGroundThatTheCameraSees) {
  // 45 degrees down from 5 m: 5 m ahead of the camera, which stands 3 m to the right of the head.
  const Pinhole camera = smallCamera({.tilt = -45, .stand = ptzmath::Stand{3, 0, 5, 5}});
  expectDirection(std::atan2(3, 5) / RADIANS, -std::atan(5 / std::sqrt(34)) / RADIANS,
                  camera.directionOf(100, 100));
}

TEST(PinholeStand, OffsetsAreThoseOfTheHeadWhereverTheCameraLooks) {
  // It looks to the right, and stands 2 m in front of the head.
  const Pinhole camera = smallCamera({.pan = 90, .tilt = -45, .stand = ptzmath::Stand{0, 2, 5, 5}});
  expectDirection(std::atan2(5, 2) / RADIANS, -std::atan(5 / std::sqrt(29)) / RADIANS,
                  camera.directionOf(100, 100));
}

TEST(PinholeStand, HeightsMayDiffer) {
  const Pinhole camera = smallCamera({.tilt = -45, .stand = ptzmath::Stand{0, 0, 4, 6}});
  expectDirection(0, -std::atan(6.0 / 4) / RADIANS, camera.directionOf(100, 100));
}

TEST(PinholeStand, WhatIsAboveTheHorizonIsInfinitelyFarAway) {
  const Pinhole camera = smallCamera({.stand = ptzmath::Stand{3, 2, 5, 6}});
  expectDirection(0, 45, camera.directionOf(100, 0));
  expectDirection(0, 0, camera.directionOf(100, 100));
  // And just below it still nearly so.
  const Direction below = camera.directionOf(100, 100.001);
  EXPECT_NEAR(0, below.pan, 0.001);
  EXPECT_NEAR(0, below.tilt, 0.001);
}

TEST(PinholeStand, OneInTheHeadsPlaceChangesNothing) {
  for (const Mounting& mounting : {Mounting{0, -20, 0}, {178, -35, 3}, {-90, -85, 0}}) {
    Mounting standing = mounting;
    standing.stand = ptzmath::Stand{0, 0, 5, 5};
    for (int y = 0; y <= 200; y += 20) {
      const Direction expected = smallCamera(mounting).directionOf(30, y);
      const Direction found = smallCamera(standing).directionOf(30, y);
      EXPECT_EQ(expected.pan, found.pan);
      EXPECT_EQ(expected.tilt, found.tilt);
    }
  }
}

int32_t fixed(double degrees) {
  return static_cast<int32_t>(std::lround(degrees * 65536));
}

Direction look(const PtzmathPtr& context, int x, int y) {
  int32_t pan = 0;
  int32_t tilt = 0;
  ptzmath_to_ptz_x(context.get(), &pan, &tilt, x, y);
  return {pan / 65536.0, tilt / 65536.0};
}

void mount(FakeParameterStore& store, int channel, const Mounting& mounting) {
  const std::string group = "root.PTZ.RemoteCenter.C" + std::to_string(channel);
  store.values[group + ".Pan"] = std::to_string(mounting.pan);
  store.values[group + ".Tilt"] = std::to_string(mounting.tilt);
  store.values[group + ".Roll"] = std::to_string(mounting.roll);
}

class Ptzmath : public testing::Test {
 protected:
  Ptzmath() {
    ptzmath_set_pic_dim(context.get(), 1920, 1080);
    ptzmath_set_horiz_fov_x(context.get(), fixed(90));
    ptzmath_set_vert_fov_x(context.get(), fixed(60));
  }
  ~Ptzmath() override { EXPECT_EQ(0, store.openHandles); }

  FakeParameterStore store;
  const PtzmathPtr context{ptzmath_context_create()};
};

TEST(PtzmathContext, FreshOneTakesEveryPixelForTheMiddle) {
  const PtzmathPtr context(ptzmath_context_create());
  ASSERT_NE(nullptr, context);
  expectDirection(0, 0, look(context, 123, 456));
  EXPECT_EQ(0, ptzmath_to_remote_zoom(context.get(), 123, 456, 100));
}

TEST(PtzmathContext, DeletingNullDoesNothing) {
  ptzmath_context_delete(nullptr);
}

TEST_F(Ptzmath, WithoutAMountingTheAxisIsZero) {
  expectDirection(0, 0, look(context, 960, 540));
  expectDirection(45, 0, look(context, 1920, 540));
  expectDirection(0, 30, look(context, 960, 0));
}

TEST_F(Ptzmath, TakesTheMountingOfTheChannel) {
  mount(store, 1, {10, -5, 0});
  mount(store, 2, {-100.5, 20.25, 0});
  EXPECT_EQ(0, ptzmath_get_remote_center(context.get(), 2));
  expectDirection(-100.5, 20.25, look(context, 960, 540));
  EXPECT_EQ(0, ptzmath_get_remote_center(context.get(), 1));
  expectDirection(10, -5, look(context, 960, 540));
}

TEST_F(Ptzmath, TheMountingsRollTurnsThePicture) {
  mount(store, 1, {0, 0, 90});
  EXPECT_EQ(0, ptzmath_get_remote_center(context.get(), 1));
  expectDirection(0, -45, look(context, 1920, 540));
}

TEST_F(Ptzmath, FailsForAChannelWithoutAMounting) {
  mount(store, 1, {10, -5, 0});
  EXPECT_EQ(0, ptzmath_get_remote_center(context.get(), 1));
  EXPECT_EQ(-1, ptzmath_get_remote_center(context.get(), 2));
  EXPECT_EQ(-1, ptzmath_get_remote_center(context.get(), 0));
  expectDirection(10, -5, look(context, 960, 540));  // keeps what it had
}

TEST_F(Ptzmath, FailsWhenAnyAngleIsMissing) {
  for (const std::string name : {"Pan", "Tilt", "Roll"}) {
    mount(store, 1, {10, -5, 0});
    store.values.erase("root.PTZ.RemoteCenter.C1." + name);
    EXPECT_EQ(-1, ptzmath_get_remote_center(context.get(), 1)) << name;
  }
}

TEST_F(Ptzmath, FailsWhenAnAngleIsNotANumber) {
  for (const std::string value : {"", "left", "10 degrees", "1,5", "nan", "inf", "1e999"}) {
    mount(store, 1, {10, -5, 0});
    store.values["root.PTZ.RemoteCenter.C1.Tilt"] = value;
    EXPECT_EQ(-1, ptzmath_get_remote_center(context.get(), 1)) << value;
  }
}

TEST_F(Ptzmath, FailsWhenTheStoreCannotBeReached) {
  mount(store, 1, {10, -5, 0});
  store.reachable = false;
  EXPECT_EQ(-1, ptzmath_get_remote_center(context.get(), 1));
}

TEST_F(Ptzmath, ReadsPlainDecimals) {
  store.values = {{"root.PTZ.RemoteCenter.C1.Pan", "-0.5"},
                  {"root.PTZ.RemoteCenter.C1.Tilt", "-35"},
                  {"root.PTZ.RemoteCenter.C1.Roll", "0.0"}};
  EXPECT_EQ(0, ptzmath_get_remote_center(context.get(), 1));
  expectDirection(-0.5, -35, look(context, 960, 540));
}

TEST_F(Ptzmath, TheSeamIsNeverReportedAsHalfATurn) {
  mount(store, 1, {179.999999, 0, 0});  // rounds up to 180 in fixed point
  EXPECT_EQ(0, ptzmath_get_remote_center(context.get(), 1));
  EXPECT_EQ(-180, look(context, 960, 540).pan);
}

TEST_F(Ptzmath, EveryPixelOfThePictureIsWithinTheTolerance) {
  for (const Mounting& mounting :
       {Mounting{0, -20, 0}, {178, -35, 3}, {-90, 85, 0}, {45, -89, -170}}) {
    mount(store, 1, mounting);
    ASSERT_EQ(0, ptzmath_get_remote_center(context.get(), 1));
    const Projector projector{1920, 1080, 90, 60, mounting};
    for (int x = 0; x <= 1920; x += 40) {
      for (int y = 0; y <= 1080; y += 40) {
        const Direction found = look(context, x, y);
        double seenX = 0;
        double seenY = 0;
        ASSERT_TRUE(projector.project(found.pan, found.tilt, seenX, seenY));
        // The projection of what was found, turned into an angle at the densest place.
        const double pixelsPerDegree = 960 * RADIANS;
        EXPECT_LT(std::hypot(seenX - x, seenY - y) / pixelsPerDegree, TOLERANCE);
      }
    }
  }
}

TEST_F(Ptzmath, TakesTheLensOfTheChannel) {
  mount(store, 1, {0, 0, 0});
  mount(store, 2, {0, 0, 0});
  store.values["root.PTZ.RemoteCenter.C2.Distortion"] = "-0.1";
  EXPECT_EQ(0, ptzmath_get_remote_center(context.get(), 2));
  expectDirection(45, 0, look(context, 960 + 864, 540));  // 0.9 of the way to the border
  EXPECT_EQ(0, ptzmath_get_remote_center(context.get(), 1));
  expectDirection(45, 0, look(context, 1920, 540));
}

void stand(FakeParameterStore& store, const std::string& offsetX, const std::string& height) {
  store.values["root.PTZ.RemoteCenter.C1.OffsetX"] = offsetX;
  store.values["root.PTZ.RemoteCenter.C1.OffsetY"] = "0";
  store.values["root.PTZ.RemoteCenter.C1.Height"] = height;
  store.values["root.PTZ.RemoteCenter.C1.HeadHeight"] = "5";
}

TEST_F(Ptzmath, TakesTheStandOfTheChannel) {
  mount(store, 1, {0, -45, 0});
  stand(store, "3", "5");
  EXPECT_EQ(0, ptzmath_get_remote_center(context.get(), 1));
  const Direction found = look(context, 960, 540);
  EXPECT_NEAR(std::atan2(3, 5) / RADIANS, found.pan, 1e-5);
  EXPECT_NEAR(-std::atan(5 / std::sqrt(34)) / RADIANS, found.tilt, 1e-5);
  mount(store, 2, {0, -45, 0});
  EXPECT_EQ(0, ptzmath_get_remote_center(context.get(), 2));
  expectDirection(0, -45, look(context, 960, 540));
}

TEST_F(Ptzmath, FailsWhenPartOfTheStandIsMissing) {
  for (const std::string name : {"OffsetX", "OffsetY", "Height", "HeadHeight"}) {
    mount(store, 1, {10, -5, 0});
    stand(store, "1", "5");
    store.values.erase("root.PTZ.RemoteCenter.C1." + name);
    EXPECT_EQ(-1, ptzmath_get_remote_center(context.get(), 1)) << name;
  }
}

TEST_F(Ptzmath, FailsWhenLensOrStandAreNoNumbersInTheirRanges) {
  for (const std::string value : {"", "left", "1 m", "nan", "inf", "1001", "-1001"}) {
    mount(store, 1, {10, -5, 0});
    store.values["root.PTZ.RemoteCenter.C1.Distortion"] = value;
    EXPECT_EQ(-1, ptzmath_get_remote_center(context.get(), 1)) << value;
  }
  store.values.erase("root.PTZ.RemoteCenter.C1.Distortion");
  for (const std::string value : {"", "left", "nan", "201", "-201"}) {
    stand(store, value, "5");
    EXPECT_EQ(-1, ptzmath_get_remote_center(context.get(), 1)) << value;
  }
  for (const std::string value : {"0", "-5", "0.09", "201", "nan"}) {
    stand(store, "0", value);
    EXPECT_EQ(-1, ptzmath_get_remote_center(context.get(), 1)) << value;
  }
  stand(store, "-200", "0.1");
  EXPECT_EQ(0, ptzmath_get_remote_center(context.get(), 1));
}

TEST_F(Ptzmath, FieldAnglesMayChangeAtAnyTime) {
  ptzmath_set_horiz_fov_x(context.get(), fixed(40));
  expectDirection(20, 0, look(context, 1920, 540));
  ptzmath_set_vert_fov_x(context.get(), fixed(20));
  expectDirection(0, -10, look(context, 960, 1080));
}

TEST_F(Ptzmath, RemoteZoomIsTheAngleOfTheExtent) {
  EXPECT_EQ(fixed(90), ptzmath_to_remote_zoom(context.get(), 960, 540, 1920));
  EXPECT_EQ(fixed(90), ptzmath_to_remote_zoom(context.get(), 960, 540, -1920));
  EXPECT_EQ(0, ptzmath_to_remote_zoom(context.get(), 960, 540, 0));
}

TEST_F(Ptzmath, ContextsAreIndependent) {
  const PtzmathPtr other(ptzmath_context_create());
  mount(store, 1, {33, 0, 0});
  EXPECT_EQ(0, ptzmath_get_remote_center(other.get(), 1));
  expectDirection(0, 0, look(context, 960, 540));
  expectDirection(33, 0, look(other, 5, 5));
}

}  // namespace
