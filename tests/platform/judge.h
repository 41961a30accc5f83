// The judge over clips and touching: the geometry engine GEOS, in floating point. Areas are put
// together from the faces that all edges form, each face counted in or out by its parity, so that
// outlines that cross or repeat themselves are judged by the even-odd rule as well.
#ifndef TESTS_PLATFORM_JUDGE_H
#define TESTS_PLATFORM_JUDGE_H

#include <geos_c.h>

#include <functional>
#include <memory>
#include <vector>

#include "platform/polygons.h"

namespace judge {

struct Destroy {
  void operator()(GEOSGeometry* geometry) const;
};

using Shape = std::unique_ptr<GEOSGeometry, Destroy>;

// The area in which keeps(is inside a, is inside b) holds.
Shape areaWhere(const polygons::Points& a, const polygons::Points& b,
                const std::function<bool(bool, bool)>& keeps);

// The area and the border of a polygon. May be without area.
Shape polygon(const polygons::Points& points);
Shape line(const polygons::Points& points);

// The union of simple outlines.
Shape together(const std::vector<polygons::Points>& outlines);

// How much area is in the expected shape or in the outlines, but not in both, not counting what is
// narrower than the width.
double wrongArea(const Shape& expected, const std::vector<polygons::Points>& found, double width);

bool isSimple(const polygons::Points& outline);
double area(const Shape& shape);
// Of all borders.
double length(const Shape& shape);
double distance(const Shape& a, const Shape& b);

}  // namespace judge

#endif
