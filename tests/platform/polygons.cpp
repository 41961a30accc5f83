#include "platform/polygons.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace polygons {

int Generator::number(int low, int high) {
  return std::uniform_int_distribution<int>(low, high)(random);
}

gm_point Generator::point() {
  return {static_cast<int16_t>(number(-range, range)), static_cast<int16_t>(number(-range, range))};
}

Points Generator::points(int count) {
  Points result;
  for (int i = 0; i < count; ++i) {
    result.push_back(point());
  }
  return result;
}

gm_point Generator::towards(double angle, double radius) const {
  return {static_cast<int16_t>(std::lround(radius * std::cos(angle))),
          static_cast<int16_t>(std::lround(radius * std::sin(angle)))};
}

std::vector<double> Generator::angles(int count) {
  std::uniform_real_distribution<double> circle(0, 2 * std::numbers::pi);
  std::vector<double> result;
  for (int i = 0; i < count; ++i) {
    result.push_back(circle(random));
  }
  std::sort(result.begin(), result.end());
  if (number(0, 1) == 1) {
    std::reverse(result.begin(), result.end());
  }
  return result;
}

Points Generator::convex(int directions) {
  Points result;
  for (const double angle : angles(directions)) {
    result.push_back(towards(angle, range));
  }
  return result;
}

Points Generator::concave(int directions) {
  std::uniform_real_distribution<double> radius(0.1 * range, range);
  Points result;
  for (const double angle : angles(directions)) {
    result.push_back(towards(angle, radius(random)));
  }
  return result;
}

Points Generator::tiny() {
  const gm_point first = point();
  const gm_point other = padded(first);
  switch (number(0, 2)) {
    case 0:
      return {first, other, {other.x, first.y}};
    case 1:
      return {first, first, other, {other.x, first.y}};
    default: {
      const gm_point second = point();
      return {first, second, padded(second)};
    }
  }
}

Points Generator::likeThat(Points other) {
  const int changes = number(1, 3);
  for (int i = 0; i < changes; ++i) {
    other[static_cast<size_t>(number(0, static_cast<int>(other.size()) - 1))] = point();
  }
  if (number(0, 1) == 1) {
    std::reverse(other.begin(), other.end());
  }
  return other;
}

Points Generator::any() {
  switch (number(0, 3)) {
    case 0:
      return convex(number(3, 12));
    case 1:
      return concave(number(3, 20));
    case 2:
      return points(number(3, 10));
    default:
      return tiny();
  }
}

Points Generator::anyWith(const Points& other) {
  return number(0, 2) > 0 ? any() : likeThat(other);
}

namespace {

// The edges as seen from the point: both ends relative to it.
template <typename Visit>
void forEachEdge(gm_point point, const Points& polygon, Visit visit) {
  for (size_t i = 0; i < polygon.size(); ++i) {
    const gm_point a = polygon[i];
    const gm_point b = polygon[(i + 1) % polygon.size()];
    visit(int64_t{a.x} - point.x, int64_t{a.y} - point.y, int64_t{b.x} - point.x,
          int64_t{b.y} - point.y);
  }
}

}  // namespace

bool isOnBorder(gm_point point, const Points& polygon) {
  bool found = false;
  forEachEdge(point, polygon, [&](int64_t ax, int64_t ay, int64_t bx, int64_t by) {
    found = found || (ax * by == ay * bx && ax * bx + ay * by <= 0);
  });
  return found;
}

bool isInside(gm_point point, const Points& polygon) {
  if (isOnBorder(point, polygon)) {
    return true;
  }
  double turned = 0;
  forEachEdge(point, polygon, [&](int64_t ax, int64_t ay, int64_t bx, int64_t by) {
    turned +=
        std::atan2(static_cast<double>(ax * by - ay * bx), static_cast<double>(ax * bx + ay * by));
  });
  return std::lround(turned / (2 * std::numbers::pi)) % 2 != 0;
}

int64_t doubledArea(const Points& polygon) {
  int64_t area = 0;
  forEachEdge({0, 0}, polygon,
              [&](int64_t ax, int64_t ay, int64_t bx, int64_t by) { area += ax * by - ay * bx; });
  return area;
}

gm_point padded(gm_point point) {
  const auto moved = [](int16_t value) {
    return static_cast<int16_t>(value < 2048 ? value + 1 : value - 1);
  };
  return {moved(point.x), moved(point.y)};
}

}  // namespace polygons
