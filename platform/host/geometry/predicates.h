// Exact predicates on grid points. Differences of 16-bit coordinates need 17 bits and their
// products 34, so that every expression below is exact in 64-bit integers. Free of state.
#ifndef PLATFORM_HOST_GEOMETRY_PREDICATES_H
#define PLATFORM_HOST_GEOMETRY_PREDICATES_H

#include <cstdint>
#include <span>

#include "gm.h"

namespace geometry {

// A polygon is closed by the edge from its last vertex to its first one, a polyline is not.
using Points = std::span<const gm_point>;

// Twice the signed area of the triangle a, b, c: positive when c lies to the left of the line from
// a to b, 0 when the three lie on one line.
int64_t cross(gm_point a, gm_point b, gm_point c);

// Whether the segments ab and cd share a point. A segment may be a single point.
bool segmentsTouch(gm_point a, gm_point b, gm_point c, gm_point d);

// Whether the point lies inside the polygon by the even-odd rule, or on its border.
bool isInside(gm_point point, Points polygon);

bool polygonsTouch(Points a, Points b);
bool polygonTouchesLine(Points polygon, Points line);
bool linesTouch(Points a, Points b);

// Whether no edge of the polygon meets an edge that is not its neighbour. Neighbours must not lie
// on one line.
bool isSimple(Points polygon);

}  // namespace geometry

#endif
