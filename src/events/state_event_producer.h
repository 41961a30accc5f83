#ifndef EVENTS_STATE_EVENT_PRODUCER_H
#define EVENTS_STATE_EVENT_PRODUCER_H

#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "events/main_loop_retry.h"
#include "events/owed_declarations.h"
#include "events/state_event_producer_i.h"

// Sends a stateful event for each profile, and two kinds of aggregate events beside it: one per
// camera while any of its profiles is in alarm, and, on a device with several cameras, one for the
// device while any camera is.
//
// A failed send leaves the counters as they are; a profile counts at most once, so that the
// counters heal with its next start and end. Camera numbers without a counter only get their
// profile's event.
//
// What could not be declared is tried again every second until it is, and with the next start or
// end, unless the service has refused it within the last second; what has begun meanwhile, a
// profile's alarm or an aggregate, is then told.
class StateEventProducer : public StateEventProducerI {
 public:
  explicit StateEventProducer(int cameraCount);

  // Counters for the device and for cameras 1 to cameraCount, all 0.
  void prepareReferenceCounterVectors(int cameraCount);

  StateEventProducerHandle registerEvent(std::int32_t camera, const std::string& name,
                                         const std::string& niceName) override;
  void unregisterEvent(const StateEventProducerHandle& handle) override;
  void sendStartEvent(const StateEventProducerHandle& handle, std::int64_t time) override;
  void sendEndEvent(const StateEventProducerHandle& handle, std::int64_t time) override;
  void sendEndEvent(const StateEventProducerHandle& handle) override;

  // The aggregate events.
  void declareAnyEvents(std::int32_t camera);
  void declareGlobalAnyEvent();
  void removeAnyEvents(std::int32_t camera);
  void removeGlobalAnyEvent();

 private:
  static constexpr std::size_t DEVICE = 0;  // index of the device's counter

  struct MissedStart {
    StateEventProducerHandle handle;
    std::int64_t time;
  };

  bool isCameraCounted(std::int32_t camera) const;
  void sendEnd(const StateEventProducerHandle& handle, const std::int64_t* time);

  // On the main loop's thread. Whether nothing is owed any more.
  bool makeUpForAll();

  // All with the mutex held.
  void declare(const std::string& lookupKey, OwedDeclarations::Declare declare);
  void declareAny(std::int32_t camera);
  void declareGlobalAny();
  void remove(const std::string& lookupKey);
  void makeUpUnlessInVain();
  void makeUp();
  void start(const StateEventProducerHandle& handle, std::int64_t time);
  void startCamera(std::int32_t camera, std::int64_t time);
  void startDevice(std::int64_t time);
  void noteMissedAggregate(std::size_t index, std::int64_t time);

  // Takes a profile out of its camera's counter and ends what thereby ends.
  void discount(const StateEventProducerHandle& handle, const std::int64_t* time);

  std::mutex mutex;  // guards all below
  std::vector<std::int32_t> counters;
  std::vector<std::string> anyLookupKeys;  // by camera, the device's at index 0
  std::set<std::string> countedProfiles;   // lookup keys
  std::set<std::int32_t> countedCameras;   // those in the device's counter
  OwedDeclarations owed;
  std::map<std::string, MissedStart> missedStarts;       // by lookup key, of events that are owed
  std::map<std::size_t, std::int64_t> missedAggregates;  // index of the counter -> time, likewise

  MainLoopRetry retry{[this] { return makeUpForAll(); }};
};

#endif
