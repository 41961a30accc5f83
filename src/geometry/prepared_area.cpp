#include "geometry/prepared_area.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int NEAR = 1;  // grid step

std::int64_t cross(const Point& a, const Point& b, const Point& c) {
  return std::int64_t{b.x - a.x} * (c.y - a.y) - std::int64_t{b.y - a.y} * (c.x - a.x);
}

bool liesOn(const Point& p, const Point& from, const Point& to) {
  const int x1 = from.x - p.x;
  const int y1 = from.y - p.y;
  const int x2 = to.x - p.x;
  const int y2 = to.y - p.y;
  // First whether it lies in the box of both, which is rare.
  return std::int64_t{x1} * x2 <= 0 && std::int64_t{y1} * y2 <= 0 &&
         std::int64_t{x1} * y2 == std::int64_t{y1} * x2;
}

// Whether a path that comes from one point and goes on to the other leaves p on another way than it
// came, and at all.
bool goesOn(const Point& previous, const Point& p, const Point& next) {
  if (cross(previous, p, next) != 0) {
    return true;
  }
  const std::int64_t dot = std::int64_t{previous.x - p.x} * (next.x - p.x) +
                           std::int64_t{previous.y - p.y} * (next.y - p.y);
  return dot < 0;
}

}  // namespace

PreparedArea::Edge::Edge(const Point& from, const Point& to)
    : from(from),
      to(to),
      minX(std::min(from.x, to.x)),
      minY(std::min(from.y, to.y)),
      maxX(std::max(from.x, to.x)),
      maxY(std::max(from.y, to.y)),
      nearSide(
          static_cast<std::int64_t>(std::ceil(NEAR * std::hypot(to.x - from.x, to.y - from.y)))) {}

// Whether the outline lies strictly to one side of the edge's line. Mostly its bounding box does;
// else all its vertices must, as what it encloses lies between them.
bool PreparedArea::Edge::isSeparateFrom(const Polygon& outline) const {
  const bool isRightward = to.x >= from.x;
  // The corners of the box for which side() is least and greatest.
  const std::int16_t left = outline.getMinX();
  const std::int16_t right = outline.getMaxX();
  const std::int16_t bottom = outline.getMinY();
  const std::int16_t top = outline.getMaxY();
  const Point lowest{isUpward() ? right : left, isRightward ? bottom : top};
  const Point highest{isUpward() ? left : right, isRightward ? top : bottom};
  if (side(lowest) > 0 || side(highest) < 0) {
    return true;
  }
  const std::vector<Point>& vertices = outline.getVertices();
  const bool isLeft = side(vertices.front()) > 0;
  for (const Point& p : vertices) {
    const std::int64_t s = side(p);
    if (isLeft ? s <= 0 : s >= 0) {
      return false;
    }
  }
  return true;
}

// The same for points that are known to a step only.
bool PreparedArea::Edge::isClearOf(std::span<const Point> points) const {
  const bool isLeft = side(points.front()) > 0;
  return std::ranges::all_of(points, [this, isLeft](const Point& p) {
    return isLeft ? side(p) > nearSide : side(p) < -nearSide;
  });
}

bool PreparedArea::Edge::reaches(const Polygon& outline) const {
  return maxX >= outline.getMinX() && minX <= outline.getMaxX() && maxY >= outline.getMinY() &&
         minY <= outline.getMaxY() && !isSeparateFrom(outline);
}

// Where the line through the edge meets the way between two points on different sides of it.
Point PreparedArea::Edge::crossing(const Point& p, const Point& q) const {
  const auto sideOfP = static_cast<double>(side(p));
  const double t = sideOfP / (sideOfP - static_cast<double>(side(q)));
  return {static_cast<std::int16_t>(std::lround(p.x + t * (q.x - p.x))),
          static_cast<std::int16_t>(std::lround(p.y + t * (q.y - p.y)))};
}

PreparedArea::PreparedArea(const Polygon& area)
    : convex(isConvex(area.getVertices())),
      minX(area.getMinX()),
      minY(area.getMinY()),
      maxX(area.getMaxX()),
      maxY(area.getMaxY()) {
  const std::vector<Point>& vertices = area.getVertices();
  edges.reserve(vertices.size());
  for (std::size_t i = 0; i < vertices.size(); ++i) {
    edges.emplace_back(vertices[i], vertices[i + 1 < vertices.size() ? i + 1 : 0]);
  }
}

// All vertices lie to the same side of each edge.
bool PreparedArea::isConvex(std::span<const Point> outline) {
  for (std::size_t i = 0; i < outline.size(); ++i) {
    const Edge edge(outline[i], outline[i + 1 < outline.size() ? i + 1 : 0]);
    const bool hasLeft =
        std::ranges::any_of(outline, [&](const Point& p) { return edge.side(p) > 0; });
    const bool hasRight =
        std::ranges::any_of(outline, [&](const Point& p) { return edge.side(p) < 0; });
    if (hasLeft == hasRight) {
      return false;
    }
  }
  return outline.size() >= 3;
}

PreparedArea::Relation_e PreparedArea::relate(const Polygon& outline) const {
  const std::vector<Point>& vertices = outline.getVertices();
  if (vertices.empty()) {
    return Relation_e::unsure;
  }
  const std::int16_t left = outline.getMinX();
  const std::int16_t right = outline.getMaxX();
  const std::int16_t bottom = outline.getMinY();
  const std::int16_t top = outline.getMaxY();
  if (left > maxX || right < minX || bottom > maxY || top < minY) {
    return Relation_e::apart;
  }
  // No edge of the area reaches the outline as long as this goes on, so that all of the outline
  // lies where any of its points does.
  const Point& p = vertices.front();
  bool isInside = false;
  for (const Edge& edge : edges) {
    if (edge.maxX < left || edge.minY > top || edge.maxY < bottom) {
      continue;
    }
    if (edge.minX > right) {
      isInside ^= edge.spans(p.y);
      continue;
    }
    if (!edge.isSeparateFrom(outline)) {
      return Relation_e::unsure;
    }
    isInside ^= edge.spans(p.y) && (edge.side(p) > 0) == edge.isUpward();
  }
  return isInside ? Relation_e::within : Relation_e::apart;
}

PreparedArea::Place_e PreparedArea::locate(const Point& p) const {
  if (p.x < minX - NEAR || p.x > maxX + NEAR || p.y < minY - NEAR || p.y > maxY + NEAR) {
    return Place_e::outside;
  }
  bool isInside = false;
  for (const Edge& edge : edges) {
    if (edge.maxX < p.x - NEAR || edge.minY > p.y + NEAR || edge.maxY < p.y - NEAR) {
      continue;
    }
    if (edge.minX > p.x + NEAR) {
      isInside ^= edge.spans(p.y);
      continue;
    }
    const std::int64_t side = edge.side(p);
    if (side <= edge.nearSide && side >= -edge.nearSide) {
      return Place_e::border;
    }
    isInside ^= edge.spans(p.y) && (side > 0) == edge.isUpward();
  }
  return isInside ? Place_e::inside : Place_e::outside;
}

// The corners of what both have in common are vertices of one that lie in the other, and crossings
// of their borders. A point too many does no harm, as long as the first lies in the outline's hull.
std::size_t PreparedArea::collectCommonPoints(const Polygon& outline,
                                              std::span<Point> points) const {
  const std::vector<Point>& vertices = outline.getVertices();
  std::size_t count = 0;
  const auto add = [&](const Point& p) {
    if (count < points.size()) {
      points[count] = p;
    }
    ++count;
  };
  for (const Point& p : vertices) {
    if (locate(p) != Place_e::outside) {
      add(p);
    }
  }
  for (const Edge& edge : edges) {
    if (!edge.reaches(outline)) {
      continue;
    }
    Point p = vertices.back();
    for (const Point& q : vertices) {
      if ((edge.side(p) > 0) != (edge.side(q) > 0)) {
        add(edge.crossing(p, q));
      }
      p = q;
    }
  }
  if (count == 0) {
    return 0;
  }
  for (const Edge& edge : edges) {
    const Point& p = edge.from;
    if (p.x >= outline.getMinX() && p.x <= outline.getMaxX() && p.y >= outline.getMinY() &&
        p.y <= outline.getMaxY()) {
      add(p);
    }
  }
  return count <= points.size() ? count : 0;
}

// The outline's hull holds the way from the first point to any other that the outline has. Only
// edges that reach into the hull could cut it, and both ends lie clearly to the same side of those.
bool PreparedArea::covers(const Polygon& outline, std::span<const Point> points) const {
  return !points.empty() && locate(points.front()) == Place_e::inside &&
         std::ranges::all_of(edges, [&](const Edge& edge) {
           return !edge.reaches(outline) || edge.isClearOf(points);
         });
}

bool PreparedArea::isCorner(std::span<const Point> outline, std::size_t index) {
  const std::size_t count = outline.size();
  const Point& p = outline[index];
  const std::size_t before = index == 0 ? count - 1 : index - 1;
  const std::size_t after = index + 1 < count ? index + 1 : 0;
  if (!goesOn(outline[before], p, outline[after])) {
    return false;
  }
  for (std::size_t i = after; i != before;) {
    const Point& from = outline[i];
    i = i + 1 < count ? i + 1 : 0;
    if (liesOn(p, from, outline[i])) {
      return false;
    }
  }
  return true;
}

bool PreparedArea::isBorder(std::span<const Point> outline, std::size_t index) {
  const std::size_t count = outline.size();
  const Point& from = outline[index];
  const Point& to = outline[index + 1 < count ? index + 1 : 0];
  if (from == to) {
    return false;
  }
  // Of its neighbours one end lies on its line, of others both would have to.
  bool wasOnLine = true;
  for (std::size_t i = 2; i < count; ++i) {
    const bool isOnLine = cross(from, to, outline[(index + i) % count]) == 0;
    if (isOnLine && wasOnLine) {
      return false;
    }
    wasOnLine = isOnLine;
  }
  return count > 2 && !wasOnLine;
}

// The lowest vertex, of equally low ones the leftmost, is a corner at once when it comes only once
// and does not turn back: all else lies above it.
bool PreparedArea::hasArea(std::span<const Point> outline) {
  if (outline.size() < 3) {
    return false;
  }
  std::size_t lowest = 0;
  bool isRepeated = false;
  for (std::size_t i = 1; i < outline.size(); ++i) {
    if (outline[i] < outline[lowest]) {
      lowest = i;
      isRepeated = false;
    } else {
      isRepeated |= outline[i] == outline[lowest];
    }
  }
  const Point& before = outline[(lowest == 0 ? outline.size() : lowest) - 1];
  const Point& after = outline[lowest + 1 < outline.size() ? lowest + 1 : 0];
  if (!isRepeated && goesOn(before, outline[lowest], after)) {
    return true;
  }
  for (std::size_t i = 0; i < outline.size(); ++i) {
    if (isCorner(outline, i)) {
      return true;
    }
  }
  return false;
}
