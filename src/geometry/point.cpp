#include "geometry/point.h"

#include <syslog.h>

std::uint32_t Point::squareDistance(const Point& other) const {
  const std::int64_t dx = std::int64_t{x} - other.x;
  const std::int64_t dy = std::int64_t{y} - other.y;
  return static_cast<std::uint32_t>(dx * dx + dy * dy);
}

std::string Point::toString() const {
  return "(" + std::to_string(x) + ", " + std::to_string(y) + ")";
}

void Point::print() const {
  syslog(LOG_INFO, "%s\n", toString().c_str());
}
