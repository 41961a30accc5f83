#ifndef PLATFORM_HOST_GEOMETRY_CLIP_H
#define PLATFORM_HOST_GEOMETRY_CLIP_H

#include <vector>

#include "geometry/predicates.h"
#include "gm.h"

namespace geometry {

using Outline = std::vector<gm_point>;

// The area that the operation leaves of both polygons (even-odd filled), as simple outlines without
// holes whose vertices lie on the grid. Vertices are rounded to the nearest grid point; where that
// folds an outline it is clipped and rounded anew, so that seams between pieces may gape or overlap
// by about a step. Throws std::exception when the clipping fails.
std::vector<Outline> clip(Points subject, Points clip, gm_clip_e operation);

}  // namespace geometry

#endif
