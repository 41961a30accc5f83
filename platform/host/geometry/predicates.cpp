#include "geometry/predicates.h"

#include <algorithm>
#include <cstddef>

namespace geometry {
namespace {

struct Edge {
  gm_point from;
  gm_point to;
};

Edge polygonEdge(Points polygon, size_t i) {
  return {polygon[i], polygon[i + 1 < polygon.size() ? i + 1 : 0]};
}

// A line of one point has one edge, from the point to itself.
size_t lineEdges(Points line) {
  return line.size() > 1 ? line.size() - 1 : line.size();
}

Edge lineEdge(Points line, size_t i) {
  return {line[i], line[std::min(i + 1, line.size() - 1)]};
}

bool edgesTouch(const Edge& a, const Edge& b) {
  return segmentsTouch(a.from, a.to, b.from, b.to);
}

bool edgeTouchesPolygon(const Edge& edge, Points polygon) {
  for (size_t i = 0; i < polygon.size(); ++i) {
    if (edgesTouch(edge, polygonEdge(polygon, i))) {
      return true;
    }
  }
  return false;
}

bool rangesOverlap(int a, int b, int c, int d) {
  return std::max(a, b) >= std::min(c, d) && std::max(c, d) >= std::min(a, b);
}

bool boxesOverlap(gm_point a, gm_point b, gm_point c, gm_point d) {
  return rangesOverlap(a.x, b.x, c.x, d.x) && rangesOverlap(a.y, b.y, c.y, d.y);
}

// Whether c and d lie strictly on the same side of the line through a and b.
bool onSameSide(gm_point a, gm_point b, gm_point c, gm_point d) {
  const int64_t sideOfC = cross(a, b, c);
  const int64_t sideOfD = cross(a, b, d);
  return (sideOfC > 0 && sideOfD > 0) || (sideOfC < 0 && sideOfD < 0);
}

}  // namespace

int64_t cross(gm_point a, gm_point b, gm_point c) {
  return int64_t{b.x - a.x} * (c.y - a.y) - int64_t{b.y - a.y} * (c.x - a.x);
}

bool segmentsTouch(gm_point a, gm_point b, gm_point c, gm_point d) {
  return boxesOverlap(a, b, c, d) && !onSameSide(a, b, c, d) && !onSameSide(c, d, a, b);
}

bool isInside(gm_point point, Points polygon) {
  bool inside = false;
  for (size_t i = 0; i < polygon.size(); ++i) {
    const auto [from, to] = polygonEdge(polygon, i);
    const int64_t side = cross(from, to, point);
    if (side == 0 && boxesOverlap(from, to, point, point)) {
      return true;
    }
    // The ray to the right crosses an edge that the point lies to the left of. A vertex at the
    // height of the ray belongs to the edge above it, so that no vertex counts twice.
    const bool spansHeight = (from.y > point.y) != (to.y > point.y);
    if (spansHeight && (side > 0) == (to.y > from.y)) {
      inside = !inside;
    }
  }
  return inside;
}

// Where no edges meet, each border lies wholly inside or wholly outside the other area, and one of
// its points tells which.
bool polygonsTouch(Points a, Points b) {
  if (a.empty() || b.empty()) {
    return false;
  }
  for (size_t i = 0; i < a.size(); ++i) {
    if (edgeTouchesPolygon(polygonEdge(a, i), b)) {
      return true;
    }
  }
  return isInside(a.front(), b) || isInside(b.front(), a);
}

bool polygonTouchesLine(Points polygon, Points line) {
  if (polygon.empty() || line.empty()) {
    return false;
  }
  for (size_t i = 0; i < lineEdges(line); ++i) {
    if (edgeTouchesPolygon(lineEdge(line, i), polygon)) {
      return true;
    }
  }
  return isInside(line.front(), polygon);
}

bool linesTouch(Points a, Points b) {
  for (size_t i = 0; i < lineEdges(a); ++i) {
    for (size_t j = 0; j < lineEdges(b); ++j) {
      if (edgesTouch(lineEdge(a, i), lineEdge(b, j))) {
        return true;
      }
    }
  }
  return false;
}

bool isSimple(Points polygon) {
  const size_t count = polygon.size();
  for (size_t i = 0; i < count; ++i) {
    for (size_t j = i + 2; j < count; ++j) {
      const bool neighbours = i == 0 && j == count - 1;
      if (!neighbours && edgesTouch(polygonEdge(polygon, i), polygonEdge(polygon, j))) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace geometry
