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

}  // namespace

void Pinhole::setPicture(int newWidth, int newHeight) {
  width = newWidth;
  height = newHeight;
}

void Pinhole::setMounting(const Mounting& mounting) {
  pan = mounting.pan;
  roll = Turn(mounting.roll);
  tilt = Turn(mounting.tilt);
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
  return {slopeOf(x - width / 2.0, width, horizontalFov.getReach()),
          slopeOf(height / 2.0 - y, height, verticalFov.getReach()), 1};
}

Direction Pinhole::directionOf(double x, double y) const {
  const Ray camera = rayOf(x, y);

  const Ray level{camera.right * roll.cosine + camera.up * roll.sine,
                  camera.up * roll.cosine - camera.right * roll.sine, camera.forward};
  const Ray horizontal{level.right, level.forward * tilt.sine + level.up * tilt.cosine,
                       level.forward * tilt.cosine - level.up * tilt.sine};

  const double panOffset =
      std::atan2(horizontal.right, horizontal.forward) / units::RADIANS_PER_DEGREE;
  const double distance = std::hypot(horizontal.right, horizontal.forward);
  return {wrapped(pan + panOffset),
          std::atan2(horizontal.up, distance) / units::RADIANS_PER_DEGREE};
}

double Pinhole::angleAcross(double x, double y, double extent) const {
  const Ray left = rayOf(x - extent / 2, y);
  const Ray right = rayOf(x + extent / 2, y);
  // Both ends have the same height, which leaves two components of the cross product.
  const double spread = right.right - left.right;
  const double sine = std::fabs(spread) * std::hypot(left.up, left.forward);
  const double cosine =
      left.right * right.right + left.up * right.up + left.forward * right.forward;
  return std::atan2(sine, cosine) / units::RADIANS_PER_DEGREE;
}

}  // namespace ptzmath
