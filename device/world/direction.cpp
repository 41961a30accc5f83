#include "world/direction.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "base/units.h"

namespace device {

double toRadians(double degrees) {
  return degrees * std::numbers::pi / 180;
}

double toDegrees(double radians) {
  return radians * 180 / std::numbers::pi;
}

double normalizedPan(double degrees) {
  return units::normalized(degrees);
}

Direction directionOf(const SpacePoint& vector) {
  const double ground = std::hypot(vector.x, vector.y);
  return {.pan = ground == 0 ? 0 : normalizedPan(toDegrees(std::atan2(vector.x, vector.y))),
          .tilt = toDegrees(std::atan2(vector.z, ground))};
}

SpacePoint unitVector(const Direction& direction) {
  const double pan = toRadians(direction.pan);
  const double tilt = toRadians(direction.tilt);
  return {.x = std::sin(pan) * std::cos(tilt),
          .y = std::cos(pan) * std::cos(tilt),
          .z = std::sin(tilt)};
}

double angleBetween(const Direction& a, const Direction& b) {
  const SpacePoint u = unitVector(a);
  const SpacePoint v = unitVector(b);
  // From the length of the chord: exact for small angles too, where the cosine is not.
  const double chord = std::hypot(u.x - v.x, u.y - v.y, u.z - v.z);
  return toDegrees(2 * std::asin(std::min(chord / 2, 1.0)));
}

}  // namespace device
