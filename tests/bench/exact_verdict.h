// The verdict on where an object lies, in exact arithmetic: the judge over both the product and the
// steps that it follows, which round the corners of clipped pieces to the grid.
//
// All edges cut the plane into trapezoids between vertical lines through every end and crossing of
// edges; each is inside or outside every polygon by its parity. Crossings are kept as fractions.
#ifndef TESTS_BENCH_EXACT_VERDICT_H
#define TESTS_BENCH_EXACT_VERDICT_H

#include <vector>

#include "addon/libs/vigil_pack_lib/filters/protection_area.h"
#include "geometry/point.h"

namespace exact {

using Points = std::vector<Point>;

// Outside: the outline does not touch the include area, borders counted. Otherwise what they share
// falls into pieces. The exclude areas are taken in order: a piece whose corners all lie in the
// exclude area goes, of another the part outside stays. Inside when area is left, else excluded.
AreaStatus_e verdict(const Points& outline, const Points& include,
                     const std::vector<Points>& excludes);

}  // namespace exact

#endif
