// The door between our points and those of the device's geometry library.
#ifndef GEOMETRY_GM_POINTS_H
#define GEOMETRY_GM_POINTS_H

#include <gm.h>

#include <span>
#include <type_traits>

#include "geometry/point.h"

static_assert(sizeof(Point) == sizeof(gm_point) && alignof(Point) == alignof(gm_point) &&
                  std::is_standard_layout_v<Point>,
              "points are handed to the library without copying");

inline const gm_point* toGmPoints(std::span<const Point> points) {
  return reinterpret_cast<const gm_point*>(points.data());
}

inline gm_point* toGmPoints(std::span<Point> points) {
  return reinterpret_cast<gm_point*>(points.data());
}

inline std::span<const Point> fromGmPoints(const gm_point* points, int count) {
  return {reinterpret_cast<const Point*>(points), static_cast<std::size_t>(count)};
}

inline int gmCount(std::span<const Point> points) {
  return static_cast<int>(points.size());
}

#endif
