#ifndef GEOMETRY_MATH_VECTOR_H
#define GEOMETRY_MATH_VECTOR_H

#include <cstdint>

#include "geometry/point.h"

// A displacement in the image plane, in the units of Point.
struct MathVector {
  std::int16_t x = 0;
  std::int16_t y = 0;

  bool operator==(const MathVector& other) const = default;

  // From one point to another; wraps to 16 bits.
  static MathVector between(const Point& from, const Point& to);

  // The sign of the dot product with v: 1, -1 or 0.
  // Only for applications that have fences.
  int projectionDirection(const MathVector& v) const;

  // This vector turned by 90 degrees counter-clockwise.
  MathVector createOrthogonalVector() const;
};

#endif
