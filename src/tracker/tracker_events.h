#ifndef TRACKER_TRACKER_EVENTS_H
#define TRACKER_TRACKER_EVENTS_H

#include <ovevent.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

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
  // All with the mutex held.
  bool declareMissing();
  bool declareState();
  bool declareIsSentreling();
  void tellState();
  void tellIsSentreling();

  // On the main loop's thread. Whether nothing is missing any more.
  bool declareUntilAllIsThere();

  std::mutex mutex;  // keeps what is remembered and what is sent the same; guards all but the flag
  bool isInUse = false;
  OVEventHandler* eventHandler = nullptr;
  std::uint32_t stateEventId = 0;  // 0: not declared
  std::uint32_t isSentrelingEventId = 0;
  std::optional<std::string> lastState;  // empty before the first event
  bool wasSentrelingSent = false;
  std::atomic<bool> sentrelingActive{false};

  MainLoopRetry retry{[this] { return declareUntilAllIsThere(); }};
};

#endif
