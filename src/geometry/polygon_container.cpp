#include "geometry/polygon_container.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <set>
#include <utility>

#include "geometry/gm_points.h"

namespace {

constexpr int PICTURE_LIMIT = 4096;  // Q12, the picture's border

using PointSet = std::set<Point>;

Point clampToPicture(int x, int y) {
  return {static_cast<std::int16_t>(std::clamp(x, -PICTURE_LIMIT, PICTURE_LIMIT)),
          static_cast<std::int16_t>(std::clamp(y, -PICTURE_LIMIT, PICTURE_LIMIT))};
}

// The nearest free point on square rings around the given one: each ring along its top and bottom
// rows from left to right, then along its sides.
Point findClosestNonDuplicate(const Point& point, const PointSet& taken) {
  const auto isFree = [&taken](const Point& candidate) { return !taken.contains(candidate); };
  for (int distance = 1; distance <= 2 * PICTURE_LIMIT; ++distance) {
    for (int x = point.x - distance; x <= point.x + distance; ++x) {
      for (const int y : {point.y + distance, point.y - distance}) {
        if (const Point candidate = clampToPicture(x, y); isFree(candidate)) {
          return candidate;
        }
      }
    }
    for (int y = point.y - distance + 1; y < point.y + distance; ++y) {
      for (const int x : {point.x - distance, point.x + distance}) {
        if (const Point candidate = clampToPicture(x, y); isFree(candidate)) {
          return candidate;
        }
      }
    }
  }
  return point;
}

// The result arrays of the geometry library, released whatever happens while they are read.
struct ClipResult {
  ~ClipResult() {
    for (int i = 0; i < count; ++i) {
      std::free(outlines[i]);
    }
    std::free(outlines);
    std::free(sizes);
  }

  gm_point** outlines = nullptr;
  int* sizes = nullptr;
  int count = 0;
};

}  // namespace

PolygonContainer::PolygonContainer(const PolygonContainer& other) {
  append(other);
}

PolygonContainer& PolygonContainer::operator=(const PolygonContainer& other) {
  if (this != &other) {
    clear();
    append(other);
  }
  return *this;
}

void PolygonContainer::insert(std::unique_ptr<Polygon> polygon) {
  if (polygon != nullptr) {
    polygons.push_back(std::move(polygon));
  }
}

void PolygonContainer::append(const PolygonContainer& other) {
  const std::size_t count = other.polygons.size();
  for (std::size_t i = 0; i < count; ++i) {
    insert(other.polygons[i]->clone());
  }
}

void PolygonContainer::takeOwnership(PolygonContainer& other) {
  if (this == &other) {
    return;
  }
  std::move(other.polygons.begin(), other.polygons.end(), std::back_inserter(polygons));
  other.polygons.clear();
}

// ---- Cutting a polygon into pieces ----

void Polygon::intersect(const Polygon& other, PolygonContainer& result) const {
  clip(other, GM_CLIP_INTERSECTION, result);
}

void Polygon::cutOff(const Polygon& other, PolygonContainer& result) const {
  clip(other, GM_CLIP_CUT_OFF, result);
}

void Polygon::clip(const Polygon& other, int operation, PolygonContainer& result) const {
  const std::vector<Point> clipVertices = adjustDuplicates(other.vertices);
  ClipResult pieces;
  pieces.count = gm_clip_pp(toGmPoints(vertices), gmCount(vertices), toGmPoints(clipVertices),
                            gmCount(clipVertices), static_cast<gm_clip_e>(operation),
                            &pieces.outlines, &pieces.sizes);
  for (int i = 0; i < pieces.count; ++i) {
    result.insert(std::make_unique<Polygon>(fromGmPoints(pieces.outlines[i], pieces.sizes[i])));
  }
}

std::vector<Point> Polygon::adjustDuplicates(const std::vector<Point>& clipVertices) const {
  PointSet taken(vertices.begin(), vertices.end());
  std::vector<Point> adjusted(clipVertices);
  for (Point& vertex : adjusted) {
    if (taken.contains(vertex)) {
      vertex = findClosestNonDuplicate(vertex, taken);
      taken.insert(vertex);
    }
  }
  return adjusted;
}
