// Units of time. All times are microseconds of the monotonic clock unless their names say
// otherwise.
#ifndef BASE_UNITS_H
#define BASE_UNITS_H

#include <cstdint>

namespace units {

inline constexpr std::int64_t MICROSECONDS_PER_MILLISECOND = 1000;
inline constexpr std::int64_t MICROSECONDS_PER_SECOND = 1000000;

// A span of microseconds in seconds, and seconds in whole microseconds.
constexpr double toSeconds(std::int64_t microseconds) {
  return static_cast<double>(microseconds) / static_cast<double>(MICROSECONDS_PER_SECOND);
}
constexpr std::int64_t fromSeconds(std::int64_t seconds) {
  return seconds * MICROSECONDS_PER_SECOND;
}

}  // namespace units

#endif
