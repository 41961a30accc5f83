#ifndef APP_INTERVAL_TIMER_OBSERVER_DATA_H
#define APP_INTERVAL_TIMER_OBSERVER_DATA_H

#include <cstdint>
#include <functional>

// One observer of the interval timer: what to call and when it is next due.
class IntervalTimerObserverData {
 public:
  // Called with the observer's id.
  using Callback = std::function<void(std::int32_t)>;

  // period in microseconds; first due one period from now.
  IntervalTimerObserverData(std::int32_t id, std::int64_t period, Callback callback);
  virtual ~IntervalTimerObserverData() = default;

  std::int32_t getId() const { return id; }
  bool isDue(std::int64_t now) const { return nextNotification <= now; }

  // Due one period from now; returns that time (monotonic microseconds).
  std::int64_t updateNotificationTime();

  // Calls back, then counts the next period from the end of the callback: periods drift by the
  // callback's run time, so that a slow callback is not called again at once.
  void notify();

 private:
  std::int32_t id;
  std::int64_t period;
  std::int64_t nextNotification;
  Callback callback;
};

#endif
