#ifndef EVENTS_DUMMY_EVENT_PRODUCER_H
#define EVENTS_DUMMY_EVENT_PRODUCER_H

#include "events/state_event_producer_i.h"

// Does nothing: for guards that must not send events.
// Only for other applications of these classes.
class DummyEventProducer : public StateEventProducerI {
 public:
  // Counted: each getInstance needs a releaseInstance; the last one destroys the producer. Any
  // thread.
  static DummyEventProducer& getInstance();
  static void releaseInstance();

  StateEventProducerHandle registerEvent(std::int32_t camera, const std::string& name,
                                         const std::string& niceName) override;
  void unregisterEvent(const StateEventProducerHandle& handle) override;
  void sendStartEvent(const StateEventProducerHandle& handle, std::int64_t time) override;
  void sendEndEvent(const StateEventProducerHandle& handle, std::int64_t time) override;
  void sendEndEvent(const StateEventProducerHandle& handle) override;
};

#endif
