#ifndef EVENTS_ONVIF_STATE_EVENT_PRODUCER_H
#define EVENTS_ONVIF_STATE_EVENT_PRODUCER_H

#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "events/state_event_producer_i.h"

// Sends the ONVIF motion alarm of a camera: on while any of the camera's profiles is in alarm. Its
// source number is the camera number.
class ONVIF_StateEventProducer : public StateEventProducerI {
 public:
  explicit ONVIF_StateEventProducer(int cameraCount);

  StateEventProducerHandle registerEvent(std::int32_t camera, const std::string& name,
                                         const std::string& niceName) override;
  void unregisterEvent(const StateEventProducerHandle& handle) override;
  void sendStartEvent(const StateEventProducerHandle& handle, std::int64_t time) override;
  void sendEndEvent(const StateEventProducerHandle& handle, std::int64_t time) override;
  void sendEndEvent(const StateEventProducerHandle& handle) override;

  // Whether the number is 1 to the number of cameras; the alarms of others are not reported.
  bool isCameraNbrInRange(std::int32_t camera) const;

  // Sets the number of cameras and forgets what is in alarm.
  void adjustNbrCameras(int count);

 private:
  void sendEnd(const StateEventProducerHandle& handle, const std::int64_t* time);

  mutable std::mutex mutex;                            // guards all below
  std::vector<std::set<std::string>> alarmedProfiles;  // lookup keys, by camera number minus one
};

#endif
