#include "tracker/tracker_area_guard.h"

#include <algorithm>
#include <utility>

#include "addon/libs/vigil_pack_lib/filters/filter_data_key.h"
#include "app/clock.h"
#include "base/units.h"
#include "scene/tracking_object_external_data_no_merge.h"

namespace {

constexpr const char* ONCE_INSIDE = "onceInside";
constexpr const char* LAST_TRACKED = "lastTracked";
constexpr std::int64_t NEVER_TRACKED = -1;
constexpr std::int64_t ADD_CAMERA_INTERVAL = units::fromSeconds(1);

}  // namespace

TrackerAreaGuard::TrackerAreaGuard(const Polygon& includeArea, const std::string& name,
                                   std::int32_t uid, std::int32_t camera,
                                   std::int64_t eventDuration, std::int32_t priority,
                                   const std::string& appName, StateEventProducerI& producer,
                                   std::int32_t preset)
    : AreaGuard(includeArea, name, uid, camera, eventDuration, appName, producer, preset),
      tracker(Tracker::getInstance()),
      dataKey(utils::generateFilterDataKey("tracker_area_guard", uid)),
      isCameraAdded(tracker.addCamera(camera)),
      lastAddAttempt(utils::monotonicTime()) {
  this->priority = priority;
}

TrackerAreaGuard::~TrackerAreaGuard() {
  untrackAll();
  if (isCameraAdded) {
    tracker.removeCamera(camera);
  }
  Tracker::releaseInstance();
}

std::vector<TrackedObject> TrackerAreaGuard::getTrackedObjects() const {
  const LockGuard guard(lock);
  return trackedObjects;
}

void TrackerAreaGuard::checkObjects(ParsedScene& scene) {
  AreaGuard::checkObjects(scene);
  const LockGuard guard(lock);
  addCameraIfDue();
  for (const auto& object : scene.getDeletedObjects()) {
    handleExcludedOrDeletedObjects(object->getId());
  }
  if (std::exchange(skipNextScene, false)) {
    return;
  }
  if (!isMechanicalPtz || shouldDataBeProcessed(scene.getTimestamp())) {
    tracker.see(camera, scene);
    updateObjectsAndTrack(scene);
  }
}

// The camera's mounting may become known only after the start.
void TrackerAreaGuard::addCameraIfDue() {
  const std::int64_t now = utils::monotonicTime();
  if (isCameraAdded || now - lastAddAttempt < ADD_CAMERA_INTERVAL) {
    return;
  }
  lastAddAttempt = now;
  isCameraAdded = tracker.addCamera(camera);
}

void TrackerAreaGuard::stopAllEvents(std::int64_t time) {
  const LockGuard guard(lock);
  AreaGuard::stopAllEvents(time);
  untrackAll();
}

void TrackerAreaGuard::handleTransportLoss(std::int64_t time) {
  const LockGuard guard(lock);
  AreaGuard::handleTransportLoss(time);
  skipNextScene = true;
}

void TrackerAreaGuard::updateObjectsAndTrack(ParsedScene& scene) {
  resetTrackedObjects();
  for (const JudgedObject& one : judgedObjects(scene)) {
    updateObject(one);
  }
  handleUntrackedObjects();
}

void TrackerAreaGuard::updateObject(const JudgedObject& one) {
  const auto& [judgedObject, area, passesItself] = one;
  TrackingObject& object = *judgedObject;
  TrackingObjectExternalData& memory = memoryOf(object);
  const bool wasOnceInside = memory.getBool(ONCE_INSIDE);
  if (area == AreaStatus_e::inside || wasOnceInside) {
    if (passesItself || passesAsPerson(object)) {
      if (wasOnceInside) {
        memory.insert(ONCE_INSIDE, false);
      }
      trackOnce(object, memory);
      return;
    }
    if (area == AreaStatus_e::inside) {
      memory.insert(ONCE_INSIDE, true);
    }
  }
  if (area == AreaStatus_e::excluded) {
    handleExcludedOrDeletedObjects(object.getId());
  }
}

// Who is known under other numbers need not live as long again under this one. Of what filters
// remember only the age goes along.
bool TrackerAreaGuard::passesAsPerson(TrackingObject& object) const {
  const std::int64_t firstSeen = object.getFirstSeen();
  const auto since = tracker.knownSince(camera, object.getId());
  if (!since || *since >= firstSeen) {
    return false;
  }
  object.setFirstSeen(*since);
  const bool passes = passesFilters(object);
  object.setFirstSeen(firstSeen);
  return passes;
}

// Each observation is handed over once, even if its frame comes again.
void TrackerAreaGuard::trackOnce(TrackingObject& object, TrackingObjectExternalData& memory) {
  if (memory.getTimeVal(LAST_TRACKED, NEVER_TRACKED) == object.getLastSeen()) {
    markSeen(object.getId());
    return;
  }
  memory.insert(LAST_TRACKED, object.getLastSeen());
  handleTrackedObject(priority, object);
}

void TrackerAreaGuard::handleTrackedObject(std::int32_t profileId, const TrackingObject& object) {
  tracker.track(camera, profileId, object);
  if (!markSeen(object.getId())) {
    trackedObjects.emplace_back(object.getId(), true);
    tracker.hold(camera, object.getId(), this);
  }
}

// Frames mostly name the objects in the same order, so that the one looked for mostly follows the
// one found last.
bool TrackerAreaGuard::markSeen(std::int32_t id) {
  const std::size_t count = trackedObjects.size();
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t index = (nextTracked + i) % count;
    if (trackedObjects[index].id == id) {
      trackedObjects[index].seen = true;
      nextTracked = index + 1;
      return true;
    }
  }
  return false;
}

// Only what this guard has handed over: another profile may follow the object.
void TrackerAreaGuard::handleExcludedOrDeletedObjects(std::int32_t id) {
  if (std::erase_if(trackedObjects, [id](const TrackedObject& t) { return t.id == id; }) > 0) {
    tracker.letGo(camera, id, this);
  }
}

void TrackerAreaGuard::handleUntrackedObjects() {
  std::erase_if(trackedObjects, [this](const TrackedObject& object) {
    if (!object.seen) {
      tracker.letGo(camera, object.id, this);
    }
    return !object.seen;
  });
}

void TrackerAreaGuard::resetTrackedObjects() {
  for (TrackedObject& object : trackedObjects) {
    object.seen = false;
  }
}

void TrackerAreaGuard::untrackAll() {
  resetTrackedObjects();
  handleUntrackedObjects();
}

TrackingObjectExternalData& TrackerAreaGuard::memoryOf(TrackingObject& object) const {
  if (TrackingObjectExternalData* memory = object.getData(dataKey)) {
    return *memory;
  }
  auto memory = std::make_unique<TrackingObjectExternalDataNoMerge>();
  memory->insert(ONCE_INSIDE, false);
  memory->insert(LAST_TRACKED, NEVER_TRACKED);
  object.insertData(dataKey.getText(), std::move(memory));
  return *object.getData(dataKey);
}
