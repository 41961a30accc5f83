#ifndef EVENTS_STATE_EVENT_FAN_OUT_H
#define EVENTS_STATE_EVENT_FAN_OUT_H

#include "events/onvif_state_event_producer.h"
#include "events/state_event_producer.h"
#include "events/state_event_producer_i.h"

// Hands every alarm to all producers of the application: the profile and aggregate events, and the
// ONVIF motion alarm.
class StateEventFanOut : public StateEventProducerI {
 public:
  explicit StateEventFanOut(int cameraCount);

  // The application's one producer, for the number of cameras that the device has at the first
  // call; not before sdk_wrapper_init.
  static StateEventFanOut& getInstance();

  // The handle is that of the profile event.
  StateEventProducerHandle registerEvent(std::int32_t camera, const std::string& name,
                                         const std::string& niceName) override;
  void unregisterEvent(const StateEventProducerHandle& handle) override;
  void sendStartEvent(const StateEventProducerHandle& handle, std::int64_t time) override;
  void sendEndEvent(const StateEventProducerHandle& handle, std::int64_t time) override;
  void sendEndEvent(const StateEventProducerHandle& handle) override;

 private:
  StateEventProducer profileEvents;
  ONVIF_StateEventProducer motionAlarms;
};

#endif
