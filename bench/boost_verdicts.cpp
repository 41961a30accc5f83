#include <array>
#include <boost/geometry.hpp>
#include <boost/geometry/geometries/multi_polygon.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/polygon.hpp>
#include <cmath>
#include <utility>
#include <vector>

#include "bench/library_verdicts.h"

namespace bench {

namespace {

namespace bg = boost::geometry;

using Spot = bg::model::d2::point_xy<double>;
using Shape = bg::model::polygon<Spot>;
using Shapes = bg::model::multi_polygon<Shape>;

Shape toShape(std::span<const Point> points) {
  Shape shape;
  shape.outer().reserve(points.size() + 1);
  for (const Point& point : points) {
    shape.outer().emplace_back(point.x, point.y);
  }
  shape.outer().push_back(shape.outer().front());
  bg::correct(shape);
  return shape;
}

// To the grid, away from the middle of the box.
Point roundedOutwards(const Spot& corner, double direction) {
  const auto rounded = [direction](double value) {
    return static_cast<std::int16_t>(direction * std::ceil(direction * value));
  };
  return {rounded(corner.x()), rounded(corner.y())};
}

struct PreparedArea {
  explicit PreparedArea(const Areas& areas) : box(areas.include), include(toShape(areas.include)) {
    free.push_back(include);
    for (const auto& exclude : areas.exclude) {
      Shapes rest;
      bg::difference(free, toShape(exclude), rest);
      free = std::move(rest);
    }
    for (const Shape& part : free) {
      const auto bounds = bg::return_envelope<bg::model::box<Spot>>(part);
      const Spot& low = bounds.min_corner();
      const Spot& high = bounds.max_corner();
      freeBoxes.emplace_back(std::array{roundedOutwards(low, -1.0), roundedOutwards(high, 1.0)});
    }
    hasExcludes = !areas.exclude.empty();
  }

  Box box;
  Shape include;
  Shapes free;
  std::vector<Box> freeBoxes;
  bool hasExcludes = false;
};

class BoostVerdicts : public PreparedVerdicts<PreparedArea> {
 public:
  using PreparedVerdicts::PreparedVerdicts;

 protected:
  int judge(const PreparedArea& area, std::span<const Point> outline, const Box& box) override {
    const Shape object = toShape(outline);
    bool touches = false;
    for (std::size_t i = 0; i < area.free.size(); ++i) {
      if (!area.freeBoxes[i].touches(box)) {
        continue;
      }
      // Mostly an object does not touch, or shares area with what it touches.
      if (!bg::intersects(object, area.free[i])) {
        continue;
      }
      if (!bg::touches(object, area.free[i])) {
        return INSIDE;
      }
      touches = true;
    }
    touches = touches || (area.hasExcludes && bg::intersects(object, area.include));
    return touches ? EXCLUDED : OUTSIDE;
  }
};

}  // namespace

std::unique_ptr<LibraryVerdicts> makeBoostVerdicts(const VerdictPairs& pairs) {
  return std::make_unique<BoostVerdicts>(pairs);
}

}  // namespace bench
