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
  const LockGuard guard(mutex);
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
  const LockGuard guard(mutex);
  isAttempting = false;
  attemptEnded.notifyAll();
}

bool SceneSubscription::isUnderWay() const {
  const LockGuard guard(mutex);
  return isAttempting;
}

SceneSubscription::Subscriber SceneSubscription::obtainSubscriber(int channel, void* userData) {
  const LockGuard guard(mutex);
  if (subscriber == nullptr) {
    if (VideoSceneSubscriber::Handle made =
            VideoSceneSubscriber::createSubscriber(channel, DATA_FORMAT_SCENE, userData)) {
      subscriber.reset(made, VideoSceneSubscriber::deleteSubscriber);
    }
  }
  return subscriber;
}

SceneSubscription::Subscriber SceneSubscription::takeSubscriber() {
  const LockGuard guard(mutex);
  return std::exchange(subscriber, nullptr);
}

void SceneSubscription::giveSubscriberUp() {
  takeSubscriber().reset();
}

// ---- Subscribing ----

int SceneSubscription::subscribe() {
  const Subscriber asked = beginSubscribing();
  if (asked == nullptr) {
    return VIDEO_SCENE_SUBSCRIBER_FAILED;
  }
  const int result =
      VideoSceneSubscriber::trySubscribe(asked.get(), [this] { return hasEndBegun(); });
  endSubscribing();
  return result;
}

// Null when there is nobody to ask or the end has begun.
SceneSubscription::Subscriber SceneSubscription::beginSubscribing() {
  const LockGuard guard(mutex);
  if (isEnding || subscriber == nullptr) {
    return nullptr;
  }
  isSubscribing = true;
  return subscriber;
}

void SceneSubscription::endSubscribing() {
  const LockGuard guard(mutex);
  isSubscribing = false;
}

// The reference keeps the subscriber, which the attempt may give up meanwhile.
SceneSubscription::Subscriber SceneSubscription::findSubscribing() const {
  const LockGuard guard(mutex);
  return isSubscribing ? subscriber : nullptr;
}

// ---- The end ----

bool SceneSubscription::hasEndBegun() const {
  const LockGuard guard(mutex);
  return isEnding;
}

bool SceneSubscription::cutShort() {
  const Subscriber asked = findSubscribing();
  return asked != nullptr &&
         VideoSceneSubscriber::cutShort(asked.get()) == VIDEO_SCENE_SUBSCRIBER_OK;
}

// Whether an attempt was cut short by a call that has ended the subscription, too.
bool SceneSubscription::endAttempt() {
  {
    const LockGuard guard(mutex);
    isEnding = true;
  }
  bool isCut = false;
  while (isUnderWay()) {
    isCut = isCut || cutShort();
    const LockGuard guard(mutex);
    if (isAttempting) {
      attemptEnded.waitFor(mutex, CUT_PAUSE);
    }
  }
  return isCut;
}

void SceneSubscription::end() {
  const bool isUnsubscribed = endAttempt();
  const Subscriber last = takeSubscriber();
  if (thread.joinable()) {
    thread.join();
  }
  if (last != nullptr && !isUnsubscribed) {
    VideoSceneSubscriber::unsubscribe(last.get());
  }
}
