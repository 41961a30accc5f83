#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_PROTECTION_AREA_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_PROTECTION_AREA_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "geometry/polygon.h"
#include "geometry/prepared_area.h"
#include "scene/tracking_object.h"

// Where an object lies.
enum class AreaStatus_e : std::int32_t {
  inside = 0,   // some of it inside the include area and outside every exclude area
  outside = 1,  // it does not touch the include area
  excluded = 2  // it touches the include area, but only where exclude areas lie, or without area
};

// A guard's include area with its exclude areas.
//
// Most objects lie wholly outside, wholly inside or with a vertex well inside what counts: that is
// told without clipping. The pieces are cut out only where it is not; there the geometry library's
// rounding decides.
class ProtectionArea {
 public:
  explicit ProtectionArea(const Polygon& includeArea);

  void addExcludeArea(const Polygon& excludeArea);

  AreaStatus_e checkObject(const TrackingObject& object) const;

  // The same for an outline whose bounding box is that of its vertices.
  AreaStatus_e checkOutline(const Polygon& outline) const;

  // Whether the exclude areas together cover the polygon wholly.
  bool isExcluded(const Polygon& piece) const;

  // The include area as an SVG element of the class "includeArea".
  std::string toStringSvg(const std::string& style) const;

 private:
  struct ExcludeArea {
    Polygon polygon;
    PreparedArea prepared;
  };

  std::optional<AreaStatus_e> checkQuickly(const Polygon& outline) const;
  bool isPartlyFree(std::span<const Point> outline, bool isWithin, bool isClear,
                    bool areEdgesTold) const;
  bool hasFreeCorner(std::span<const Point> outline, bool isWithin) const;
  bool hasFreeEdge(std::span<const Point> outline, bool isWithin) const;
  bool isFree(const Point& p, bool isWithin) const;
  bool isCoveredByOneExcludeArea(const Polygon& outline) const;
  AreaStatus_e checkPieces(const Polygon& outline) const;

  Polygon includeArea;
  PreparedArea preparedIncludeArea;
  std::vector<ExcludeArea> excludeAreas;
};

#endif
