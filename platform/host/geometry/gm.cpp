#include "gm.h"

#include <cstdlib>
#include <exception>
#include <limits>
#include <memory>
#include <vector>

#include "base/allocated.h"
#include "geometry/clip.h"
#include "geometry/predicates.h"

namespace {

using geometry::Outline;
using geometry::Points;

// Moments of area are cubes of coordinates: twice a coordinate needs 17 bits, the doubled area of a
// triangle 34. Up to so many of them fit into 64 bits.
__extension__ using Wide = __int128;
constexpr size_t FEW_VERTICES = 2048;

Points pointsOf(const gm_point* points, int count) {
  if (points == nullptr || count <= 0) {
    return {};
  }
  return {points, static_cast<size_t>(count)};
}

bool isUsable(const gm_point* points, int count) {
  return count == 0 || (count > 0 && points != nullptr);
}

// To the nearest integer, halves away from zero.
template <typename Integer>
Integer roundedQuotient(Integer dividend, Integer divisor) {
  if (divisor < 0) {
    return roundedQuotient<Integer>(-dividend, -divisor);
  }
  if (dividend < 0) {
    return -roundedQuotient<Integer>(-dividend, divisor);
  }
  const Integer quotient = dividend / divisor;
  const Integer rest = dividend % divisor;
  return quotient + (rest >= divisor - rest ? 1 : 0);
}

bool fitsGrid(Wide value) {
  return value >= std::numeric_limits<int16_t>::min() &&
         value <= std::numeric_limits<int16_t>::max();
}

Wide scaled(int16_t coordinate, int32_t scale) {
  return roundedQuotient<Wide>(Wide{coordinate} * scale, 1 << 16);
}

// 0, or -1 without writing when there is none on the grid.
template <typename Sum>
int centroidOf(Points points, gm_point* centroid) {
  if (points.empty()) {
    return -1;
  }
  // Triangles of the origin with every edge: doubled areas, and six times their moments.
  Sum area = 0;
  Sum momentX = 0;
  Sum momentY = 0;
  gm_point from = points.back();
  for (const gm_point& to : points) {
    const int64_t triangle = int64_t{from.x} * to.y - int64_t{from.y} * to.x;
    area += triangle;
    momentX += static_cast<Sum>(from.x + to.x) * triangle;
    momentY += static_cast<Sum>(from.y + to.y) * triangle;
    from = to;
  }
  if (area == 0) {
    return -1;
  }
  const Sum x = roundedQuotient<Sum>(momentX, 3 * area);
  const Sum y = roundedQuotient<Sum>(momentY, 3 * area);
  if (!fitsGrid(x) || !fitsGrid(y)) {
    return -1;
  }
  *centroid = {static_cast<int16_t>(x), static_cast<int16_t>(y)};
  return 0;
}

template <typename T>
T* allocate(size_t count) {
  void* const memory = std::calloc(count, sizeof(T));
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return static_cast<T*>(memory);
}

// Hands the outlines over to the caller of the C function.
int handOver(const std::vector<Outline>& outlines, gm_point*** results, int** counts) {
  if (outlines.empty()) {
    return 0;
  }
  std::vector<Allocated<gm_point>> arrays;
  Allocated<int> lengths(allocate<int>(outlines.size()));
  for (const Outline& outline : outlines) {
    lengths.get()[arrays.size()] = static_cast<int>(outline.size());
    arrays.emplace_back(allocate<gm_point>(outline.size()));
    std::copy(outline.begin(), outline.end(), arrays.back().get());
  }
  *results = allocate<gm_point*>(outlines.size());
  for (size_t i = 0; i < arrays.size(); ++i) {
    (*results)[i] = arrays[i].release();
  }
  *counts = lengths.release();
  return static_cast<int>(outlines.size());
}

}  // namespace

int gm_inside_p(gm_point point, const gm_point* polygon, int count) {
  return geometry::isInside(point, pointsOf(polygon, count));
}

int gm_intersect_pp(const gm_point* a, int aCount, const gm_point* b, int bCount) {
  return geometry::polygonsTouch(pointsOf(a, aCount), pointsOf(b, bCount));
}

int gm_intersect_ps(const gm_point* polygon, int polygonCount, const gm_point* line,
                    int lineCount) {
  return geometry::polygonTouchesLine(pointsOf(polygon, polygonCount), pointsOf(line, lineCount));
}

int gm_intersect_ss(const gm_point* a, int aCount, const gm_point* b, int bCount) {
  return geometry::linesTouch(pointsOf(a, aCount), pointsOf(b, bCount));
}

int gm_centroid_p(const gm_point* polygon, int count, gm_point* centroid) {
  const Points points = pointsOf(polygon, count);
  return points.size() <= FEW_VERTICES ? centroidOf<int64_t>(points, centroid)
                                       : centroidOf<Wide>(points, centroid);
}

int gm_transform_scale(gm_point* vertices, int count, const int32_t scale[2]) {
  if (!isUsable(vertices, count)) {
    return -1;
  }
  for (const gm_point& vertex : pointsOf(vertices, count)) {
    if (!fitsGrid(scaled(vertex.x, scale[0])) || !fitsGrid(scaled(vertex.y, scale[1]))) {
      return -1;
    }
  }
  for (int i = 0; i < count; ++i) {
    vertices[i] = {static_cast<int16_t>(scaled(vertices[i].x, scale[0])),
                   static_cast<int16_t>(scaled(vertices[i].y, scale[1]))};
  }
  return 0;
}

int gm_clip_pp(const gm_point* subject, int subjectCount, const gm_point* clip, int clipCount,
               gm_clip_e operation, gm_point*** results, int** counts) {
  *results = nullptr;
  *counts = nullptr;
  if (!isUsable(subject, subjectCount) || !isUsable(clip, clipCount)) {
    return -1;
  }
  try {
    return handOver(
        geometry::clip(pointsOf(subject, subjectCount), pointsOf(clip, clipCount), operation),
        results, counts);
  } catch (const std::exception&) {
    return -1;
  }
}
