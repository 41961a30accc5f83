// The scene subscriber module of the tests. callback_camera_container_test.cpp has its functions,
// and a loader that takes the place of GModule's at link time.
#ifndef TESTS_SRC_CAMERA_FAKE_SCENE_MODULE_H
#define TESTS_SRC_CAMERA_FAKE_SCENE_MODULE_H

#include <video_scene_subscriber.h>

#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "base/mutex.h"
#include "support/patience.h"

struct video_scene_subscriber {
  int channel = 0;
  int format = 0;
  void* userData = nullptr;
  video_scene_subscriber_message_callback onMessage = nullptr;
  video_scene_subscriber_disconnect_callback onDisconnect = nullptr;
  bool hasBoundingBox = false;
  bool hasPolygon = false;
  bool hasVelocity = false;
  bool hasLowConfident = false;
  bool isSubscribed = false;
  bool isDeleted = false;
  bool isWaiting = false;  // in subscribe, for a service that does not answer
  bool isCutShort = false;
};

// Its functions come from several threads; what a test sets, it sets while none is under way.
class FakeSceneModule {
 public:
  static FakeSceneModule& get() {
    static FakeSceneModule s_module;
    return s_module;
  }

  // In order: "open", "create 0", "subscribe 0", "unsubscribe 0", "delete 0" with the channel,
  // "close".
  std::vector<std::string> takeCalls() {
    const LockGuard lock(mutex);
    return std::exchange(calls, {});
  }
  void note(const std::string& call) {
    const LockGuard lock(mutex);
    calls.push_back(call);
    changed.notifyAll();
  }

  // The newest subscriber of a channel (from 0) that lives, or null.
  video_scene_subscriber* find(int channel) const {
    const LockGuard lock(mutex);
    return findLocked(channel);
  }
  int alive() const {
    const LockGuard lock(mutex);
    int count = 0;
    for (const auto& subscriber : subscribers) {
      count += subscriber->isDeleted ? 0 : 1;
    }
    return count;
  }

  // Waits (really) until the channel's attempt waits for its service; false after 10 s.
  bool waitForMute(int channel) {
    const LockGuard lock(mutex);
    return waitUntil([&] { return isWaitingLocked(channel); }, changed, mutex, PATIENCE);
  }
  bool isWaiting(int channel) const {
    const LockGuard lock(mutex);
    return isWaitingLocked(channel);
  }

  // Blocks until the attempt is cut short (or for 10 s).
  void waitForAnswer(video_scene_subscriber& subscriber) {
    const LockGuard lock(mutex);
    subscriber.isWaiting = true;
    changed.notifyAll();
    waitUntil([&] { return subscriber.isCutShort; }, changed, mutex, PATIENCE);
    subscriber.isWaiting = false;
  }

  // Whether there was an attempt to cut short.
  bool cutShort(video_scene_subscriber& subscriber) {
    const LockGuard lock(mutex);
    if (!subscriber.isWaiting) {
      return false;
    }
    subscriber.isWaiting = false;
    subscriber.isCutShort = true;
    changed.notifyAll();
    return true;
  }

  bool isAbsent = false;
  int failingCreates = 0;
  int failingSubscribes = 0;
  int failingUnsubscribes = 0;
  int subscribeResult = VIDEO_SCENE_SUBSCRIBER_NO_PROVIDER;
  std::set<int> muteChannels;
  std::function<void(video_scene_subscriber&)> whileSubscribing;
  std::function<void(video_scene_subscriber&)> whileUnsubscribing;

  mutable Mutex mutex;  // guards the calls and subscribers
  std::vector<std::string> calls;
  std::vector<std::unique_ptr<video_scene_subscriber>> subscribers;

 private:
  static constexpr std::chrono::seconds PATIENCE{10};

  video_scene_subscriber* findLocked(int channel) const {
    for (auto i = subscribers.rbegin(); i != subscribers.rend(); ++i) {
      if ((*i)->channel == channel && !(*i)->isDeleted) {
        return i->get();
      }
    }
    return nullptr;
  }
  bool isWaitingLocked(int channel) const {
    const video_scene_subscriber* const subscriber = findLocked(channel);
    return subscriber != nullptr && subscriber->isWaiting;
  }

  Condition changed;
};

#endif
