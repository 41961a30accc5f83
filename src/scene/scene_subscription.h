#ifndef SCENE_SCENE_SUBSCRIPTION_H
#define SCENE_SCENE_SUBSCRIPTION_H

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "scene/video_scene_subscriber.h"

// One camera's subscription at the subscriber module, which may take seconds over an attempt to
// subscribe: each attempt runs on a thread of its own, and is cut short when the subscription is to
// end. The owner starts attempts and ends the subscription; the attempt alone subscribes.
class SceneSubscription {
 public:
  // Deletes the module's subscriber, and with that waits for its running callback, when the last
  // reference goes: hold no lock that a callback takes.
  using Subscriber = std::shared_ptr<video_scene_subscriber>;
  using Attempt = std::function<void()>;

  SceneSubscription() = default;
  SceneSubscription(const SceneSubscription&) = delete;
  SceneSubscription& operator=(const SceneSubscription&) = delete;

  // end()
  ~SceneSubscription();

  // Runs the attempt on a thread of its own, unless the end has begun; waits for nothing. Only when
  // none is under way. False, logged, when there is no thread to be had.
  bool start(Attempt attempt);
  bool isUnderWay() const;

  // For the attempt. The module's subscriber of the channel (from 1), made when there is none; null
  // on failure. To give it up. To subscribe: the module's result, or without asking it
  // VIDEO_SCENE_SUBSCRIBER_FAILED when there is none or the end has begun.
  Subscriber obtainSubscriber(int channel, void* userData);
  void giveSubscriberUp();
  int subscribe();

  // What fails from then on is the owner's wish.
  bool hasEndBegun() const;

  // Cuts the attempt that is under way short, waits for it and for a running callback, and deletes
  // the subscriber. Nothing can be started any more. Call it without a lock that an attempt or a
  // callback takes.
  void end();

 private:
  void run(const Attempt& attempt);
  bool cutShort(std::unique_lock<std::mutex>& guard);

  mutable std::mutex mutex;  // guards all below; not held while the module may wait
  std::condition_variable attemptEnded;
  Subscriber subscriber;
  bool isAttempting = false;
  bool isSubscribing = false;  // the attempt has asked the module, which may be waiting
  bool isEnding = false;
  std::thread thread;  // the owner's
};

#endif
