#include "camera/callback_camera_container.h"

#include <scene.h>
#include <syslog.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "app/interval_timer_observable.h"
#include "base/units.h"
#include "scene/scene_properties.h"

namespace {

constexpr std::int64_t RECONNECT_PERIOD = 200 * units::MICROSECONDS_PER_MILLISECOND;
constexpr std::int32_t NO_TIMER = -1;

}  // namespace

std::atomic<bool> CallbackCameraContainer::s_isRunning{false};
std::map<std::int32_t, CallbackCamera*> CallbackCameraContainer::s_reconnections;

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
  lost->isStreamLost = true;
  lost->handleTransportLoss();
  scheduleReconnection(lost);
}

bool CallbackCameraContainer::subscribeToMoteData(CallbackCamera* camera) {
  SceneSubscription& subscription = camera->getSubscription();
  const SceneSubscription::Subscriber subscriber =
      subscription.obtainSubscriber(camera->getCameraNbr(), camera);
  if (subscriber == nullptr) {
    return false;
  }
  const std::int32_t mask = camera->getPropertyMask();
  VideoSceneSubscriber::setBoundingBoxEnabled(subscriber.get(), (mask & SCENE_BOUNDING_BOX) != 0);
  VideoSceneSubscriber::setPolygonEnabled(subscriber.get(), (mask & SCENE_POLYGON) != 0);
  VideoSceneSubscriber::setVelocityEnabled(subscriber.get(), (mask & SCENE_VELOCITY) != 0);
  VideoSceneSubscriber::setLowConfidentEnabled(subscriber.get(), (mask & SCENE_CONFIDENCE) != 0);
  VideoSceneSubscriber::setOnMessageArrivedCallback(subscriber.get(), newMoteDataCallback);
  VideoSceneSubscriber::setOnDisconnectCallback(subscriber.get(), disconnectCallback);
  const int result = subscription.subscribe();
  if (result != 0) {
    syslog(LOG_WARNING, "Could not subscribe to scene data. Code: %d\n", result);
    subscription.giveSubscriberUp();
    return false;
  }
  return true;
}

// The camera lives until its attempt is over, but may have been taken out of the set.
void CallbackCameraContainer::attemptSubscription(CallbackCamera* camera) {
  camera->getSubscription().giveSubscriberUp();
  {
    const std::lock_guard lock(s_mutex);
    camera->isStreamLost = false;
  }
  const bool isSubscribed = subscribeToMoteData(camera);
  const std::lock_guard lock(s_mutex);
  if (!s_isRunning || !doesCameraExist(camera)) {
    return;
  }
  // The new stream may have come to its end before it is known here that it had begun.
  if (isSubscribed && !camera->isStreamLost) {
    removeOngoingReconnections(camera);
  } else {
    scheduleReconnection(camera);
  }
}

void CallbackCameraContainer::startSubscribing(CallbackCamera* camera) {
  if (!camera->getSubscription().start([camera] { attemptSubscription(camera); })) {
    scheduleReconnection(camera);
  }
}

void CallbackCameraContainer::scheduleReconnection(CallbackCamera* camera) {
  const auto isOfCamera = [camera](const auto& entry) { return entry.second == camera; };
  if (std::ranges::any_of(s_reconnections, isOfCamera)) {
    return;
  }
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
  const std::lock_guard lock(s_mutex);
  const auto found = s_reconnections.find(timerId);
  if (!s_isRunning || found == s_reconnections.end() || !doesCameraExist(found->second)) {
    s_reconnections.erase(timerId);
    IntervalTimerObservable::unregisterObserver(timerId);
    return;
  }
  if (!found->second->getSubscription().isUnderWay()) {
    startSubscribing(found->second);
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
  if (hasTransport(cameraNbr)) {
    startSubscribing(inserted);
  }
}

void CallbackCameraContainer::shutDownSub() {
  std::vector<CallbackCamera*> subscribed;
  {
    const std::lock_guard lock(s_mutex);
    if (!s_isRunning.exchange(false)) {
      return;
    }
    for (const auto& camera : s_cameras) {
      camera->stop();
      removeOngoingReconnections(camera.get());
      if (auto* callbackCamera = dynamic_cast<CallbackCamera*>(camera.get())) {
        subscribed.push_back(callbackCamera);
      }
    }
  }
  // Without the lock: attempts and callbacks must be able to end. The set of cameras does not
  // change meanwhile, as that is the caller's to do.
  for (CallbackCamera* camera : subscribed) {
    camera->getSubscription().end();
  }
  VideoSceneSubscriber::deinitialize();
}
