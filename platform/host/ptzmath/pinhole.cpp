#include "ptzmath/pinhole.h"

#include <cmath>
#include <numbers>

namespace ptzmath {
namespace {

constexpr double kRadians = std::numbers::pi / 180;

// The offset from the picture's middle at a distance of 1 along the optical axis.
double slopeOf(double offset, int size, double fov) {
  if (size <= 0 || !(fov > 0 && fov < 180)) return 0;
  return offset / (size / 2.0) * std::tan(fov / 2 * kRadians);
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

Pinhole::Ray Pinhole::rayOf(double x, double y) const {
  return {slopeOf(x - width_ / 2.0, width_, horizontalFov_),
          slopeOf(height_ / 2.0 - y, height_, verticalFov_), 1};
}

Direction Pinhole::directionOf(double x, double y) const {
  const Ray camera = rayOf(x, y);

  const double roll = mounting_.roll * kRadians;
  const Ray level{camera.right * std::cos(roll) + camera.up * std::sin(roll),
                  camera.up * std::cos(roll) - camera.right * std::sin(roll), camera.forward};

  const double tilt = mounting_.tilt * kRadians;
  const Ray horizontal{level.right, level.forward * std::sin(tilt) + level.up * std::cos(tilt),
                       level.forward * std::cos(tilt) - level.up * std::sin(tilt)};

  const double pan = std::atan2(horizontal.right, horizontal.forward) / kRadians;
  const double distance = std::hypot(horizontal.right, horizontal.forward);
  return {wrapped(mounting_.pan + pan), std::atan2(horizontal.up, distance) / kRadians};
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
