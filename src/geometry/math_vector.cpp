#include "geometry/math_vector.h"

MathVector MathVector::between(const Point& from, const Point& to) {
  return {static_cast<std::int16_t>(to.x - from.x), static_cast<std::int16_t>(to.y - from.y)};
}

int MathVector::projectionDirection(const MathVector& v) const {
  const std::int64_t dot = std::int64_t{x} * v.x + std::int64_t{y} * v.y;
  return (dot > 0) - (dot < 0);
}

MathVector MathVector::createOrthogonalVector() const {
  return {static_cast<std::int16_t>(-y), x};
}
