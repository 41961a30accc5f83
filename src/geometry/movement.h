#ifndef GEOMETRY_MOVEMENT_H
#define GEOMETRY_MOVEMENT_H

#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "geometry/math_vector.h"
#include "geometry/polygon.h"
#include "geometry/polyline.h"
#include "geometry/segment.h"

// What a box sweeps between two frames: three tracks between corners of both boxes. The outer two
// join the corners at the sides of the swept area, the middle one is the diagonal from the trailing
// to the leading corner.
// Only for applications that have fences.
class Movement {
 public:
  Movement(const Polygon& from, const Polygon& to);

  const MathVector& getMoveVector() const { return moveVector; }
  const std::vector<Polyline>& getTracks() const { return tracks; }

  // Whether any track intersects the line.
  bool doesIntersect(const Polyline& line) const;

  // The largest of the segment's intersect values over the tracks, -1 when none crosses.
  int getIntersectValue(const Segment& segment) const;

  // Of the segments that are crossed the first and the last crossed, by index; on ties the earlier
  // index. Nothing when none is crossed.
  std::optional<std::pair<std::size_t, std::size_t>> getIntersectedSegments(
      std::span<const Segment> segments) const;

  // Logs the tracks.
  void print() const;

  // The tracks' SVG elements in order, with the class "movement".
  std::string toStringSvg(const std::string& style) const;

 private:
  std::vector<Polyline> tracks;
  MathVector moveVector;
};

#endif
