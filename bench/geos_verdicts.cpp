#include <geos_c.h>

#include <stdexcept>
#include <utility>
#include <vector>

#include "bench/library_verdicts.h"

namespace bench {

namespace {

GEOSContextHandle_t engine() {
  static const GEOSContextHandle_t HANDLE = GEOS_init_r();
  return HANDLE;
}

struct Destroy {
  void operator()(GEOSGeometry* geometry) const { GEOSGeom_destroy_r(engine(), geometry); }
  void operator()(const GEOSPreparedGeometry* prepared) const {
    GEOSPreparedGeom_destroy_r(engine(), prepared);
  }
};

using Shape = std::unique_ptr<GEOSGeometry, Destroy>;
using Prepared = std::unique_ptr<const GEOSPreparedGeometry, Destroy>;

Shape checked(GEOSGeometry* geometry) {
  if (geometry == nullptr) {
    throw std::runtime_error("GEOS failed");
  }
  return Shape(geometry);
}

Shape toShape(std::span<const Point> points) {
  const auto count = static_cast<unsigned>(points.size());
  GEOSCoordSequence* coordinates = GEOSCoordSeq_create_r(engine(), count + 1, 2);
  for (unsigned i = 0; i <= count; ++i) {
    const Point& point = points[i % count];
    GEOSCoordSeq_setXY_r(engine(), coordinates, i, point.x, point.y);
  }
  return checked(GEOSGeom_createPolygon_r(
      engine(), GEOSGeom_createLinearRing_r(engine(), coordinates), nullptr, 0));
}

Shape toValidShape(std::span<const Point> points) {
  Shape shape = toShape(points);
  return GEOSisValid_r(engine(), shape.get()) == 1
             ? std::move(shape)
             : checked(GEOSMakeValid_r(engine(), shape.get()));
}

struct PreparedArea {
  explicit PreparedArea(const Areas& areas)
      : box(areas.include), include(toValidShape(areas.include)), free(include.get()) {
    for (const auto& exclude : areas.exclude) {
      ownFree = checked(GEOSDifference_r(engine(), free, toValidShape(exclude).get()));
      free = ownFree.get();
    }
    preparedInclude.reset(GEOSPrepare_r(engine(), include.get()));
    preparedFree.reset(GEOSPrepare_r(engine(), free));
    hasExcludes = !areas.exclude.empty();
  }

  Box box;
  Shape include;
  Shape ownFree;
  const GEOSGeometry* free;
  Prepared preparedInclude;
  Prepared preparedFree;
  bool hasExcludes = false;
};

class GeosVerdicts : public PreparedVerdicts<PreparedArea> {
 public:
  using PreparedVerdicts::PreparedVerdicts;

 protected:
  int judge(const PreparedArea& area, std::span<const Point> outline, const Box& /*box*/) override {
    const Shape object = toShape(outline);
    if (GEOSPreparedIntersects_r(engine(), area.preparedFree.get(), object.get()) == 1) {
      return sharesArea(area, object) ? INSIDE : EXCLUDED;
    }
    const bool touches =
        area.hasExcludes &&
        GEOSPreparedIntersects_r(engine(), area.preparedInclude.get(), object.get()) == 1;
    return touches ? EXCLUDED : OUTSIDE;
  }

 private:
  // Mostly the object lies wholly in the free part. An outline that crosses itself is repaired when
  // the question cannot be answered.
  static bool sharesArea(const PreparedArea& area, const Shape& object) {
    if (GEOSPreparedContainsProperly_r(engine(), area.preparedFree.get(), object.get()) == 1) {
      return true;
    }
    constexpr const char* INTERIORS_MEET = "2********";
    char answer = GEOSRelatePattern_r(engine(), area.free, object.get(), INTERIORS_MEET);
    if (answer == 2) {
      const Shape repaired = checked(GEOSMakeValid_r(engine(), object.get()));
      answer = GEOSRelatePattern_r(engine(), area.free, repaired.get(), INTERIORS_MEET);
    }
    return answer == 1;
  }
};

}  // namespace

std::unique_ptr<LibraryVerdicts> makeGeosVerdicts(const VerdictPairs& pairs) {
  return std::make_unique<GeosVerdicts>(pairs);
}

}  // namespace bench
