#include "app/interval_timer_observable.h"

#include <glib.h>
#include <syslog.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "app/clock.h"
#include "app/lock_order.h"
#include "base/mutex.h"

namespace {

using Observers = std::vector<std::unique_ptr<IntervalTimerObserverData>>;

RecursiveMutex s_mutex ACQUIRED_AFTER(lock_order::PLATFORM) ACQUIRED_BEFORE(lock_order::TIMER);
std::atomic<bool> s_running{false};
GThread* s_thread GUARDED_BY(s_mutex) = nullptr;
Observers s_pendingAdd GUARDED_BY(s_mutex);
std::vector<std::int32_t> s_pendingRemove GUARDED_BY(s_mutex);
std::atomic<std::int32_t> s_nextId{0};

void applyPendingChanges(Observers& observers) {
  const LockGuard lock(s_mutex);
  for (const std::int32_t id : s_pendingRemove) {
    std::erase_if(observers, [id](const auto& observer) { return observer->getId() == id; });
  }
  s_pendingRemove.clear();
  std::ranges::move(s_pendingAdd, std::back_inserter(observers));
  s_pendingAdd.clear();
}

void notifyDueObservers(const Observers& observers) {
  const std::int64_t now = utils::monotonicTime();
  for (const auto& observer : observers) {
    if (observer->isDue(now)) {
      observer->notify();
    }
  }
}

gpointer run(gpointer tick) {
  Observers observers;
  while (s_running) {
    applyPendingChanges(observers);
    // Without the lock: an id handed out in between may be handed out twice.
    s_nextId = observers.empty() ? 0 : observers.back()->getId() + 1;
    notifyDueObservers(observers);
    utils::sleep(GPOINTER_TO_INT(tick));
  }
  return nullptr;
}

}  // namespace

void IntervalTimerObservable::initialize(int tickMicroseconds) {
  const LockGuard lock(s_mutex);
  if (s_running) {
    syslog(LOG_WARNING, "Cannot initialize the IntervalTimerObservable twice\n");
    return;
  }
  s_running = true;
  s_thread = g_thread_new(nullptr, run, GINT_TO_POINTER(tickMicroseconds));
}

std::int32_t IntervalTimerObservable::registerObserver(IntervalTimerObserverData::Callback callback,
                                                       std::int64_t periodMicroseconds) {
  if (!s_running) {
    syslog(LOG_WARNING,
           "Cannot register an observer if the IntervalTimerObservable is not running\n");
    return -1;
  }
  const LockGuard lock(s_mutex);
  const std::int32_t id = s_nextId++;
  s_pendingAdd.push_back(
      std::make_unique<IntervalTimerObserverData>(id, periodMicroseconds, std::move(callback)));
  return id;
}

void IntervalTimerObservable::unregisterObserver(std::int32_t id) {
  if (id == -1) {
    return;
  }
  if (!s_running) {
    syslog(LOG_WARNING,
           "Cannot unregister an observer if the IntervalTimerObservable is not running\n");
    return;
  }
  const LockGuard lock(s_mutex);
  s_pendingRemove.push_back(id);
}

void IntervalTimerObservable::deinitialize() {
  GThread* thread = nullptr;
  {
    const LockGuard lock(s_mutex);
    if (!s_running) {
      syslog(LOG_WARNING,
             "Cannot deinitialize the IntervalTimerObservable if it has not been initialized\n");
      return;
    }
    s_running = false;
    thread = std::exchange(s_thread, nullptr);
  }
  g_thread_join(thread);
  const LockGuard lock(s_mutex);
  s_pendingAdd.clear();
  s_pendingRemove.clear();
}
