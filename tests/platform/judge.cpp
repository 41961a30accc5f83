#include "platform/judge.h"

#include <cmath>
#include <stdexcept>

namespace judge {
namespace {

using polygons::Points;

// Crossings are snapped to this fraction of a grid step, without which the judge now and then
// misses a face.
constexpr double SNAP = 1.0 / (1 << 20);

class Engine {
 public:
  Engine() : handle(GEOS_init_r()) {}
  ~Engine() { GEOS_finish_r(handle); }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;
  GEOSContextHandle_t get() const { return handle; }

 private:
  const GEOSContextHandle_t handle;
};

GEOSContextHandle_t engine() {
  static const Engine ENGINE;
  return ENGINE.get();
}

Shape checked(GEOSGeometry* geometry) {
  if (geometry == nullptr) {
    throw std::runtime_error("the judge failed");
  }
  return Shape(geometry);
}

Shape collection(GEOSGeomTypes type, std::vector<Shape> shapes) {
  std::vector<GEOSGeometry*> members;
  for (Shape& shape : shapes) {
    members.push_back(shape.release());
  }
  return checked(GEOSGeom_createCollection_r(engine(), type, members.data(),
                                             static_cast<unsigned>(members.size())));
}

GEOSCoordSequence* sequence(const Points& points, bool closed) {
  const size_t count = points.size() + (closed ? 1 : 0);
  GEOSCoordSequence* const coordinates =
      GEOSCoordSeq_create_r(engine(), static_cast<unsigned>(count), 2);
  for (size_t i = 0; i < count; ++i) {
    const gm_point point = points[i % points.size()];
    GEOSCoordSeq_setXY_r(engine(), coordinates, static_cast<unsigned>(i), point.x, point.y);
  }
  return coordinates;
}

Shape border(const Points& points) {
  return checked(GEOSGeom_createLineString_r(engine(), sequence(points, true)));
}

// Whether a ray to the right crosses the border an odd number of times; not exact on the border.
bool hasOddParity(double x, double y, const Points& polygon) {
  bool odd = false;
  for (size_t i = 0; i < polygon.size(); ++i) {
    const gm_point a = polygon[i];
    const gm_point b = polygon[(i + 1) % polygon.size()];
    if ((a.y > y) == (b.y > y)) {
      continue;
    }
    if (a.x + (y - a.y) * (b.x - a.x) / (b.y - a.y) > x) {
      odd = !odd;
    }
  }
  return odd;
}

Shape unionOf(std::vector<Shape> areas) {
  return checked(
      GEOSUnaryUnionPrec_r(engine(), collection(GEOS_MULTIPOLYGON, std::move(areas)).get(), SNAP));
}

Shape simplePolygon(const Points& points) {
  GEOSGeometry* const ring = GEOSGeom_createLinearRing_r(engine(), sequence(points, true));
  return checked(GEOSGeom_createPolygon_r(engine(), ring, nullptr, 0));
}

}  // namespace

void Destroy::operator()(GEOSGeometry* geometry) const {
  GEOSGeom_destroy_r(engine(), geometry);
}

Shape areaWhere(const Points& a, const Points& b, const std::function<bool(bool, bool)>& keeps) {
  std::vector<Shape> borders;
  if (!a.empty()) {
    borders.push_back(border(a));
  }
  if (!b.empty()) {
    borders.push_back(border(b));
  }
  const Shape edges = checked(GEOSUnaryUnionPrec_r(
      engine(), collection(GEOS_MULTILINESTRING, std::move(borders)).get(), SNAP));
  const GEOSGeometry* const lines[] = {edges.get()};
  const Shape faces = checked(GEOSPolygonize_r(engine(), lines, 1));

  std::vector<Shape> kept;
  const int count = GEOSGetNumGeometries_r(engine(), faces.get());
  for (int i = 0; i < count; ++i) {
    const GEOSGeometry* const face = GEOSGetGeometryN_r(engine(), faces.get(), i);
    const Shape middle = checked(GEOSPointOnSurface_r(engine(), face));
    double x = 0;
    double y = 0;
    GEOSGeomGetX_r(engine(), middle.get(), &x);
    GEOSGeomGetY_r(engine(), middle.get(), &y);
    if (!keeps(hasOddParity(x, y, a), hasOddParity(x, y, b))) {
      continue;
    }
    kept.push_back(checked(GEOSGeom_clone_r(engine(), face)));
  }
  return unionOf(std::move(kept));
}

Shape polygon(const Points& points) {
  std::vector<Shape> parts;
  parts.push_back(border(points));
  parts.push_back(areaWhere(points, {}, [](bool inside, bool) { return inside; }));
  return collection(GEOS_GEOMETRYCOLLECTION, std::move(parts));
}

Shape line(const Points& points) {
  if (points.size() > 1) {
    return checked(GEOSGeom_createLineString_r(engine(), sequence(points, false)));
  }
  return checked(GEOSGeom_createPoint_r(engine(), sequence(points, false)));
}

Shape together(const std::vector<Points>& outlines) {
  std::vector<Shape> areas;
  for (const Points& outline : outlines) {
    areas.push_back(simplePolygon(outline));
  }
  return unionOf(std::move(areas));
}

double wrongArea(const Shape& expected, const std::vector<Points>& found, double width) {
  const Shape wrong =
      checked(GEOSSymDifferencePrec_r(engine(), expected.get(), together(found).get(), SNAP));
  return area(checked(GEOSBuffer_r(engine(), wrong.get(), -width / 2, 4)));
}

bool isSimple(const Points& outline) {
  return GEOSisValid_r(engine(), simplePolygon(outline).get()) == 1;
}

double area(const Shape& shape) {
  double result = NAN;
  GEOSArea_r(engine(), shape.get(), &result);
  return result;
}

double length(const Shape& shape) {
  double result = NAN;
  GEOSLength_r(engine(), shape.get(), &result);
  return result;
}

double distance(const Shape& a, const Shape& b) {
  double result = NAN;
  GEOSDistance_r(engine(), a.get(), b.get(), &result);
  return result;
}

}  // namespace judge
