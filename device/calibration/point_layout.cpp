#include "calibration/point_layout.h"

#include <algorithm>
#include <cmath>

namespace device::calibration {

namespace {

// The smaller eigenvalue of the points' moments (K. Pearson, 1901: the line of closest fit).
double breadthOf(const std::vector<PicturePoint>& points) {
  const auto count = static_cast<double>(points.size());
  PicturePoint mean;
  for (const PicturePoint& point : points) {
    mean.x += point.x / count;
    mean.y += point.y / count;
  }
  double xx = 0;
  double xy = 0;
  double yy = 0;
  for (const PicturePoint& point : points) {
    const double x = point.x - mean.x;
    const double y = point.y - mean.y;
    xx += x * x / count;
    xy += x * y / count;
    yy += y * y / count;
  }
  const double least = (xx + yy) / 2 - std::hypot((xx - yy) / 2, xy);
  return std::sqrt(std::max(least, 0.0));
}

std::size_t placesOf(const std::vector<PicturePoint>& points) {
  constexpr double NEAR = 0.01;  // picture diagonals
  std::vector<PicturePoint> places;
  for (const PicturePoint& point : points) {
    const bool isNew = std::ranges::none_of(places, [&](const PicturePoint& other) {
      return std::hypot(point.x - other.x, point.y - other.y) < NEAR;
    });
    if (isNew) {
      places.push_back(point);
    }
  }
  return places.size();
}

}  // namespace

PointLayout layoutOf(const std::vector<PicturePoint>& points, double aspect) {
  if (points.empty()) {
    return {};
  }
  const auto [left, right] = std::ranges::minmax(points, {}, &PicturePoint::x);
  const auto [low, high] = std::ranges::minmax(points, {}, &PicturePoint::y);
  const double diagonal = std::hypot(2 * aspect, 2);
  std::vector<PicturePoint> even = points;
  for (PicturePoint& point : even) {
    point = {point.x * aspect / diagonal, point.y / diagonal};
  }
  return {.width = (right.x - left.x) / 2,
          .height = (high.y - low.y) / 2,
          .breadth = breadthOf(even),
          .places = placesOf(even)};
}

}  // namespace device::calibration
