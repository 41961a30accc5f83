#ifndef TESTS_SRC_ADDON_RECORDING_PRODUCER_H
#define TESTS_SRC_ADDON_RECORDING_PRODUCER_H

#include <cstdint>
#include <string>
#include <vector>

#include "events/state_event_producer_i.h"

// Writes down the alarm events of guards: "start 100", "end 200", and
// "end" where no time was given.
class RecordingProducer : public StateEventProducerI {
 public:
  StateEventProducerHandle registerEvent(std::int32_t camera, const std::string& name,
                                         const std::string& niceName) override {
    registered.push_back(std::to_string(camera) + " " + name + " " + niceName);
    return {.lookupKey = name, .camera = camera, .id = 0};
  }
  void unregisterEvent(const StateEventProducerHandle& handle) override {
    unregistered.push_back(handle.lookupKey);
  }
  void sendStartEvent(const StateEventProducerHandle&, std::int64_t time) override {
    events.push_back("start " + std::to_string(time));
  }
  void sendEndEvent(const StateEventProducerHandle&, std::int64_t time) override {
    events.push_back("end " + std::to_string(time));
  }
  void sendEndEvent(const StateEventProducerHandle&) override { events.push_back("end"); }

  // What was sent since the last call.
  std::vector<std::string> take() {
    std::vector<std::string> taken;
    taken.swap(events);
    return taken;
  }

  std::vector<std::string> registered;
  std::vector<std::string> unregistered;
  std::vector<std::string> events;
};

#endif
