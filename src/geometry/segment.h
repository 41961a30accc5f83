#ifndef GEOMETRY_SEGMENT_H
#define GEOMETRY_SEGMENT_H

#include <cstdint>

#include "geometry/math_vector.h"
#include "geometry/point.h"
#include "geometry/polyline.h"

// The side of a fence on which an object raises the alarm, as the sign of its distance along the
// fence's normal (left of the direction from the first to the second point is +1).
enum class FenceDirection_e : std::int32_t { rightToLeft = -1, both = 0, leftToRight = 1 };

// A fence: the line segment between two points.
// Only for applications that have fences; this one's limits allow none.
class Segment : public Polyline {
 public:
  Segment(const Point& a, const Point& b, FenceDirection_e fenceDirection);

  const MathVector& getNormal() const { return normal; }
  const MathVector& getDirection() const { return direction; }
  std::int32_t getOffset() const { return offset; }
  FenceDirection_e getFenceDirection() const { return fenceDirection; }

  // Whether the point, or any corner of the polygon's bounding box, lies on the alarm side.
  bool isOnAlarmSide(const Point& p) const;
  bool isOnAlarmSide(const Polygon& polygon) const;

  // Where along a track of two points the crossing lies, in 1/1024 of its length (0 to 1024); -1
  // when the track does not cross the segment, runs parallel to it or has not two points.
  int getIntersectValue(const Polyline& track) const;

 private:
  MathVector direction;
  MathVector normal;
  std::int32_t offset;  // of the line's equation normal·p + offset = 0
  FenceDirection_e fenceDirection;
};

#endif
