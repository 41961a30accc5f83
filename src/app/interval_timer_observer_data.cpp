#include "app/interval_timer_observer_data.h"

#include <utility>

#include "app/clock.h"

IntervalTimerObserverData::IntervalTimerObserverData(std::int32_t id, std::int64_t period,
                                                     Callback callback)
    : id(id),
      period(period),
      nextNotification(utils::monotonicTime() + period),
      callback(std::move(callback)) {}

std::int64_t IntervalTimerObserverData::updateNotificationTime() {
  nextNotification = utils::monotonicTime() + period;
  return nextNotification;
}

void IntervalTimerObserverData::notify() {
  callback(id);
  updateNotificationTime();
}
