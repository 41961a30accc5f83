#include "world/walk.h"

#include <algorithm>
#include <cmath>

namespace device {
namespace {

constexpr double ROW_INTERVAL = 0.4;  // seconds

}  // namespace

Walk::Walk(double start, const GroundPoint& place) : points{{start, place}} {}

Walk& Walk::to(const GroundPoint& place, double speed) {
  const GroundPoint from = points.back().position;
  moveOn(place, std::hypot(place.x - from.x, place.y - from.y) / speed);
  return *this;
}

Walk& Walk::stand(double seconds) {
  moveOn(points.back().position, seconds);
  return *this;
}

void Walk::moveOn(GroundPoint place, double seconds) {
  const TrackPoint from = points.back();
  const int rows = std::max(1, static_cast<int>(std::ceil(seconds / ROW_INTERVAL)));
  for (int row = 1; row <= rows && seconds > 0; ++row) {
    const double share = static_cast<double>(row) / rows;
    points.push_back(
        {from.time + share * seconds,
         {std::lerp(from.position.x, place.x, share), std::lerp(from.position.y, place.y, share)}});
  }
}

}  // namespace device
