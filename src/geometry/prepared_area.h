#ifndef GEOMETRY_PREPARED_AREA_H
#define GEOMETRY_PREPARED_AREA_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "geometry/point.h"
#include "geometry/polygon.h"

// An area that many outlines are held against, made ready once: answers most questions without
// clipping, in integer arithmetic and without allocating. What it answers is exact for the areas as
// drawn, by the even-odd rule; where it would have to look closer it says that it is not sure.
// Immutable, for any thread.
//
// Inside by counting the borders that a ray crosses: M. Shimrat, "Algorithm 112: Position of point
// relative to polygon", 1962.
class PreparedArea {
 public:
  enum class Relation_e {
    apart,   // they share no point
    within,  // the outline lies inside, without touching the border
    unsure   // the border passes through the outline, or near it
  };

  enum class Place_e {
    outside,
    border,  // on the border, or within a step of the grid from it, where rounding decides
    inside
  };

  explicit PreparedArea(const Polygon& area);

  // How an outline lies to the area.
  Relation_e relate(const Polygon& outline) const;

  Place_e locate(const Point& p) const;

  // Whether an outline whose vertices lie inside lies inside wholly, whatever its form.
  bool isConvex() const { return convex; }

  // Points, to the nearest step, whose convex hull holds all that the outline has in common with
  // the area. How many were written; 0 when there are none, or more than there is room for.
  std::size_t collectCommonPoints(const Polygon& outline, std::span<Point> points) const;

  // Whether the area certainly holds what of the outline lies in the convex hull of the points.
  // Their first one lies in the hull of the outline.
  bool covers(const Polygon& outline, std::span<const Point> points) const;

  // Whether an outline certainly has area in every neighbourhood of its vertex: it passes there
  // once and does not turn back on itself.
  static bool isCorner(std::span<const Point> outline, std::size_t index);

  // The same for the edge that begins at the vertex: it has a length, and no other lies along it.
  static bool isBorder(std::span<const Point> outline, std::size_t index);

  // Whether an outline certainly has area.
  static bool hasArea(std::span<const Point> outline);

 private:
  struct Edge {
    Edge(const Point& from, const Point& to);

    // Twice the area of the triangle of the edge and the point: positive to the left of the edge.
    std::int64_t side(const Point& p) const {
      return std::int64_t{to.x - from.x} * (p.y - from.y) -
             std::int64_t{to.y - from.y} * (p.x - from.x);
    }
    // A vertex at the height belongs to the edge above it, so that no vertex counts twice.
    bool spans(std::int16_t y) const { return (from.y > y) != (to.y > y); }
    bool isUpward() const { return to.y > from.y; }
    bool isSeparateFrom(const Polygon& outline) const;
    bool isClearOf(std::span<const Point> points) const;

    // Whether the edge may come into the convex hull of the outline.
    bool reaches(const Polygon& outline) const;
    Point crossing(const Point& p, const Point& q) const;

    Point from;
    Point to;
    std::int16_t minX;
    std::int16_t minY;
    std::int16_t maxX;
    std::int16_t maxY;
    std::int64_t nearSide;  // what side() is at one step from the edge, rounded up
  };

  static bool isConvex(std::span<const Point> outline);

  std::vector<Edge> edges;
  bool convex;
  std::int16_t minX;
  std::int16_t minY;
  std::int16_t maxX;
  std::int16_t maxY;
};

#endif
