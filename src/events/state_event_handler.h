#ifndef EVENTS_STATE_EVENT_HANDLER_H
#define EVENTS_STATE_EVENT_HANDLER_H

#include <cstdint>
#include <string>

#include "app/timer.h"
#include "events/state_event_producer_i.h"

// What handleAlarm did.
enum class StateEventResult_e : std::int32_t { started = 0, ended = 1, nothing = 2 };

// Turns one profile's alarm flags, one per frame, into a start event and an end event: the alarm is
// held until the duration has passed since the last frame with an alarm. Times are monotonic
// microseconds. Not thread-safe: the guard's lock covers it.
class StateEventHandler {
 public:
  // Registers the profile's event with the producer, which must outlive the handler. A negative
  // duration counts as 0.
  StateEventHandler(std::int32_t camera, std::int32_t uid, const std::string& appName,
                    const std::string& name, std::int64_t eventDuration,
                    StateEventProducerI& producer);
  StateEventHandler(const StateEventHandler&) = delete;
  StateEventHandler& operator=(const StateEventHandler&) = delete;

  // Ends an ongoing event and unregisters it.
  ~StateEventHandler();

  StateEventResult_e handleAlarm(bool alarm, std::int64_t time);

  bool isOngoing() const { return ongoing; }

  // The profile's uid.
  std::int32_t getId() const { return handle.id; }

  // The event is ongoing and its hold time is over.
  bool hasReachedEnd(std::int64_t time) const;

  // Ends an ongoing event at once.
  void stopAllEvents(std::int64_t time);

 private:
  StateEventProducerHandle handle;
  bool ongoing = false;
  Timer timer;
  StateEventProducerI& producer;
};

#endif
