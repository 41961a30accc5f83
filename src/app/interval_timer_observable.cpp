#include "app/interval_timer_observable.h"

#include <glib.h>
#include <syslog.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "app/clock.h"

namespace {

using Observers = std::vector<std::unique_ptr<IntervalTimerObserverData>>;

// Guards all below but the sweep over observers, which only the service's thread changes.
std::recursive_mutex s_mutex;
std::atomic<bool> s_running{false};
std::int32_t s_tick = 0;
GThread* s_thread = nullptr;
Observers s_observers;
Observers s_pendingAdd;
std::vector<std::int32_t> s_pendingRemove;
std::atomic<std::int32_t> s_nextId{0};

void applyPendingChanges() {
  const std::lock_guard lock(s_mutex);
  std::erase_if(s_observers, [](const auto& observer) {
    return std::ranges::find(s_pendingRemove, observer->getId()) != s_pendingRemove.end();
  });
  s_pendingRemove.clear();
  std::ranges::move(s_pendingAdd, std::back_inserter(s_observers));
  s_pendingAdd.clear();
}

void notifyDueObservers() {
  const std::int64_t now = utils::monotonicTime();
  for (const auto& observer : s_observers) {
    if (observer->isDue(now)) {
      observer->notify();
    }
  }
}

gpointer run(gpointer) {
  while (s_running) {
    applyPendingChanges();
    // Without the lock: an id handed out in between may be handed out twice.
    s_nextId = s_observers.empty() ? 0 : s_observers.back()->getId() + 1;
    notifyDueObservers();
    utils::sleep(s_tick);
  }
  return nullptr;
}

}  // namespace

void IntervalTimerObservable::initialize(int tickMicroseconds) {
  const std::lock_guard lock(s_mutex);
  if (s_running) {
    syslog(LOG_WARNING, "Cannot initialize the IntervalTimerObservable twice\n");
    return;
  }
  s_running = true;
  s_tick = tickMicroseconds;
  s_thread = g_thread_new(nullptr, run, nullptr);
}

std::int32_t IntervalTimerObservable::registerObserver(IntervalTimerObserverData::Callback callback,
                                                       std::int64_t periodMicroseconds) {
  if (!s_running) {
    syslog(LOG_WARNING,
           "Cannot register an observer if the IntervalTimerObservable is not running\n");
    return -1;
  }
  const std::lock_guard lock(s_mutex);
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
  const std::lock_guard lock(s_mutex);
  s_pendingRemove.push_back(id);
}

void IntervalTimerObservable::deinitialize() {
  {
    const std::lock_guard lock(s_mutex);
    if (!s_running) {
      syslog(LOG_WARNING,
             "Cannot deinitialize the IntervalTimerObservable if it has not been initialized\n");
      return;
    }
    s_running = false;
  }
  g_thread_join(s_thread);
  const std::lock_guard lock(s_mutex);
  s_thread = nullptr;
  s_observers.clear();
  s_pendingAdd.clear();
  s_pendingRemove.clear();
}
