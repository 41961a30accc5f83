#ifndef TRACKER_TRACKER_EVENTS_H
#define TRACKER_TRACKER_EVENTS_H

#include <ovevent.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

// The tracker's two stateful events: its state, and whether it is steering the head. Failures are
// logged. Any thread, between declareEvents and undeclareEvents.
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
  OVEventHandler* eventHandler = nullptr;
  std::uint32_t stateEventId = 0;
  std::uint32_t isSentrelingEventId = 0;
  std::mutex sentrelingMutex;  // keeps what is remembered and what is sent the same
  std::atomic<bool> sentrelingActive{false};
};

#endif
