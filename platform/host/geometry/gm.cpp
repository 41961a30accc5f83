#include "gm.h"

#include <cstdlib>
#include <exception>
#include <limits>
#include <memory>
#include <vector>

#include "geometry/clip.h"
#include "geometry/predicates.h"

namespace {

using geometry::Outline;
using geometry::Points;

// Moments of area are cubes of coordinates, summed over any number of vertices.
__extension__ using Wide = __int128;

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};

template <typename T>
using Allocated = std::unique_ptr<T, Free>;

Points pointsOf(const gm_point* points, int count) {
  if (points == nullptr || count <= 0) return {};
  return {points, static_cast<size_t>(count)};
}

bool isUsable(const gm_point* points, int count) {
  return count == 0 || (count > 0 && points != nullptr);
}

// To the nearest integer, halves away from zero.
Wide roundedQuotient(Wide dividend, Wide divisor) {
  if (divisor < 0) return roundedQuotient(-dividend, -divisor);
  if (dividend < 0) return -roundedQuotient(-dividend, divisor);
  return (2 * dividend + divisor) / (2 * divisor);
}

bool fitsGrid(Wide value) {
  return value >= std::numeric_limits<int16_t>::min() &&
         value <= std::numeric_limits<int16_t>::max();
}

Wide scaled(int16_t coordinate, int32_t scale) {
  return roundedQuotient(Wide{coordinate} * scale, 1 << 16);
}

template <typename T>
T* allocate(size_t count) {
  void* const memory = std::calloc(count, sizeof(T));
  if (memory == nullptr) throw std::bad_alloc();
  return static_cast<T*>(memory);
}

// Hands the outlines over to the caller of the C function.
int handOver(const std::vector<Outline>& outlines, gm_point*** results, int** counts) {
  if (outlines.empty()) return 0;
  std::vector<Allocated<gm_point>> arrays;
  Allocated<int> lengths(allocate<int>(outlines.size()));
  for (const Outline& outline : outlines) {
    lengths.get()[arrays.size()] = static_cast<int>(outline.size());
    arrays.emplace_back(allocate<gm_point>(outline.size()));
    std::copy(outline.begin(), outline.end(), arrays.back().get());
  }
  *results = allocate<gm_point*>(outlines.size());
  for (size_t i = 0; i < arrays.size(); ++i) (*results)[i] = arrays[i].release();
  *counts = lengths.release();
  return static_cast<int>(outlines.size());
}

}  // namespace

int gm_inside_p(gm_point point, const gm_point* polygon, int count) {
  return geometry::isInside(point, pointsOf(polygon, count));
}

int gm_intersect_pp(const gm_point* a, int a_count, const gm_point* b, int b_count) {
  return geometry::polygonsTouch(pointsOf(a, a_count), pointsOf(b, b_count));
}

int gm_intersect_ps(const gm_point* polygon, int polygon_count, const gm_point* line,
                    int line_count) {
  return geometry::polygonTouchesLine(pointsOf(polygon, polygon_count), pointsOf(line, line_count));
}

int gm_intersect_ss(const gm_point* a, int a_count, const gm_point* b, int b_count) {
  return geometry::linesTouch(pointsOf(a, a_count), pointsOf(b, b_count));
}

int gm_centroid_p(const gm_point* polygon, int count, gm_point* centroid) {
  const Points points = pointsOf(polygon, count);
  // Triangles of the origin with every edge: doubled areas, and six times their moments.
  constexpr gm_point kOrigin{0, 0};
  Wide area = 0;
  Wide momentX = 0;
  Wide momentY = 0;
  for (size_t i = 0; i < points.size(); ++i) {
    const gm_point from = points[i];
    const gm_point to = points[i + 1 < points.size() ? i + 1 : 0];
    const int64_t triangle = geometry::cross(kOrigin, from, to);
    area += triangle;
    momentX += Wide{from.x + to.x} * triangle;
    momentY += Wide{from.y + to.y} * triangle;
  }
  if (area == 0) return -1;
  const Wide x = roundedQuotient(momentX, 3 * area);
  const Wide y = roundedQuotient(momentY, 3 * area);
  if (!fitsGrid(x) || !fitsGrid(y)) return -1;
  *centroid = {static_cast<int16_t>(x), static_cast<int16_t>(y)};
  return 0;
}

int gm_transform_scale(gm_point* vertices, int count, const int32_t scale[2]) {
  if (!isUsable(vertices, count)) return -1;
  for (const gm_point& vertex : pointsOf(vertices, count)) {
    if (!fitsGrid(scaled(vertex.x, scale[0])) || !fitsGrid(scaled(vertex.y, scale[1]))) return -1;
  }
  for (int i = 0; i < count; ++i) {
    vertices[i] = {static_cast<int16_t>(scaled(vertices[i].x, scale[0])),
                   static_cast<int16_t>(scaled(vertices[i].y, scale[1]))};
  }
  return 0;
}

int gm_clip_pp(const gm_point* subject, int subject_count, const gm_point* clip, int clip_count,
               gm_clip_e operation, gm_point*** results, int** counts) {
  *results = nullptr;
  *counts = nullptr;
  if (!isUsable(subject, subject_count) || !isUsable(clip, clip_count)) return -1;
  try {
    return handOver(
        geometry::clip(pointsOf(subject, subject_count), pointsOf(clip, clip_count), operation),
        results, counts);
  } catch (const std::exception&) {
    return -1;
  }
}
