#ifndef EVENTS_STATE_EVENT_PRODUCER_H
#define EVENTS_STATE_EVENT_PRODUCER_H

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
  // Only for other applications of these classes, all of them.
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

  static std::string aggregateLookupKey(std::size_t index);  // of a counter
  bool isCameraCounted(std::int32_t camera) const REQUIRES(mutex);
  void sendEnd(const StateEventProducerHandle& handle, const std::int64_t* time);

  // On the main loop's thread. Whether nothing is owed any more.
  bool makeUpForAll();

  void declare(const std::string& lookupKey, OwedDeclarations::Declare declare) REQUIRES(mutex);
  void declareAny(std::int32_t camera) REQUIRES(mutex);
  void declareGlobalAny() REQUIRES(mutex);
  void remove(const std::string& lookupKey) REQUIRES(mutex);
  void makeUpUnlessInVain() REQUIRES(mutex);
  void makeUp() REQUIRES(mutex);
  void start(const StateEventProducerHandle& handle, std::int64_t time) REQUIRES(mutex);
  void startCamera(std::int32_t camera, std::int64_t time) REQUIRES(mutex);
  void startDevice(std::int64_t time) REQUIRES(mutex);
  void noteMissedAggregate(std::size_t index, std::int64_t time) REQUIRES(mutex);

  // Takes a profile out of its camera's counter and ends what thereby ends.
  void discount(const StateEventProducerHandle& handle, const std::int64_t* time) REQUIRES(mutex);

  Mutex mutex ACQUIRED_AFTER(lock_order::RETRY) ACQUIRED_BEFORE(lock_order::EVENTS);
  std::vector<std::int32_t> counters GUARDED_BY(mutex);

  // By camera, the device's at index 0.
  std::vector<std::string> anyLookupKeys GUARDED_BY(mutex);
  std::set<std::string> countedProfiles GUARDED_BY(mutex);  // lookup keys
  std::set<std::int32_t> countedCameras GUARDED_BY(mutex);  // those in the device's counter
  OwedDeclarations owed GUARDED_BY(mutex);

  // By lookup key, of events that are owed; and by the counter's index the times, likewise.
  std::map<std::string, MissedStart> missedStarts GUARDED_BY(mutex);
  std::map<std::size_t, std::int64_t> missedAggregates GUARDED_BY(mutex);

  MainLoopRetry retry{[this] { return makeUpForAll(); }};
};

#endif
