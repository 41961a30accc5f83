#ifndef APP_INTERVAL_TIMER_OBSERVABLE_H
#define APP_INTERVAL_TIMER_OBSERVABLE_H

#include <cstdint>

#include "app/interval_timer_observer_data.h"

// The process-wide timer service: one thread that calls registered observers periodically, each
// with its own period, at the resolution of the service's tick.
//
// Registration and unregistration are queued and applied at the start of the thread's next pass,
// removals first; both may be called from any thread and from callbacks. Callbacks run on the
// service's thread without a lock held; one that blocks delays all others. An observer is called no
// earlier than one period after its registration. An id that is unregistered before the pass that
// activates it stays active. Ids are reused once the newest observers are gone, so a callback must
// tolerate an id that is not (or no longer) its own.
class IntervalTimerObservable {
 public:
  IntervalTimerObservable() = delete;

  // Starts the thread, which sleeps for the tick between passes. Misuse is logged and ignored here
  // and below.
  static void initialize(int tickMicroseconds);

  // Registers an observer and returns its id, or -1 when the service is not running.
  static std::int32_t registerObserver(IntervalTimerObserverData::Callback callback,
                                       std::int64_t periodMicroseconds);

  // Unregisters an observer; -1 is ignored.
  static void unregisterObserver(std::int32_t id);

  // Joins the thread and drops every observer without calling it. Not from a callback.
  static void deinitialize();
};

#endif
