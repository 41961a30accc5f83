#include "scene/scene_subscription.h"

#include <syslog.h>

#include <chrono>
#include <system_error>
#include <utility>

namespace {

// An attempt that has not begun to wait yet cannot be cut short: it is asked again.
constexpr std::chrono::milliseconds CUT_PAUSE{20};

}  // namespace

SceneSubscription::~SceneSubscription() {
  end();
}

bool SceneSubscription::start(Attempt attempt) {
  const std::lock_guard guard(mutex);
  if (isEnding) {
    return true;
  }
  if (thread.joinable()) {
    thread.join();  // it has let go of the mutex for good
  }
  try {
    thread = std::thread([this, attempt = std::move(attempt)] { run(attempt); });
    isAttempting = true;
    return true;
  } catch (const std::system_error& error) {
    syslog(LOG_ERR, "Could not start a thread to subscribe to scene data: %s\n", error.what());
    return false;
  }
}

void SceneSubscription::run(const Attempt& attempt) {
  attempt();
  const std::lock_guard guard(mutex);
  isAttempting = false;
  attemptEnded.notify_all();
}

bool SceneSubscription::isUnderWay() const {
  const std::lock_guard guard(mutex);
  return isAttempting;
}

SceneSubscription::Subscriber SceneSubscription::obtainSubscriber(int channel, void* userData) {
  const std::lock_guard guard(mutex);
  if (subscriber == nullptr) {
    if (VideoSceneSubscriber::Handle made =
            VideoSceneSubscriber::createSubscriber(channel, DATA_FORMAT_SCENE, userData)) {
      subscriber.reset(made, VideoSceneSubscriber::deleteSubscriber);
    }
  }
  return subscriber;
}

void SceneSubscription::giveSubscriberUp() {
  std::unique_lock guard(mutex);
  const Subscriber last = std::exchange(subscriber, nullptr);
  guard.unlock();
}

int SceneSubscription::subscribe() {
  std::unique_lock guard(mutex);
  const Subscriber asked = subscriber;
  if (isEnding || asked == nullptr) {
    return VIDEO_SCENE_SUBSCRIBER_FAILED;
  }
  isSubscribing = true;
  guard.unlock();
  const int result =
      VideoSceneSubscriber::trySubscribe(asked.get(), [this] { return hasEndBegun(); });
  guard.lock();
  isSubscribing = false;
  guard.unlock();
  return result;
}

bool SceneSubscription::hasEndBegun() const {
  const std::lock_guard guard(mutex);
  return isEnding;
}

// The reference keeps the subscriber, which the attempt may give up meanwhile.
bool SceneSubscription::cutShort(std::unique_lock<std::mutex>& guard) {
  if (!isSubscribing) {
    return false;
  }
  Subscriber asked = subscriber;
  guard.unlock();
  const bool isCut = VideoSceneSubscriber::cutShort(asked.get()) == VIDEO_SCENE_SUBSCRIBER_OK;
  asked.reset();
  guard.lock();
  return isCut;
}

void SceneSubscription::end() {
  std::unique_lock guard(mutex);
  isEnding = true;
  bool isUnsubscribed = false;
  while (isAttempting) {
    isUnsubscribed = isUnsubscribed || cutShort(guard);
    attemptEnded.wait_for(guard, CUT_PAUSE, [this] { return !isAttempting; });
  }
  Subscriber last = std::exchange(subscriber, nullptr);
  guard.unlock();
  if (thread.joinable()) {
    thread.join();
  }
  if (last != nullptr && !isUnsubscribed) {
    VideoSceneSubscriber::unsubscribe(last.get());
  }
}
