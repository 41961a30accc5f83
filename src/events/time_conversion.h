#ifndef EVENTS_TIME_CONVERSION_H
#define EVENTS_TIME_CONVERSION_H

#include <cstdint>

// Between the monotonic clock of the daemon and the wall-clock time of events, both in
// microseconds, by the difference of both clocks at the moment of the call.
namespace utils {

std::int64_t convertMonotonicToUTC_Time(std::int64_t monotonic);
std::int64_t convertUTC_ToMonotonicTime(std::int64_t utc);

// Wall-clock time now.
std::int64_t utcTime();

}  // namespace utils

#endif
