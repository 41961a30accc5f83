#ifndef EVENTS_ONVIF_STATE_EVENT_PRODUCER_H
#define EVENTS_ONVIF_STATE_EVENT_PRODUCER_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "app/lock_order.h"
#include "base/mutex.h"
#include "events/main_loop_retry.h"
#include "events/owed_declarations.h"
#include "events/state_event_producer_i.h"

// Sends the ONVIF motion alarm of a camera: on while any of the camera's profiles is in alarm. Its
// source number is the camera number. What could not be declared is made up for as by
// StateEventProducer.
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
  // Only for other applications of these classes.
  bool isCameraNbrInRange(std::int32_t camera) const;

  // Sets the number of cameras and forgets what is in alarm.
  void adjustNbrCameras(int count);

 private:
  void sendEnd(const StateEventProducerHandle& handle, const std::int64_t* time);

  // On the main loop's thread. Whether nothing is owed any more.
  bool makeUpForAll();

  void makeUpUnlessInVain() REQUIRES(mutex);
  void makeUp() REQUIRES(mutex);
  void start(std::int32_t camera, std::int64_t time) REQUIRES(mutex);

  mutable Mutex mutex ACQUIRED_AFTER(lock_order::RETRY) ACQUIRED_BEFORE(lock_order::EVENTS);

  // Lookup keys, by camera number minus one.
  std::vector<std::set<std::string>> alarmedProfiles GUARDED_BY(mutex);
  OwedDeclarations owed GUARDED_BY(mutex);

  // Camera number -> time, of what is owed.
  std::map<std::int32_t, std::int64_t> missedStarts GUARDED_BY(mutex);

  MainLoopRetry retry{[this] { return makeUpForAll(); }};
};

#endif
