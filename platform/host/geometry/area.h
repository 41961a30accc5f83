#ifndef PLATFORM_HOST_GEOMETRY_AREA_H
#define PLATFORM_HOST_GEOMETRY_AREA_H

#include <clipper.hpp>

namespace geometry {

// The size of the area that the operation leaves of both sets of outlines, even-odd filled, in
// floating point. Made of horizontal bands between all vertices and crossings, in which every edge
// is straight, so that it shares nothing with the clipping that it checks.
double measureArea(ClipperLib::ClipType operation, const ClipperLib::Paths& subject,
                   const ClipperLib::Paths& clip);

// The length of all outlines.
double measureLength(const ClipperLib::Paths& outlines);

}  // namespace geometry

#endif
