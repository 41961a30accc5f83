#include "camera/callback_camera_container.h"

#include <scene.h>
#include <syslog.h>

#include <memory>
#include <utility>
#include <vector>

#include "app/interval_timer_observable.h"
#include "scene/scene_properties.h"

namespace {

constexpr std::int64_t RECONNECT_PERIOD = 200000;  // microseconds
constexpr std::int32_t NO_TIMER = -1;

}  // namespace

std::atomic<bool> CallbackCameraContainer::s_isRunning{false};
std::map<std::int32_t, CallbackCamera*> CallbackCameraContainer::s_reconnections;
std::mutex CallbackCameraContainer::s_reconnectMutex;

CallbackCameraContainer::CallbackCameraContainer(const API_VersionHandler& versionHandler,
                                                 std::int32_t propertyMask)
    : CameraContainer(versionHandler, propertyMask) {
  s_isRunning = true;
}

CallbackCameraContainer::~CallbackCameraContainer() {
  CallbackCameraContainer::shutDownSub();
}

void CallbackCameraContainer::newMoteDataCallback(char* data, void* camera) {
  SceneFrame frame;
  frame.data.reset(data);
  const std::lock_guard lock(s_mutex);
  auto* receiver = static_cast<CallbackCamera*>(camera);
  if (data == nullptr || !s_isRunning || !doesCameraExist(receiver)) {
    return;
  }
  frame.size = scene_area_size(data);
  receiver->handleMoteData(std::move(frame));
}

void CallbackCameraContainer::disconnectCallback(void* camera) {
  const std::lock_guard lock(s_mutex);
  auto* lost = static_cast<CallbackCamera*>(camera);
  if (!s_isRunning || !doesCameraExist(lost)) {
    return;
  }
  lost->handleTransportLoss();
  scheduleReconnection(lost);
}

bool CallbackCameraContainer::subscribeToMoteData(CallbackCamera* camera) {
  if (camera->getSubscriber() == nullptr) {
    camera->setSubscriber(
        VideoSceneSubscriber::createSubscriber(camera->getCameraNbr(), DATA_FORMAT_SCENE, camera));
  }
  VideoSceneSubscriber::Handle subscriber = camera->getSubscriber();
  if (subscriber == nullptr) {
    return false;
  }
  const std::int32_t mask = camera->getPropertyMask();
  VideoSceneSubscriber::setBoundingBoxEnabled(subscriber, (mask & SCENE_BOUNDING_BOX) != 0);
  VideoSceneSubscriber::setPolygonEnabled(subscriber, (mask & SCENE_POLYGON) != 0);
  VideoSceneSubscriber::setVelocityEnabled(subscriber, (mask & SCENE_VELOCITY) != 0);
  VideoSceneSubscriber::setLowConfidentEnabled(subscriber, (mask & SCENE_CONFIDENCE) != 0);
  VideoSceneSubscriber::setOnMessageArrivedCallback(subscriber, newMoteDataCallback);
  VideoSceneSubscriber::setOnDisconnectCallback(subscriber, disconnectCallback);
  const int result = VideoSceneSubscriber::subscribe(subscriber);
  if (result != 0) {
    syslog(LOG_WARNING, "Could not subscribe to scene data. Code: %d\n", result);
    VideoSceneSubscriber::deleteSubscriber(camera->releaseSubscriber());
    return false;
  }
  return true;
}

void CallbackCameraContainer::scheduleReconnection(CallbackCamera* camera) {
  removeOngoingReconnections(camera);
  // Two registrations may get the same id; the observer of a second one then finds the entry, too.
  std::int32_t id = IntervalTimerObservable::registerObserver(reconnectCamera, RECONNECT_PERIOD);
  while (id != NO_TIMER && s_reconnections.contains(id)) {
    id = IntervalTimerObservable::registerObserver(reconnectCamera, RECONNECT_PERIOD);
  }
  s_reconnections[id] = camera;
}

void CallbackCameraContainer::removeOngoingReconnections(const Camera* camera) {
  std::erase_if(s_reconnections, [camera](const auto& reconnection) {
    if (reconnection.second != camera) {
      return false;
    }
    IntervalTimerObservable::unregisterObserver(reconnection.first);
    return true;
  });
}

void CallbackCameraContainer::reconnectCamera(int timerId) {
  const std::lock_guard reconnectLock(s_reconnectMutex);
  // The old subscriber is deleted without the lock, which its last callback may be waiting for.
  VideoSceneSubscriber::Handle old = nullptr;
  {
    const std::lock_guard lock(s_mutex);
    if (const auto found = s_reconnections.find(timerId); found != s_reconnections.end()) {
      old = found->second->releaseSubscriber();
    }
  }
  if (old != nullptr) {
    VideoSceneSubscriber::deleteSubscriber(old);
  }
  const std::lock_guard lock(s_mutex);
  const auto found = s_reconnections.find(timerId);
  const bool isDone =
      found == s_reconnections.end() || !s_isRunning || subscribeToMoteData(found->second);
  if (isDone) {
    s_reconnections.erase(timerId);
    IntervalTimerObservable::unregisterObserver(timerId);
  }
}

void CallbackCameraContainer::removeUnusedCameras(
    const CameraConfigurationContainer& configurations) {
  Cameras unused = takeUnusedCameras(configurations);
  {
    const std::lock_guard lock(s_mutex);
    for (const auto& camera : unused) {
      camera->stop();
      removeOngoingReconnections(camera.get());
    }
  }
  unused.clear();
}

void CallbackCameraContainer::createCamera(int cameraNbr, int rotation, const API_VersionHandler&,
                                           int propertyMask) {
  const float aspectRatio = readAspectRatio(cameraNbr);
  const std::lock_guard lock(s_mutex);
  auto camera = std::make_unique<CallbackCamera>(cameraNbr, rotation, aspectRatio, propertyMask,
                                                 StartupPosition{s_lastPreset, s_lastMovement});
  CallbackCamera* inserted = camera.get();
  s_cameras.push_back(std::move(camera));
  if (hasTransport(cameraNbr) && !subscribeToMoteData(inserted)) {
    scheduleReconnection(inserted);
  }
}

void CallbackCameraContainer::shutDownSub() {
  std::vector<VideoSceneSubscriber::Handle> subscribers;
  {
    const std::lock_guard lock(s_mutex);
    if (!s_isRunning.exchange(false)) {
      return;
    }
    for (const auto& camera : s_cameras) {
      camera->stop();
      removeOngoingReconnections(camera.get());
      auto* subscribed = dynamic_cast<CallbackCamera*>(camera.get());
      if (subscribed != nullptr && subscribed->getSubscriber() != nullptr) {
        subscribers.push_back(subscribed->releaseSubscriber());
      }
    }
  }
  const std::lock_guard reconnectLock(s_reconnectMutex);
  for (const VideoSceneSubscriber::Handle subscriber : subscribers) {
    VideoSceneSubscriber::unsubscribe(subscriber);
    VideoSceneSubscriber::deleteSubscriber(subscriber);
  }
  VideoSceneSubscriber::deinitialize();
}
