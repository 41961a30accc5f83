#include "geometry/segment.h"

#include <array>

#include "geometry/polygon.h"

Segment::Segment(const Point& a, const Point& b, FenceDirection_e fenceDirection)
    : Polyline(std::vector<Point>{a, b}),
      direction(MathVector::between(a, b)),
      normal(direction.createOrthogonalVector()),
      offset(-(a.x * normal.x) - (a.y * normal.y)),
      fenceDirection(fenceDirection) {}

bool Segment::isOnAlarmSide(const Point& p) const {
  return normal.projectionDirection(MathVector::between(points[0], p)) ==
         static_cast<std::int32_t>(fenceDirection);
}

bool Segment::isOnAlarmSide(const Polygon& polygon) const {
  const std::array corners{
      Point{polygon.getMinX(), polygon.getMinY()}, Point{polygon.getMinX(), polygon.getMaxY()},
      Point{polygon.getMaxX(), polygon.getMaxY()}, Point{polygon.getMaxX(), polygon.getMinY()}};
  for (const Point& corner : corners) {
    if (isOnAlarmSide(corner)) {
      return true;
    }
  }
  return false;
}

int Segment::getIntersectValue(const Polyline& track) const {
  if (track.size() != 2 || !doesIntersect(track)) {
    return -1;
  }
  const Point& p1 = track.getPoints()[0];
  const Point& p2 = track.getPoints()[1];
  const std::int64_t denominator =
      (std::int64_t{p2.x} - p1.x) * normal.x + (std::int64_t{p2.y} - p1.y) * normal.y;
  if (denominator == 0) {
    return -1;
  }
  const std::int64_t numerator =
      -std::int64_t{offset} - std::int64_t{p1.x} * normal.x - std::int64_t{p1.y} * normal.y;
  return static_cast<int>(static_cast<float>(numerator) / static_cast<float>(denominator) *
                          1024.0F);
}
