#include "events/time_conversion.h"

#include <glib.h>

#include "app/clock.h"

namespace utils {

std::int64_t utcTime() {
  return g_get_real_time();
}

std::int64_t convertMonotonicToUTC_Time(std::int64_t monotonic) {
  return monotonic + (utcTime() - monotonicTime());
}

std::int64_t convertUTC_ToMonotonicTime(std::int64_t utc) {
  return utc - (utcTime() - monotonicTime());
}

}  // namespace utils
