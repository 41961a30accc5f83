#ifndef APP_TIMER_H
#define APP_TIMER_H

#include <cstdint>

// A passive deadline on a clock that the caller reads: all times are in the caller's unit.
// Not thread-safe.
class Timer {
 public:
  // Stopped at first.
  explicit Timer(std::int64_t duration);

  // Starts counting at now, only if not running already.
  // Only for deadlines that a second start must not put off; the daemon has none.
  void start(std::int64_t now);

  // Starts counting at now in any case.
  void restart(std::int64_t now);

  void stop();

  // Running, and strictly more than the duration has passed since the start.
  bool reachedEnd(std::int64_t now) const;

 private:
  bool running = false;
  std::int64_t startTime = 0;
  std::int64_t duration;
};

#endif
