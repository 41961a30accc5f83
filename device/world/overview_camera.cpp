#include "world/overview_camera.h"

#include <cmath>

namespace device {
namespace {

struct Axes {
  SpacePoint right;
  SpacePoint forward;
  SpacePoint up;
};

SpacePoint sum(const SpacePoint& a, double weightA, const SpacePoint& b, double weightB) {
  return {a.x * weightA + b.x * weightB, a.y * weightA + b.y * weightB,
          a.z * weightA + b.z * weightB};
}

// Turned about the optical axis.
Axes rolled(const Axes& axes, double roll) {
  return {.right = sum(axes.right, std::cos(roll), axes.up, -std::sin(roll)),
          .forward = axes.forward,
          .up = sum(axes.up, std::cos(roll), axes.right, std::sin(roll))};
}

Axes axesOf(const OverviewCameraSetup& setup) {
  const double pan = toRadians(setup.pan);
  const double tilt = toRadians(setup.tilt);
  const Axes level{
      .right = {std::cos(pan), -std::sin(pan), 0},
      .forward = unitVector({setup.pan, setup.tilt}),
      .up = {-std::sin(pan) * std::sin(tilt), -std::cos(pan) * std::sin(tilt), std::cos(tilt)}};
  return setup.roll == 0 ? level : rolled(level, toRadians(setup.roll));
}

double dot(const SpacePoint& a, const SpacePoint& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}

// A quarter turn swaps the sides of the picture.
bool liesOnSide(int rotation) {
  return rotation == 90 || rotation == 270;
}

}  // namespace

OverviewCamera::OverviewCamera(const OverviewCameraSetup& setup)
    : setup(setup), reach(reachOf(setup.distortion)) {
  pointAt({setup.pan, setup.tilt}, setup.horizontalFov);
}

int OverviewCamera::pictureWidth() const {
  return liesOnSide(setup.rotation) ? setup.sensorHeight : setup.sensorWidth;
}

int OverviewCamera::pictureHeight() const {
  return liesOnSide(setup.rotation) ? setup.sensorWidth : setup.sensorHeight;
}

double OverviewCamera::verticalFov() const {
  return toDegrees(2 * std::atan(tanY));
}

void OverviewCamera::pointAt(const Direction& axis, double horizontalFov) {
  setup.pan = axis.pan;
  setup.tilt = axis.tilt;
  if (horizontalFov > 0) {
    setup.horizontalFov = horizontalFov;
  }
  tanX = std::tan(toRadians(setup.horizontalFov / 2));
  tanY = tanX * pictureHeight() / pictureWidth();
}

std::optional<PicturePoint> OverviewCamera::project(const SpacePoint& point) const {
  constexpr double NEAREST = 0.1;  // metres
  const SpacePoint ray{point.x - setup.position.x, point.y - setup.position.y,
                       point.z - setup.position.z};
  const Axes axes = axesOf(setup);
  const double depth = dot(ray, axes.forward);
  if (depth < NEAREST) {
    return std::nullopt;
  }
  const double x = dot(ray, axes.right) / depth;
  const double y = dot(ray, axes.up) / depth;
  if (setup.distortion.isOff()) {
    return PicturePoint{x / tanX, y / tanY};
  }
  const double r = std::hypot(x, y);
  if (r >= reach) {
    return std::nullopt;
  }
  const double scale = r > 0 ? distorted(setup.distortion, r) / r : 1;
  return PicturePoint{x * scale / tanX, y * scale / tanY};
}

Direction OverviewCamera::lineOfSight(const PicturePoint& point) const {
  const Axes axes = axesOf(setup);
  double x = point.x * tanX;
  double y = point.y * tanY;
  if (const double r = std::hypot(x, y); r > 0 && !setup.distortion.isOff()) {
    const double scale = undistorted(setup.distortion, r) / r;
    x *= scale;
    y *= scale;
  }
  return directionOf({axes.forward.x + x * axes.right.x + y * axes.up.x,
                      axes.forward.y + x * axes.right.y + y * axes.up.y,
                      axes.forward.z + x * axes.right.z + y * axes.up.z});
}

PicturePoint OverviewCamera::toScene(const PicturePoint& upright) const {
  switch (setup.rotation) {
    case 90:
      return {-upright.y, upright.x};
    case 180:
      return {-upright.x, -upright.y};
    case 270:
      return {upright.y, -upright.x};
    default:
      return upright;
  }
}

PicturePoint OverviewCamera::toUpright(const PicturePoint& scene) const {
  switch (setup.rotation) {
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

}  // namespace device
