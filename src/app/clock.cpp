#include "app/clock.h"

#include <glib.h>

#include <atomic>

namespace {

class MachineClock final : public Clock {
 public:
  std::int64_t now() const override { return g_get_monotonic_time(); }
  void sleep(std::int64_t microseconds) override { g_usleep(static_cast<gulong>(microseconds)); }
};

MachineClock s_machineClock;
std::atomic<Clock*> s_clock{&s_machineClock};

}  // namespace

void Clock::replace(Clock* clock) {
  s_clock = clock != nullptr ? clock : static_cast<Clock*>(&s_machineClock);
}

namespace utils {

std::int64_t monotonicTime() {
  return s_clock.load()->now();
}

void sleep(std::int64_t microseconds) {
  s_clock.load()->sleep(microseconds);
}

}  // namespace utils
