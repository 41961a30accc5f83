#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_PROTECTION_AREA_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_PROTECTION_AREA_H

#include <cstdint>
#include <string>
#include <vector>

#include "geometry/polygon.h"
#include "scene/tracking_object.h"

// Where an object lies.
enum class AreaStatus_e : std::int32_t {
  inside = 0,   // some of it inside the include area and outside every exclude area
  outside = 1,  // it does not touch the include area
  excluded = 2  // it touches the include area, but only where exclude areas lie, or without area
};

// A guard's include area with its exclude areas.
class ProtectionArea {
 public:
  explicit ProtectionArea(const Polygon& includeArea);

  void addExcludeArea(const Polygon& excludeArea) { excludeAreas.push_back(excludeArea); }

  AreaStatus_e checkObject(const TrackingObject& object) const;

  // Whether the exclude areas together cover the polygon wholly.
  bool isExcluded(const Polygon& piece) const;

  // The include area as an SVG element of the class "includeArea".
  std::string toStringSvg(const std::string& style) const;

 private:
  Polygon includeArea;
  std::vector<Polygon> excludeAreas;
};

#endif
