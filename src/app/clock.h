// The one door to the monotonic clock and to sleeping. Everything in the daemon reads time and
// sleeps through it, so that tests own time.
#ifndef APP_CLOCK_H
#define APP_CLOCK_H

#include <cstdint>

class Clock {
 public:
  virtual ~Clock() = default;

  // Monotonic time in microseconds.
  virtual std::int64_t now() const = 0;

  // Suspends the calling thread for a number of microseconds.
  virtual void sleep(std::int64_t microseconds) = 0;

  // Puts another clock in the place of the machine's; null brings the machine's back. The clock
  // must outlive its use. For tests, before the threads that read it start.
  static void replace(Clock* clock);
};

namespace utils {

// Monotonic time in microseconds; never 0 on a running machine. Any thread.
std::int64_t monotonicTime();

// Suspends the calling thread.
void sleep(std::int64_t microseconds);

}  // namespace utils

#endif
