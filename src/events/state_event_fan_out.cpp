#include "events/state_event_fan_out.h"

#include "events/camera_info.h"

StateEventFanOut::StateEventFanOut(int cameraCount)
    : profileEvents(cameraCount), motionAlarms(cameraCount) {}

StateEventFanOut& StateEventFanOut::getInstance() {
  static StateEventFanOut s_instance(CameraInfo::getNbrOfCameras());
  return s_instance;
}

StateEventProducerHandle StateEventFanOut::registerEvent(std::int32_t camera,
                                                         const std::string& name,
                                                         const std::string& niceName) {
  motionAlarms.registerEvent(camera, name, niceName);
  return profileEvents.registerEvent(camera, name, niceName);
}

void StateEventFanOut::unregisterEvent(const StateEventProducerHandle& handle) {
  profileEvents.unregisterEvent(handle);
  motionAlarms.unregisterEvent(handle);
}

void StateEventFanOut::sendStartEvent(const StateEventProducerHandle& handle, std::int64_t time) {
  profileEvents.sendStartEvent(handle, time);
  motionAlarms.sendStartEvent(handle, time);
}

void StateEventFanOut::sendEndEvent(const StateEventProducerHandle& handle, std::int64_t time) {
  profileEvents.sendEndEvent(handle, time);
  motionAlarms.sendEndEvent(handle, time);
}

void StateEventFanOut::sendEndEvent(const StateEventProducerHandle& handle) {
  profileEvents.sendEndEvent(handle);
  motionAlarms.sendEndEvent(handle);
}
