#ifndef TRACKER_TRACKER_EVENTS_H
#define TRACKER_TRACKER_EVENTS_H

#include <ovevent.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "app/lock_order.h"
#include "base/mutex.h"
#include "events/main_loop_retry.h"

// The tracker's two stateful events: its state, and whether it is steering the head. Failures are
// logged. What could not be declared is tried again with the next event, and every second until it
// is; the values sent last are then told. Any thread, between
// declareEvents and undeclareEvents.
class TrackerEvents {
 public:
  void declareEvents();
  void undeclareEvents();

  void sendStateEvent(const std::string& state);

  // Also remembers the value.
  void sendIsSentrelingEvent(bool active);

  // The value sent last.
  bool isSentrelingActive() const { return sentrelingActive; }

 private:
  bool declareMissing() REQUIRES(mutex);
  bool declareState() REQUIRES(mutex);
  bool declareIsSentreling() REQUIRES(mutex);
  void tellState() REQUIRES(mutex);
  void tellIsSentreling() REQUIRES(mutex);

  // On the main loop's thread. Whether nothing is missing any more.
  bool declareUntilAllIsThere();

  // Keeps what is remembered and what is sent the same.
  Mutex mutex ACQUIRED_AFTER(lock_order::RETRY) ACQUIRED_BEFORE(lock_order::EVENTS);
  bool isInUse GUARDED_BY(mutex) = false;
  OVEventHandler* eventHandler GUARDED_BY(mutex) = nullptr;
  std::uint32_t stateEventId GUARDED_BY(mutex) = 0;  // 0: not declared
  std::uint32_t isSentrelingEventId GUARDED_BY(mutex) = 0;
  std::optional<std::string> lastState GUARDED_BY(mutex);  // empty before the first event
  bool wasSentrelingSent GUARDED_BY(mutex) = false;
  std::atomic<bool> sentrelingActive{false};

  MainLoopRetry retry{[this] { return declareUntilAllIsThere(); }};
};

#endif
