#include "ptzmath/pinhole.h"

#include <cmath>

#include "base/units.h"

namespace ptzmath {
namespace {

// The offset from the picture's middle at a distance of 1 along the optical axis; reach is that of
// the picture's border.
double slopeOf(double offset, int size, double reach) {
  return size <= 0 ? 0 : offset / (size / 2.0) * reach;
}

double wrapped(double pan) {
  const double turned = std::fmod(pan + units::HALF_TURN, units::FULL_TURN);
  return turned < 0 ? turned + units::HALF_TURN : turned - units::HALF_TURN;
}

// The root nearest to 0 of k r^3 + r = shown (F. Viete, 1615); at most where the lens' picture
// folds.
double pinholeDistance(double k, double shown) {
  const double scale = std::sqrt(3 * std::fabs(k));
  const double third = 1.5 * shown * scale;
  if (k > 0) {
    return 2 / scale * std::sinh(std::asinh(third) / 3);
  }
  return 2 / scale * std::sin(std::asin(std::fmin(third, 1)) / 3);
}

}  // namespace

void Pinhole::setPicture(int newWidth, int newHeight) {
  width = newWidth;
  height = newHeight;
}

void Pinhole::setMounting(const Mounting& mounting) {
  pan = mounting.pan;
  roll = Turn(mounting.roll);
  tilt = Turn(mounting.tilt);
  distortion = mounting.distortion;
  shift.reset();
  if (const auto& stand = mounting.stand) {
    const Turn turn(mounting.pan);
    shift = {(stand->offsetX * turn.cosine - stand->offsetY * turn.sine) / stand->height,
             (stand->height - stand->headHeight) / stand->height,
             (stand->offsetX * turn.sine + stand->offsetY * turn.cosine) / stand->height};
  }
}

Pinhole::Turn::Turn(double degrees)
    : sine(std::sin(units::toRadians(degrees))), cosine(std::cos(units::toRadians(degrees))) {}

void Pinhole::FieldOfView::set(double newDegrees) {
  if (newDegrees == degrees) {
    return;
  }
  degrees = newDegrees;
  reach = degrees > 0 && degrees < 180 ? std::tan(units::toRadians(degrees / 2)) : 0;
}

Pinhole::Ray Pinhole::rayOf(double x, double y) const {
  const Ray shown{slopeOf(x - width / 2.0, width, horizontalFov.getReach()),
                  slopeOf(height / 2.0 - y, height, verticalFov.getReach()), 1};
  return distortion == 0 ? shown : undistorted(shown);
}

Pinhole::Ray Pinhole::undistorted(const Ray& shown) const {
  const double distance = std::hypot(shown.right, shown.up);
  if (distance == 0) {
    return shown;
  }
  const double scale = pinholeDistance(distortion, distance) / distance;
  return {shown.right * scale, shown.up * scale, 1};
}

// The plane is one height below the camera, so that a ray that falls by its up meets it after
// 1 / up of its length.
Pinhole::Ray Pinhole::fromHead(const Ray& ray) const {
  if (!shift || ray.up >= 0) {
    return ray;
  }
  return {ray.right - ray.up * shift->right, ray.up - ray.up * shift->up,
          ray.forward - ray.up * shift->forward};
}

Direction Pinhole::directionOf(double x, double y) const {
  const Ray camera = rayOf(x, y);

  const Ray level{camera.right * roll.cosine + camera.up * roll.sine,
                  camera.up * roll.cosine - camera.right * roll.sine, camera.forward};
  const Ray horizontal = fromHead({level.right, level.forward * tilt.sine + level.up * tilt.cosine,
                                   level.forward * tilt.cosine - level.up * tilt.sine});

  const double panOffset =
      std::atan2(horizontal.right, horizontal.forward) / units::RADIANS_PER_DEGREE;
  const double distance = std::hypot(horizontal.right, horizontal.forward);
  return {wrapped(pan + panOffset),
          std::atan2(horizontal.up, distance) / units::RADIANS_PER_DEGREE};
}

double Pinhole::angleAcross(double x, double y, double extent) const {
  const Ray left = rayOf(x - extent / 2, y);
  const Ray right = rayOf(x + extent / 2, y);
  const double spread = right.right - left.right;
  // Without distortion both ends have the same height, which leaves two components of the cross
  // product; with it there is a third.
  double sine = std::fabs(spread) * std::hypot(left.up, left.forward);
  if (distortion != 0) {
    sine = std::hypot(left.up - right.up, spread, left.right * right.up - left.up * right.right);
  }
  const double cosine =
      left.right * right.right + left.up * right.up + left.forward * right.forward;
  return std::atan2(sine, cosine) / units::RADIANS_PER_DEGREE;
}

}  // namespace ptzmath
