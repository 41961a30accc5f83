#include "events/onvif_state_event_producer.h"

#include <syslog.h>

#include <algorithm>

#include "events/sdk_wrapper.h"

namespace {

std::string motionAlarmKey(std::int32_t camera) {
  return "MotionAlarmCamera" + std::to_string(camera);
}

bool isInRange(std::int32_t camera, std::size_t cameraCount) {
  return camera >= 1 && static_cast<std::size_t>(camera) <= cameraCount;
}

bool declareMotionAlarm(std::int32_t camera) {
  if (sdk_wrapper_event_add_onvif_motion_alarm_event(motionAlarmKey(camera), camera, 0)) {
    return true;
  }
  syslog(LOG_CRIT, "FAILED to create event %s \n", motionAlarmKey(camera).c_str());
  return false;
}

}  // namespace

ONVIF_StateEventProducer::ONVIF_StateEventProducer(int cameraCount) {
  adjustNbrCameras(cameraCount);
}

void ONVIF_StateEventProducer::adjustNbrCameras(int count) {
  const LockGuard lock(mutex);
  alarmedProfiles.assign(static_cast<std::size_t>(std::max(count, 0)), {});
  missedStarts.clear();
}

bool ONVIF_StateEventProducer::isCameraNbrInRange(std::int32_t camera) const {
  const LockGuard lock(mutex);
  return isInRange(camera, alarmedProfiles.size());
}

StateEventProducerHandle ONVIF_StateEventProducer::registerEvent(std::int32_t camera,
                                                                 const std::string& name,
                                                                 const std::string&) {
  const LockGuard lock(mutex);
  if (isInRange(camera, alarmedProfiles.size())) {
    makeUpUnlessInVain();
    if (!owed.declare(motionAlarmKey(camera), [camera] { return declareMotionAlarm(camera); })) {
      retry.begin();
    }
  }
  return {name, camera, 0};
}

void ONVIF_StateEventProducer::unregisterEvent(const StateEventProducerHandle& handle) {
  const LockGuard lock(mutex);
  if (isInRange(handle.camera, alarmedProfiles.size()) &&
      !owed.forgive(motionAlarmKey(handle.camera)) &&
      !sdk_wrapper_event_remove(motionAlarmKey(handle.camera))) {
    syslog(LOG_ERR, "FAILED to unregister event for Camera %d\n", handle.camera);
  }
}

void ONVIF_StateEventProducer::makeUpUnlessInVain() {
  if (owed.mayBeSettled()) {
    makeUp();
  }
}

void ONVIF_StateEventProducer::makeUp() {
  owed.settle();
  for (const auto& [camera, time] : owed.takePaid(missedStarts, motionAlarmKey)) {
    start(camera, time);
  }
}

bool ONVIF_StateEventProducer::makeUpForAll() {
  const bool isServiceThere = sdk_wrapper_has_event_service();
  const LockGuard lock(mutex);
  if (isServiceThere) {
    makeUp();
  }
  return owed.empty();
}

void ONVIF_StateEventProducer::sendStartEvent(const StateEventProducerHandle& handle,
                                              std::int64_t time) {
  const LockGuard lock(mutex);
  if (!isInRange(handle.camera, alarmedProfiles.size())) {
    return;
  }
  makeUpUnlessInVain();
  auto& alarmed = alarmedProfiles[static_cast<std::size_t>(handle.camera) - 1];
  if (!alarmed.insert(handle.lookupKey).second || alarmed.size() != 1) {
    return;
  }
  start(handle.camera, time);
}

void ONVIF_StateEventProducer::start(std::int32_t camera, std::int64_t time) {
  if (sdk_wrapper_onvif_motion_alarm_event_send(motionAlarmKey(camera), 1, &time)) {
    return;
  }
  syslog(LOG_ERR, "FAILED to send event\n");
  if (owed.isOwed(motionAlarmKey(camera))) {
    missedStarts.insert_or_assign(camera, time);
  }
}

void ONVIF_StateEventProducer::sendEndEvent(const StateEventProducerHandle& handle,
                                            std::int64_t time) {
  sendEnd(handle, &time);
}

void ONVIF_StateEventProducer::sendEndEvent(const StateEventProducerHandle& handle) {
  sendEnd(handle, nullptr);
}

void ONVIF_StateEventProducer::sendEnd(const StateEventProducerHandle& handle,
                                       const std::int64_t* time) {
  const LockGuard lock(mutex);
  if (!isInRange(handle.camera, alarmedProfiles.size())) {
    return;
  }
  makeUpUnlessInVain();
  auto& alarmed = alarmedProfiles[static_cast<std::size_t>(handle.camera) - 1];
  if (alarmed.erase(handle.lookupKey) == 0 || !alarmed.empty()) {
    return;
  }
  missedStarts.erase(handle.camera);
  if (!sdk_wrapper_onvif_motion_alarm_event_send(motionAlarmKey(handle.camera), 0, time)) {
    syslog(LOG_ERR, "FAILED to send end event\n");
  }
}
