#include "events/state_event_producer.h"

#include <syslog.h>

#include <algorithm>
#include <functional>
#include <utility>

#include "events/camera_info.h"
#include "events/event_names.h"
#include "events/sdk_wrapper.h"

namespace {

constexpr int ALARM = 1;
constexpr int NO_ALARM = 0;
constexpr const char* ANY_SUFFIX = "ANY";

bool send(const std::string& lookupKey, int value, const std::int64_t* time) {
  return sdk_wrapper_event_send(lookupKey, value, nullptr, time);
}

// kind stands in the message.
bool add(const char* kind, const std::string& lookupKey, const std::string& name,
         const std::string& niceName) {
  if (sdk_wrapper_event_add(lookupKey, name, niceName, SDK_EVENT_STATEFUL)) {
    return true;
  }
  syslog(LOG_CRIT, "FAILED to create %s %s \n", kind, name.c_str());
  return false;
}

}  // namespace

StateEventProducer::StateEventProducer(int cameraCount) {
  prepareReferenceCounterVectors(cameraCount);
}

void StateEventProducer::prepareReferenceCounterVectors(int cameraCount) {
  const LockGuard lock(mutex);
  counters.assign(static_cast<std::size_t>(std::max(cameraCount, 0)) + 1, 0);
  anyLookupKeys.clear();
  for (std::size_t i = 0; i < counters.size(); ++i) {
    anyLookupKeys.push_back(aggregateLookupKey(i));
  }
  countedProfiles.clear();
  countedCameras.clear();
  missedStarts.clear();
  missedAggregates.clear();
}

std::string StateEventProducer::aggregateLookupKey(std::size_t index) {
  return utils::generateEventLookupKey(
      index == DEVICE ? utils::generateGlobalAnyEventName()
                      : utils::generateAnyEventName(static_cast<std::int32_t>(index)));
}

bool StateEventProducer::isCameraCounted(std::int32_t camera) const {
  return camera >= 1 && static_cast<std::size_t>(camera) < counters.size();
}

StateEventProducerHandle StateEventProducer::registerEvent(std::int32_t camera,
                                                           const std::string& name,
                                                           const std::string& niceName) {
  const std::string lookupKey = utils::generateEventLookupKey(name);
  const LockGuard lock(mutex);
  makeUpUnlessInVain();
  declare(lookupKey,
          [lookupKey, name, niceName] { return add("event", lookupKey, name, niceName); });
  declareAny(camera);
  if (CameraInfo::isMultiCamera()) {
    declareGlobalAny();
  }
  return {lookupKey, camera, 0};
}

void StateEventProducer::unregisterEvent(const StateEventProducerHandle& handle) {
  const LockGuard lock(mutex);
  // A profile whose end could not be sent must not keep its camera in alarm for ever.
  missedStarts.erase(handle.lookupKey);
  discount(handle, nullptr);
  if (!owed.forgive(handle.lookupKey) && !sdk_wrapper_event_remove(handle.lookupKey)) {
    syslog(LOG_ERR, "FAILED to unregister event for Camera %d\n", handle.camera);
  }
  remove(utils::generateEventLookupKey(utils::generateAnyEventName(handle.camera)));
  if (CameraInfo::isMultiCamera()) {
    remove(utils::generateEventLookupKey(utils::generateGlobalAnyEventName()));
  }
}

// ---- What could not be declared ----

void StateEventProducer::declare(const std::string& lookupKey, OwedDeclarations::Declare declare) {
  if (!owed.declare(lookupKey, std::move(declare))) {
    retry.begin();
  }
}

void StateEventProducer::makeUpUnlessInVain() {
  if (owed.mayBeSettled()) {
    makeUp();
  }
}

void StateEventProducer::makeUp() {
  owed.settle();
  for (const auto& [lookupKey, missed] : owed.takePaid(missedStarts, std::identity())) {
    start(missed.handle, missed.time);
  }
  for (const auto& [index, time] : owed.takePaid(missedAggregates, aggregateLookupKey)) {
    if (index == DEVICE) {
      startDevice(time);
    } else {
      startCamera(static_cast<std::int32_t>(index), time);
    }
  }
}

bool StateEventProducer::makeUpForAll() {
  const bool isServiceThere = sdk_wrapper_has_event_service();
  const LockGuard lock(mutex);
  if (isServiceThere) {
    makeUp();
  }
  return owed.empty();
}

// ---- Starts and ends ----

void StateEventProducer::sendStartEvent(const StateEventProducerHandle& handle, std::int64_t time) {
  const LockGuard lock(mutex);
  makeUpUnlessInVain();
  start(handle, time);
}

void StateEventProducer::start(const StateEventProducerHandle& handle, std::int64_t time) {
  if (!send(handle.lookupKey, ALARM, &time)) {
    syslog(LOG_ERR, "FAILED to send event\n");
    if (owed.isOwed(handle.lookupKey)) {
      missedStarts.insert_or_assign(handle.lookupKey, MissedStart{handle, time});
    }
    return;
  }
  if (!isCameraCounted(handle.camera) || !countedProfiles.insert(handle.lookupKey).second) {
    return;
  }
  if (++counters[static_cast<std::size_t>(handle.camera)] == 1) {
    startCamera(handle.camera, time);
  }
}

void StateEventProducer::startCamera(std::int32_t camera, std::int64_t time) {
  const auto index = static_cast<std::size_t>(camera);
  if (!send(anyLookupKeys[index], ALARM, &time)) {
    syslog(LOG_ERR, "FAILED to send Camera %d Any event\n", camera);
    noteMissedAggregate(index, time);
    return;
  }
  if (countedCameras.insert(camera).second && ++counters[DEVICE] == 1) {
    startDevice(time);
  }
}

void StateEventProducer::startDevice(std::int64_t time) {
  if (CameraInfo::isMultiCamera() && !send(anyLookupKeys[DEVICE], ALARM, &time)) {
    syslog(LOG_ERR, "FAILED to send Global Any event\n");
    noteMissedAggregate(DEVICE, time);
  }
}

void StateEventProducer::noteMissedAggregate(std::size_t index, std::int64_t time) {
  if (owed.isOwed(anyLookupKeys[index])) {
    missedAggregates.insert_or_assign(index, time);
  }
}

void StateEventProducer::sendEndEvent(const StateEventProducerHandle& handle, std::int64_t time) {
  sendEnd(handle, &time);
}

void StateEventProducer::sendEndEvent(const StateEventProducerHandle& handle) {
  sendEnd(handle, nullptr);
}

void StateEventProducer::sendEnd(const StateEventProducerHandle& handle, const std::int64_t* time) {
  const LockGuard lock(mutex);
  makeUpUnlessInVain();
  missedStarts.erase(handle.lookupKey);
  if (!send(handle.lookupKey, NO_ALARM, time)) {
    syslog(LOG_ERR, "FAILED to send end event\n");
    return;
  }
  discount(handle, time);
}

void StateEventProducer::discount(const StateEventProducerHandle& handle,
                                  const std::int64_t* time) {
  if (!isCameraCounted(handle.camera) || countedProfiles.erase(handle.lookupKey) == 0) {
    return;
  }
  const auto camera = static_cast<std::size_t>(handle.camera);
  if (--counters[camera] != 0) {
    return;
  }
  missedAggregates.erase(camera);
  if (!send(anyLookupKeys[camera], NO_ALARM, time)) {
    syslog(LOG_ERR, "FAILED to send end Camera Any event\n");
    return;
  }
  if (countedCameras.erase(handle.camera) == 0 || --counters[DEVICE] != 0) {
    return;
  }
  missedAggregates.erase(DEVICE);
  if (CameraInfo::isMultiCamera() && !send(anyLookupKeys[DEVICE], NO_ALARM, time)) {
    syslog(LOG_ERR, "FAILED to send end Global Any event\n");
  }
}

// ---- The aggregate events ----

void StateEventProducer::declareAnyEvents(std::int32_t camera) {
  const LockGuard lock(mutex);
  declareAny(camera);
}

void StateEventProducer::declareGlobalAnyEvent() {
  const LockGuard lock(mutex);
  declareGlobalAny();
}

void StateEventProducer::removeAnyEvents(std::int32_t camera) {
  const LockGuard lock(mutex);
  remove(utils::generateEventLookupKey(utils::generateAnyEventName(camera)));
}

void StateEventProducer::removeGlobalAnyEvent() {
  const LockGuard lock(mutex);
  remove(utils::generateEventLookupKey(utils::generateGlobalAnyEventName()));
}

void StateEventProducer::declareAny(std::int32_t camera) {
  const std::string name = utils::generateAnyEventName(camera);
  const std::string lookupKey = utils::generateEventLookupKey(name);
  const std::string niceName =
      utils::generateEventNiceName("Camera " + std::to_string(camera), ANY_SUFFIX);
  declare(lookupKey,
          [lookupKey, name, niceName] { return add("any event", lookupKey, name, niceName); });
}

void StateEventProducer::declareGlobalAny() {
  const std::string name = utils::generateGlobalAnyEventName();
  const std::string lookupKey = utils::generateEventLookupKey(name);
  declare(lookupKey, [lookupKey, name] {
    return add("any global event", lookupKey, name,
               utils::generateEventNiceName("Camera", ANY_SUFFIX));
  });
}

void StateEventProducer::remove(const std::string& lookupKey) {
  if (!owed.forgive(lookupKey) && !sdk_wrapper_event_remove(lookupKey)) {
    syslog(LOG_ERR, "FAILED to remove event %s \n", lookupKey.c_str());
  }
}
