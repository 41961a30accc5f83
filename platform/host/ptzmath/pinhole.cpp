#include "ptzmath/pinhole.h"

#include <cmath>
#include <numbers>

namespace ptzmath {
namespace {

constexpr double kRadians = std::numbers::pi / 180;

// The offset from the picture's middle at a distance of 1 along the optical axis; reach is that of
// the picture's border.
double slopeOf(double offset, int size, double reach) {
  return size <= 0 ? 0 : offset / (size / 2.0) * reach;
}

double wrapped(double pan) {
  const double turned = std::fmod(pan + 180, 360);
  return turned < 0 ? turned + 180 : turned - 180;
}

}  // namespace

void Pinhole::setPicture(int width, int height) {
  width_ = width;
  height_ = height;
}

void Pinhole::setMounting(const Mounting& mounting) {
  pan_ = mounting.pan;
  roll_ = Turn(mounting.roll);
  tilt_ = Turn(mounting.tilt);
}

Pinhole::Turn::Turn(double degrees)
    : sine(std::sin(degrees * kRadians)), cosine(std::cos(degrees * kRadians)) {}

void Pinhole::FieldOfView::set(double degrees) {
  if (degrees == degrees_) return;
  degrees_ = degrees;
  reach_ = degrees > 0 && degrees < 180 ? std::tan(degrees / 2 * kRadians) : 0;
}

Pinhole::Ray Pinhole::rayOf(double x, double y) const {
  return {slopeOf(x - width_ / 2.0, width_, horizontalFov_.reach()),
          slopeOf(height_ / 2.0 - y, height_, verticalFov_.reach()), 1};
}

Direction Pinhole::directionOf(double x, double y) const {
  const Ray camera = rayOf(x, y);

  const Ray level{camera.right * roll_.cosine + camera.up * roll_.sine,
                  camera.up * roll_.cosine - camera.right * roll_.sine, camera.forward};
  const Ray horizontal{level.right, level.forward * tilt_.sine + level.up * tilt_.cosine,
                       level.forward * tilt_.cosine - level.up * tilt_.sine};

  const double pan = std::atan2(horizontal.right, horizontal.forward) / kRadians;
  const double distance = std::hypot(horizontal.right, horizontal.forward);
  return {wrapped(pan_ + pan), std::atan2(horizontal.up, distance) / kRadians};
}

double Pinhole::angleAcross(double x, double y, double extent) const {
  const Ray left = rayOf(x - extent / 2, y);
  const Ray right = rayOf(x + extent / 2, y);
  // Both ends have the same height, which leaves two components of the cross product.
  const double width = right.right - left.right;
  const double sine = std::fabs(width) * std::hypot(left.up, left.forward);
  const double cosine =
      left.right * right.right + left.up * right.up + left.forward * right.forward;
  return std::atan2(sine, cosine) / kRadians;
}

}  // namespace ptzmath
