// Units of time and of angles. All times are microseconds of the monotonic clock, all angles
// degrees, unless their names say otherwise.
#ifndef BASE_UNITS_H
#define BASE_UNITS_H

#include <cmath>
#include <cstdint>
#include <numbers>

namespace units {

inline constexpr std::int64_t MICROSECONDS_PER_MILLISECOND = 1000;
inline constexpr std::int64_t MICROSECONDS_PER_SECOND = 1000000;
inline constexpr std::int64_t MILLISECONDS_PER_SECOND = 1000;

// A span of microseconds in seconds, and seconds in whole microseconds.
constexpr double toSeconds(std::int64_t microseconds) {
  return static_cast<double>(microseconds) / static_cast<double>(MICROSECONDS_PER_SECOND);
}
constexpr std::int64_t fromSeconds(std::int64_t seconds) {
  return seconds * MICROSECONDS_PER_SECOND;
}

// Any number of seconds in microseconds: the nearest, and the nearest towards 0.
inline std::int64_t roundedFromSeconds(double seconds) {
  return std::llround(seconds * static_cast<double>(MICROSECONDS_PER_SECOND));
}
constexpr std::int64_t truncatedFromSeconds(double seconds) {
  return static_cast<std::int64_t>(seconds * static_cast<double>(MICROSECONDS_PER_SECOND));
}

inline constexpr double FULL_TURN = 360.0;
inline constexpr double HALF_TURN = 180.0;

inline constexpr double RADIANS_PER_DEGREE = std::numbers::pi / HALF_TURN;
inline constexpr double DEGREES_PER_RADIAN = HALF_TURN / std::numbers::pi;

constexpr double toRadians(double degrees) {
  return degrees * RADIANS_PER_DEGREE;
}
constexpr double toDegrees(double radians) {
  return radians * DEGREES_PER_RADIAN;
}

// A difference of bearings the short way round: from -180 to 180 degrees. Of any finite number.
inline double wrapped(double degrees) {
  return std::remainder(degrees, FULL_TURN);
}

// A bearing as one of [-180, 180).
inline double normalized(double degrees) {
  return degrees - FULL_TURN * std::floor((degrees + HALF_TURN) / FULL_TURN);
}

}  // namespace units

#endif
