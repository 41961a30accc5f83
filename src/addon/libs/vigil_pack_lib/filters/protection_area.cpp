#include "addon/libs/vigil_pack_lib/filters/protection_area.h"

#include <algorithm>
#include <array>
#include <utility>

#include "geometry/polygon_container.h"

namespace {

// More than a person's outline has in common with an area.
constexpr std::size_t MAX_COMMON_POINTS = 64;

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

ProtectionArea::ProtectionArea(const Polygon& includeArea)
    : includeArea(includeArea), preparedIncludeArea(includeArea) {}

void ProtectionArea::addExcludeArea(const Polygon& excludeArea) {
  excludeAreas.push_back({excludeArea, PreparedArea(excludeArea)});
}

AreaStatus_e ProtectionArea::checkObject(const TrackingObject& object) const {
  return checkOutline(object.getPolygon());
}

AreaStatus_e ProtectionArea::checkOutline(const Polygon& outline) const {
  if (const auto status = checkQuickly(outline)) {
    return *status;
  }
  return checkPieces(outline);
}

// Each answer follows from the areas as they are drawn, so that it is the one that clipping without
// any rounding would give.
std::optional<AreaStatus_e> ProtectionArea::checkQuickly(const Polygon& outline) const {
  using Relation = PreparedArea::Relation_e;
  const Relation relation = preparedIncludeArea.relate(outline);
  if (relation == Relation::apart) {
    return AreaStatus_e::outside;
  }
  bool isClear = true;  // of exclude areas
  bool hasNotch = false;
  bool isCovered = false;
  for (const ExcludeArea& area : excludeAreas) {
    const Relation toExcludeArea = area.prepared.relate(outline);
    isClear &= toExcludeArea == Relation::apart;
    isCovered |= toExcludeArea == Relation::within;
    hasNotch |= toExcludeArea == Relation::unsure && !area.prepared.isConvex();
  }
  if (!isCovered) {
    if (isPartlyFree(outline.getVertices(), relation == Relation::within, isClear, !hasNotch)) {
      return AreaStatus_e::inside;
    }
    isCovered = !isClear && isCoveredByOneExcludeArea(outline);
  }
  if (!isCovered) {
    return std::nullopt;
  }
  return relation == Relation::within || includeArea.doesIntersect(outline) ? AreaStatus_e::excluded
                                                                            : AreaStatus_e::outside;
}

// Whether one of the exclude areas certainly holds all that the outline and the include area have
// in common.
bool ProtectionArea::isCoveredByOneExcludeArea(const Polygon& outline) const {
  std::array<Point, MAX_COMMON_POINTS> buffer;
  const std::size_t count = preparedIncludeArea.collectCommonPoints(outline, buffer);
  const std::span<const Point> points = std::span(buffer).first(count);
  return std::ranges::any_of(
      excludeAreas, [&](const ExcludeArea& area) { return area.prepared.covers(outline, points); });
}

bool ProtectionArea::isPartlyFree(std::span<const Point> outline, bool isWithin, bool isClear,
                                  bool areEdgesTold) const {
  if (isWithin && isClear) {
    return PreparedArea::hasArea(outline);
  }
  return hasFreeCorner(outline, isWithin) || (areEdgesTold && hasFreeEdge(outline, isWithin));
}

// A corner of the outline that lies clearly inside the include area and clearly outside every
// exclude area: some of the outline's area around it does so, too. Those that lie far from each
// other come first, as neighbours mostly lie on the same side of a border.
bool ProtectionArea::hasFreeCorner(std::span<const Point> outline, bool isWithin) const {
  const std::size_t quarter = outline.size() / 4;
  const auto isFreeCorner = [&](std::size_t i) {
    return isFree(outline[i], isWithin) && PreparedArea::isCorner(outline, i);
  };
  for (std::size_t i = 0; i < 4 * quarter; i += quarter) {
    if (isFreeCorner(i)) {
      return true;
    }
  }
  for (std::size_t i = 0; i < outline.size(); ++i) {
    if (isFreeCorner(i)) {
      return true;
    }
  }
  return false;
}

// The same for the middle of an edge, which has the outline's area to one of its sides. But a piece
// that reaches across a notch of an exclude area is taken for covered when its vertices are.
bool ProtectionArea::hasFreeEdge(std::span<const Point> outline, bool isWithin) const {
  const auto middle = [](int a, int b) { return static_cast<std::int16_t>((a + b) / 2); };
  for (std::size_t i = 0; i < outline.size(); ++i) {
    const Point& from = outline[i];
    const Point& to = outline[i + 1 < outline.size() ? i + 1 : 0];
    if (isFree({middle(from.x, to.x), middle(from.y, to.y)}, isWithin) &&
        PreparedArea::isBorder(outline, i)) {
      return true;
    }
  }
  return false;
}

bool ProtectionArea::isFree(const Point& p, bool isWithin) const {
  using Place = PreparedArea::Place_e;
  return (isWithin || preparedIncludeArea.locate(p) == Place::inside) &&
         std::ranges::all_of(excludeAreas, [&p](const ExcludeArea& area) {
           return area.prepared.locate(p) == Place::outside;
         });
}

AreaStatus_e ProtectionArea::checkPieces(const Polygon& outline) const {
  if (!includeArea.doesIntersect(outline)) {
    return AreaStatus_e::outside;
  }
  PolygonContainer pieces;
  includeArea.intersect(outline, pieces);
  const bool isInside =
      std::ranges::any_of(pieces, [this](const auto& piece) { return !isExcluded(*piece); });
  return isInside ? AreaStatus_e::inside : AreaStatus_e::excluded;
}

bool ProtectionArea::isExcluded(const Polygon& piece) const {
  PolygonContainer remaining;
  remaining.insert(piece.clone());
  for (const ExcludeArea& area : excludeAreas) {
    remaining = cutOffPieces(remaining, area.polygon);
  }
  return remaining.empty();
}

std::string ProtectionArea::toStringSvg(const std::string& style) const {
  return includeArea.toStringSvg(style, "includeArea");
}
