#ifndef TRACKER_TRACKER_AREA_GUARD_H
#define TRACKER_TRACKER_AREA_GUARD_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "addon/libs/vigil_pack_lib/guard/area_guard.h"
#include "tracker/tracked_object.h"
#include "tracker/tracker.h"

// An area guard that feeds the tracker: hands it every object that is (or once was) inside the
// include area and may raise the alarm, or could if it were as old as the person whom it shows
// (where the tracker tells who is who; the alarm is the object's alone), and takes back those that
// are gone, excluded or out of sight.
class TrackerAreaGuard : public AreaGuard {
 public:
  // Holds a reference to the tracker and a use of the camera's channel for its life.
  TrackerAreaGuard(const Polygon& includeArea, const std::string& name, std::int32_t uid,
                   std::int32_t camera, std::int64_t eventDuration, std::int32_t priority,
                   const std::string& appName, StateEventProducerI& producer, std::int32_t preset);
  ~TrackerAreaGuard() override;

  void checkObjects(ParsedScene& scene) override;
  void stopAllEvents(std::int64_t time) override;
  void handleTransportLoss(std::int64_t time) override;

  std::vector<TrackedObject> getTrackedObjects() const;

 private:
  void addCameraIfDue() REQUIRES(lock);
  void updateObjectsAndTrack(ParsedScene& scene) REQUIRES(lock);
  void updateObject(const JudgedObject& one) REQUIRES(lock);
  bool passesAsPerson(TrackingObject& object) const REQUIRES(lock);
  void trackOnce(TrackingObject& object, TrackingObjectExternalData& memory) REQUIRES(lock);
  void handleTrackedObject(std::int32_t profileId, const TrackingObject& object) REQUIRES(lock);
  void handleExcludedOrDeletedObjects(std::int32_t id) REQUIRES(lock);
  void handleUntrackedObjects() REQUIRES(lock);
  void resetTrackedObjects() REQUIRES(lock);
  bool markSeen(std::int32_t id) REQUIRES(lock);
  void untrackAll() REQUIRES(lock);
  TrackingObjectExternalData& memoryOf(TrackingObject& object) const;

  Tracker& tracker;
  const DataKey dataKey;
  std::vector<TrackedObject> trackedObjects GUARDED_BY(lock);
  std::size_t nextTracked GUARDED_BY(lock) = 0;  // where the search for a tracked object begins
  bool isCameraAdded GUARDED_BY(lock) = false;
  std::int64_t lastAddAttempt GUARDED_BY(lock);

  // The first frame after a break may show other objects by known ids.
  bool skipNextScene GUARDED_BY(lock) = false;
};

#endif
