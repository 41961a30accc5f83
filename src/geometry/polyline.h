#ifndef GEOMETRY_POLYLINE_H
#define GEOMETRY_POLYLINE_H

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "geometry/point.h"

class Polygon;

// Points joined in order; two of them are a line segment.
// Only for applications that have fences.
class Polyline {
 public:
  Polyline() = default;
  explicit Polyline(std::vector<Point> points);
  explicit Polyline(std::span<const Point> points);
  Polyline(const Polyline&) = default;
  Polyline& operator=(const Polyline&) = default;
  virtual ~Polyline() = default;

  std::unique_ptr<Polyline> clone() const;

  // The same points in the same order.
  bool operator==(const Polyline& other) const { return points == other.points; }

  const std::vector<Point>& getPoints() const { return points; }
  std::size_t size() const { return points.size(); }

  // Index of the first point equal to p, or -1.
  int findPosition(const Point& p) const;

  // Whether they share at least one point.
  bool doesIntersect(const Polygon& polygon) const;
  bool doesIntersect(const Polyline& line) const;

  std::string toString() const;

  // Logs the points.
  void print() const;

  // An SVG element with the given style (may be empty) and class.
  std::string toStringSvg(const std::string& style, const std::string& svgClass) const;

 protected:
  std::vector<Point> points;
};

#endif
