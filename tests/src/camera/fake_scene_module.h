// The scene subscriber module of the tests. callback_camera_container_test.cpp has its functions,
// and a loader that takes the place of GModule's at link time.
#ifndef TESTS_SRC_CAMERA_FAKE_SCENE_MODULE_H
#define TESTS_SRC_CAMERA_FAKE_SCENE_MODULE_H

#include <video_scene_subscriber.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

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
};

class FakeSceneModule {
 public:
  static FakeSceneModule& get() {
    static FakeSceneModule module;
    return module;
  }

  // In order: "open", "create 0", "subscribe 0", "unsubscribe 0", "delete 0" with the channel,
  // "close".
  std::vector<std::string> takeCalls() {
    const std::scoped_lock lock(mutex);
    return std::exchange(calls, {});
  }
  void note(const std::string& call) {
    const std::scoped_lock lock(mutex);
    calls.push_back(call);
  }

  // The newest subscriber of a channel (from 0) that lives, or null.
  video_scene_subscriber* find(int channel) const {
    for (auto i = subscribers.rbegin(); i != subscribers.rend(); ++i) {
      if ((*i)->channel == channel && !(*i)->isDeleted) return i->get();
    }
    return nullptr;
  }
  int alive() const {
    int count = 0;
    for (const auto& subscriber : subscribers) count += subscriber->isDeleted ? 0 : 1;
    return count;
  }

  bool isAbsent = false;
  int failingCreates = 0;
  int failingSubscribes = 0;
  int subscribeResult = VIDEO_SCENE_SUBSCRIBER_NO_PROVIDER;
  std::function<void(video_scene_subscriber&)> whileUnsubscribing;

  std::mutex mutex;  // guards the calls
  std::vector<std::string> calls;
  std::vector<std::unique_ptr<video_scene_subscriber>> subscribers;
};

#endif
