#ifndef EVENTS_STATE_EVENT_PRODUCER_I_H
#define EVENTS_STATE_EVENT_PRODUCER_I_H

#include <cstdint>
#include <string>

// One registered alarm event.
struct StateEventProducerHandle {
  std::string lookupKey;
  std::int32_t camera = 0;
  std::int32_t id = 0;  // the profile's uid
};

// Declares, sends and removes the alarm events of profiles. Times are monotonic microseconds. Any
// thread; failures are logged.
class StateEventProducerI {
 public:
  virtual ~StateEventProducerI() = default;
  virtual StateEventProducerHandle registerEvent(std::int32_t camera, const std::string& name,
                                                 const std::string& niceName) = 0;
  virtual void unregisterEvent(const StateEventProducerHandle& handle) = 0;
  virtual void sendStartEvent(const StateEventProducerHandle& handle, std::int64_t time) = 0;
  virtual void sendEndEvent(const StateEventProducerHandle& handle, std::int64_t time) = 0;
  virtual void sendEndEvent(const StateEventProducerHandle& handle) = 0;
};

#endif
