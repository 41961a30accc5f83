#include "addon/libs/vigil_pack_lib/filters/protection_area.h"

#include <algorithm>
#include <utility>

#include "geometry/polygon_container.h"

namespace {

// What of the pieces lies outside the area.
PolygonContainer cutOffPieces(const PolygonContainer& pieces, const Polygon& area) {
  PolygonContainer remaining;
  for (const auto& piece : pieces) {
    if (area.isPolygonInside(*piece)) {
      continue;
    }
    if (area.doesIntersect(*piece)) {
      piece->cutOff(area, remaining);
    } else {
      remaining.insert(piece->clone());
    }
  }
  return remaining;
}

}  // namespace

ProtectionArea::ProtectionArea(const Polygon& includeArea) : includeArea(includeArea) {}

AreaStatus_e ProtectionArea::checkObject(const TrackingObject& object) const {
  if (!includeArea.doesIntersect(object.getPolygon())) {
    return AreaStatus_e::outside;
  }
  PolygonContainer pieces;
  includeArea.intersect(object.getPolygon(), pieces);
  const bool isInside =
      std::ranges::any_of(pieces, [this](const auto& piece) { return !isExcluded(*piece); });
  return isInside ? AreaStatus_e::inside : AreaStatus_e::excluded;
}

bool ProtectionArea::isExcluded(const Polygon& piece) const {
  PolygonContainer remaining;
  remaining.insert(piece.clone());
  for (const Polygon& area : excludeAreas) {
    remaining = cutOffPieces(remaining, area);
  }
  return remaining.empty();
}

std::string ProtectionArea::toStringSvg(const std::string& style) const {
  return includeArea.toStringSvg(style, "includeArea");
}
