#include "camera/callback_camera_container.h"

#include <scene.h>
#include <syslog.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "app/clock.h"
#include "app/interval_timer_observable.h"
#include "base/units.h"
#include "scene/scene_properties.h"

namespace {

constexpr std::int64_t RECONNECT_PERIOD = 200 * units::MICROSECONDS_PER_MILLISECOND;
constexpr std::int64_t LONGEST_SILENCE = 3 * RECONNECT_PERIOD;
constexpr std::int32_t NO_TIMER = -1;

}  // namespace

std::atomic<bool> CallbackCameraContainer::s_isRunning{false};
std::set<CallbackCamera*> CallbackCameraContainer::s_reconnections;
std::array<CallbackCameraContainer::Observer, 2> CallbackCameraContainer::s_observers{
    {{NO_TIMER, 0}, {NO_TIMER, 0}}};
std::int64_t CallbackCameraContainer::s_lastReconnection = 0;

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
  const LockGuard lock(s_mutex);
  auto* receiver = static_cast<CallbackCamera*>(camera);
  if (data == nullptr || !s_isRunning || !doesCameraExist(receiver)) {
    return;
  }
  frame.size = scene_area_size(data);
  receiver->handleMoteData(std::move(frame));
}

void CallbackCameraContainer::disconnectCallback(void* camera) {
  const LockGuard lock(s_mutex);
  auto* lost = static_cast<CallbackCamera*>(camera);
  if (!s_isRunning || !doesCameraExist(lost)) {
    return;
  }
  lost->setStreamLost(true);
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
  if (result != 0 && !subscription.hasEndBegun()) {
    syslog(LOG_WARNING, "Could not subscribe to scene data. Code: %d\n", result);
  }
  if (result != 0) {
    subscription.giveSubscriberUp();
  }
  return result == 0;
}

// The camera lives until its attempt is over, but may have been taken out of the set.
void CallbackCameraContainer::attemptSubscription(CallbackCamera* camera) {
  camera->getSubscription().giveSubscriberUp();
  camera->setStreamLost(false);
  const bool isSubscribed = subscribeToMoteData(camera);
  const LockGuard lock(s_mutex);
  if (!s_isRunning || !doesCameraExist(camera)) {
    return;
  }
  // The new stream may have come to its end before it is known here that it had begun.
  if (isSubscribed && !camera->isStreamLost()) {
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
  if (s_reconnections.empty()) {
    s_lastReconnection = utils::monotonicTime();  // a loss is not answered before a period is over
  }
  s_reconnections.insert(camera);
  keepObserving();
}

void CallbackCameraContainer::removeOngoingReconnections(const Camera* camera) {
  const auto isOfCamera = [camera](const CallbackCamera* waiting) { return waiting == camera; };
  if (std::erase_if(s_reconnections, isOfCamera) > 0 && s_reconnections.empty()) {
    stopObserving();
  }
}

// ---- The timer ----

void CallbackCameraContainer::reconnectCamera(int timerId) {
  const LockGuard lock(s_mutex);
  if (!noteSignOfLife(timerId)) {
    IntervalTimerObservable::unregisterObserver(timerId);
    return;
  }
  keepObserving();
  if (const std::int64_t now = utils::monotonicTime();
      now - s_lastReconnection >= RECONNECT_PERIOD) {
    s_lastReconnection = now;
    reconnectAll();
  }
}

void CallbackCameraContainer::reconnectAll() {
  // A camera that is started here may be scheduled here, too.
  const std::vector<CallbackCamera*> waiting(s_reconnections.begin(), s_reconnections.end());
  for (CallbackCamera* camera : waiting) {
    if (!doesCameraExist(camera)) {
      s_reconnections.erase(camera);
    } else if (!camera->getSubscription().isUnderWay()) {
      startSubscribing(camera);
    }
  }
  if (s_reconnections.empty()) {
    stopObserving();
  }
}

// False when no observer of that id is ours any more.
bool CallbackCameraContainer::noteSignOfLife(std::int32_t timerId) {
  const auto observer = std::ranges::find(s_observers, timerId, &Observer::id);
  if (observer == s_observers.end()) {
    return false;
  }
  observer->lastSign = utils::monotonicTime();
  return true;
}

void CallbackCameraContainer::keepObserving() {
  const std::int64_t now = utils::monotonicTime();
  for (Observer& observer : s_observers) {
    if (observer.id == NO_TIMER || now - observer.lastSign > LONGEST_SILENCE) {
      observer = {.id = registerUnderOwnId(), .lastSign = now};
    }
  }
}

// Two registrations may get the same id; which of them is called could not be told then.
std::int32_t CallbackCameraContainer::registerUnderOwnId() {
  std::int32_t id = NO_TIMER;
  do {
    id = IntervalTimerObservable::registerObserver(reconnectCamera, RECONNECT_PERIOD);
  } while (id != NO_TIMER &&
           std::ranges::find(s_observers, id, &Observer::id) != s_observers.end());
  return id;
}

void CallbackCameraContainer::stopObserving() {
  for (Observer& observer : s_observers) {
    IntervalTimerObservable::unregisterObserver(std::exchange(observer.id, NO_TIMER));
  }
}

void CallbackCameraContainer::removeUnusedCameras(
    const CameraConfigurationContainer& configurations) {
  Cameras unused = takeUnusedCameras(configurations);
  {
    const LockGuard lock(s_mutex);
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
  const LockGuard lock(s_mutex);
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
    const LockGuard lock(s_mutex);
    if (!s_isRunning.exchange(false)) {
      return;
    }
    s_reconnections.clear();
    stopObserving();
    for (const auto& camera : s_cameras) {
      camera->stop();
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
