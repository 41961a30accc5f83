#ifndef GEOMETRY_POINT_H
#define GEOMETRY_POINT_H

#include <cstdint>
#include <string>

// A point of the image plane: signed 16-bit fixed point with 12 fractional bits (Q12). 4096 is 1.0,
// the picture spans -4096 to 4096 in both coordinates, y grows upwards.
struct Point {
  std::int16_t x = 0;
  std::int16_t y = 0;

  bool operator==(const Point& other) const = default;

  // The order of point sets: by y first, then by x.
  bool operator<(const Point& other) const { return y != other.y ? y < other.y : x < other.x; }

  // dx² + dy² in squared Q12 units.
  std::uint32_t squareDistance(const Point& other) const;

  // For logs: "(x, y)".
  std::string toString() const;

  // Logs the point.
  // Only for developers' logs.
  void print() const;
};

#endif
