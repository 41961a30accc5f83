#ifndef SCENE_SCENE_SUBSCRIPTION_H
#define SCENE_SCENE_SUBSCRIPTION_H

#include <functional>
#include <memory>
#include <thread>

#include "app/lock_order.h"
#include "base/mutex.h"
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
  Subscriber beginSubscribing() EXCLUDES(mutex);
  void endSubscribing() EXCLUDES(mutex);
  Subscriber findSubscribing() const EXCLUDES(mutex);
  bool cutShort() EXCLUDES(mutex);
  bool endAttempt() EXCLUDES(mutex);
  Subscriber takeSubscriber() EXCLUDES(mutex);

  // Not held while the module may wait.
  mutable Mutex mutex ACQUIRED_AFTER(lock_order::CONTAINER) ACQUIRED_BEFORE(lock_order::CAMERA);
  Condition attemptEnded;
  Subscriber subscriber GUARDED_BY(mutex);
  bool isAttempting GUARDED_BY(mutex) = false;
  bool isSubscribing GUARDED_BY(mutex) = false;  // has asked the module, which may be waiting
  bool isEnding GUARDED_BY(mutex) = false;
  std::thread thread;  // the owner's
};

#endif
