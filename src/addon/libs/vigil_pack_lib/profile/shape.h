#ifndef ADDON_LIBS_VIGIL_PACK_LIB_PROFILE_SHAPE_H
#define ADDON_LIBS_VIGIL_PACK_LIB_PROFILE_SHAPE_H

#include <jansson.h>

#include <cstdint>
#include <vector>

#include "base/json_auto_ptr.h"
#include "config/data_boundaries.h"
#include "config/default_values.h"
#include "geometry/point.h"
#include "geometry/polygon.h"

// What is drawn into the picture: areas and fences. Documents hold coordinates from -1.0 to 1.0.

bool isInPicture(double coordinate);

// In Q12, rounded half away from zero; for coordinates in the picture.
std::int16_t toSceneValue(double coordinate);

// The vertices of an area ([[x, y], ...]). Throws StatusException.
Polygon createPolygon(const json_t* vertices, const DataBoundaries& boundaries);

// The points of a line, the same.
std::vector<Point> createPolyline(const json_t* vertices, const DataBoundaries& boundaries);

// How many of a kind a profile may hold, and how many a new one gets in an editor.
struct ShapeCount {
  std::int32_t min;
  std::int32_t max;
  std::int32_t defaultInstance;
};

// What an entry of that type may hold. Null when memory runs out.
JsonAutoPtr packShape(const char* type, const ShapeCount& count, const DataBoundaries& boundaries,
                      JsonAutoPtr defaultPoints);

// Its four corners.
JsonAutoPtr packRectangle(const DefaultRectangle& r);

#endif
