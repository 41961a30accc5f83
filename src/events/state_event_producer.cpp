#include "events/state_event_producer.h"

#include <syslog.h>

#include <algorithm>

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

void removeEvent(const std::string& lookupKey) {
  if (!sdk_wrapper_event_remove(lookupKey)) {
    syslog(LOG_ERR, "FAILED to remove event %s \n", lookupKey.c_str());
  }
}

}  // namespace

StateEventProducer::StateEventProducer(int cameraCount) {
  prepareReferenceCounterVectors(cameraCount);
}

void StateEventProducer::prepareReferenceCounterVectors(int cameraCount) {
  const std::lock_guard lock(mutex);
  counters.assign(static_cast<std::size_t>(std::max(cameraCount, 0)) + 1, 0);
  anyLookupKeys.assign(1, utils::generateEventLookupKey(utils::generateGlobalAnyEventName()));
  for (int camera = 1; camera <= cameraCount; ++camera) {
    anyLookupKeys.push_back(utils::generateEventLookupKey(utils::generateAnyEventName(camera)));
  }
  countedProfiles.clear();
  countedCameras.clear();
}

bool StateEventProducer::isCameraCounted(std::int32_t camera) const {
  return camera >= 1 && static_cast<std::size_t>(camera) < counters.size();
}

StateEventProducerHandle StateEventProducer::registerEvent(std::int32_t camera,
                                                           const std::string& name,
                                                           const std::string& niceName) {
  const std::string lookupKey = utils::generateEventLookupKey(name);
  if (!sdk_wrapper_event_add(lookupKey, name, niceName, SDK_EVENT_STATEFUL)) {
    syslog(LOG_CRIT, "FAILED to create event %s \n", lookupKey.c_str());
  }
  declareAnyEvents(camera);
  if (CameraInfo::isMultiCamera()) {
    declareGlobalAnyEvent();
  }
  return {lookupKey, camera, 0};
}

void StateEventProducer::unregisterEvent(const StateEventProducerHandle& handle) {
  {
    // A profile whose end could not be sent must not keep its camera in alarm for ever.
    const std::lock_guard lock(mutex);
    discount(handle, nullptr);
  }
  if (!sdk_wrapper_event_remove(handle.lookupKey)) {
    syslog(LOG_ERR, "FAILED to unregister event for Camera %d\n", handle.camera);
  }
  removeAnyEvents(handle.camera);
  if (CameraInfo::isMultiCamera()) {
    removeGlobalAnyEvent();
  }
}

void StateEventProducer::sendStartEvent(const StateEventProducerHandle& handle, std::int64_t time) {
  const std::lock_guard lock(mutex);
  if (!send(handle.lookupKey, ALARM, &time)) {
    syslog(LOG_ERR, "FAILED to send event\n");
    return;
  }
  if (!isCameraCounted(handle.camera) || !countedProfiles.insert(handle.lookupKey).second) {
    return;
  }
  const auto camera = static_cast<std::size_t>(handle.camera);
  if (++counters[camera] != 1) {
    return;
  }
  if (!send(anyLookupKeys[camera], ALARM, &time)) {
    syslog(LOG_ERR, "FAILED to send Camera %d Any event\n", handle.camera);
    return;
  }
  if (!countedCameras.insert(handle.camera).second || ++counters[DEVICE] != 1) {
    return;
  }
  if (CameraInfo::isMultiCamera() && !send(anyLookupKeys[DEVICE], ALARM, &time)) {
    syslog(LOG_ERR, "FAILED to send Global Any event\n");
  }
}

void StateEventProducer::sendEndEvent(const StateEventProducerHandle& handle, std::int64_t time) {
  sendEnd(handle, &time);
}

void StateEventProducer::sendEndEvent(const StateEventProducerHandle& handle) {
  sendEnd(handle, nullptr);
}

void StateEventProducer::sendEnd(const StateEventProducerHandle& handle, const std::int64_t* time) {
  const std::lock_guard lock(mutex);
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
  if (!send(anyLookupKeys[camera], NO_ALARM, time)) {
    syslog(LOG_ERR, "FAILED to send end Camera Any event\n");
    return;
  }
  if (countedCameras.erase(handle.camera) == 0 || --counters[DEVICE] != 0) {
    return;
  }
  if (CameraInfo::isMultiCamera() && !send(anyLookupKeys[DEVICE], NO_ALARM, time)) {
    syslog(LOG_ERR, "FAILED to send end Global Any event\n");
  }
}

void StateEventProducer::declareAnyEvents(std::int32_t camera) {
  const std::string name = utils::generateAnyEventName(camera);
  const std::string niceName =
      utils::generateEventNiceName("Camera " + std::to_string(camera), ANY_SUFFIX);
  if (!sdk_wrapper_event_add(utils::generateEventLookupKey(name), name, niceName,
                             SDK_EVENT_STATEFUL)) {
    syslog(LOG_CRIT, "FAILED to create any event %s \n", name.c_str());
  }
}

void StateEventProducer::declareGlobalAnyEvent() {
  const std::string name = utils::generateGlobalAnyEventName();
  if (!sdk_wrapper_event_add(utils::generateEventLookupKey(name), name,
                             utils::generateEventNiceName("Camera", ANY_SUFFIX),
                             SDK_EVENT_STATEFUL)) {
    syslog(LOG_CRIT, "FAILED to create any global event %s \n", name.c_str());
  }
}

void StateEventProducer::removeAnyEvents(std::int32_t camera) {
  removeEvent(utils::generateEventLookupKey(utils::generateAnyEventName(camera)));
}

void StateEventProducer::removeGlobalAnyEvent() {
  removeEvent(utils::generateEventLookupKey(utils::generateGlobalAnyEventName()));
}
