// Between the units at the doors of this folder (microseconds, degrees) and those inside (seconds,
// radians). Pure arithmetic.
#ifndef FOLLOWING_UNITS_H
#define FOLLOWING_UNITS_H

#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>

namespace following {

constexpr double MICROSECONDS = 1e6;  // in a second

// Seconds from one time to another, both monotonic microseconds. Any two times may be given.
constexpr double secondsBetween(std::int64_t from, std::int64_t to) {
  return (static_cast<double>(to) - static_cast<double>(from)) / MICROSECONDS;
}

// The time so many seconds later, which must be finite and less than a million; the last time there
// is, if it were beyond.
inline std::int64_t later(std::int64_t time, double seconds) {
  constexpr std::int64_t FIRST = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t LAST = std::numeric_limits<std::int64_t>::max();
  const std::int64_t step = std::llround(seconds * MICROSECONDS);
  if (step >= 0) {
    return time > LAST - step ? LAST : time + step;
  }
  return time < FIRST - step ? FIRST : time + step;
}

constexpr double radians(double degrees) {
  return degrees * (std::numbers::pi / 180.0);
}

constexpr double degrees(double radians) {
  return radians * (180.0 / std::numbers::pi);
}

// A difference of bearings the short way round: from -180 to 180 degrees. Of any finite number.
inline double wrapped(double degrees) {
  return std::remainder(degrees, 360.0);
}

constexpr double squared(double value) {
  return value * value;
}

}  // namespace following

#endif
