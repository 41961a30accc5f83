// Between the units at the doors of this folder (microseconds, degrees) and those inside (seconds,
// radians). Pure arithmetic.
#ifndef FOLLOWING_UNITS_H
#define FOLLOWING_UNITS_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "base/units.h"

namespace following {

// Seconds from one time to another, both monotonic microseconds. Any two times may be given.
constexpr double secondsBetween(std::int64_t from, std::int64_t to) {
  return (static_cast<double>(to) - static_cast<double>(from)) /
         static_cast<double>(units::MICROSECONDS_PER_SECOND);
}

// A share of the full speed as heads take it: the nearest whole percent, at most 100 to each side.
inline int wholePercent(double percent) {
  return static_cast<int>(std::lround(std::clamp(percent, -100.0, 100.0)));
}

// The time so many seconds later, which must be finite and less than a million; the last time there
// is, if it were beyond.
inline std::int64_t later(std::int64_t time, double seconds) {
  constexpr std::int64_t FIRST = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t LAST = std::numeric_limits<std::int64_t>::max();
  const std::int64_t step = units::roundedFromSeconds(seconds);
  if (step >= 0) {
    return time > LAST - step ? LAST : time + step;
  }
  return time < FIRST - step ? FIRST : time + step;
}

constexpr double radians(double degrees) {
  return units::toRadians(degrees);
}

constexpr double degrees(double radians) {
  return units::toDegrees(radians);
}

using units::wrapped;

constexpr double squared(double value) {
  return value * value;
}

}  // namespace following

#endif
