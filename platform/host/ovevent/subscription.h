// One subscription: the pattern, the callback, and the order of what it is told.
//
// deliver(), present() and goLive() are called on the thread of the main context only, close() on
// any thread.
#ifndef OVEVENT_SUBSCRIPTION_H
#define OVEVENT_SUBSCRIPTION_H

#include <cstdint>
#include <thread>

#include "base/mutex.h"
#include "ovevent.h"
#include "ovevent/event_keys.h"

class Subscription {
 public:
  Subscription(std::uint32_t id, EventKeys pattern, OVEventSubscriptionCallback callback,
               void* userData);

  // Calls the callback with an event that was sent, if it matches. What arrives before goLive() is
  // older than the present state and is left out.
  void deliver(const EventKeys& keys, std::int64_t time);

  // Calls the callback with the present state of an event, if it matches.
  void present(const EventKeys& keys, std::int64_t time);
  void goLive() { isLive = true; }

  // No callback runs after the return. Waits for one that runs, unless it is the caller.
  void close() EXCLUDES(mutex);

 private:
  bool enter() EXCLUDES(mutex);
  void leave() EXCLUDES(mutex);

  const std::uint32_t id;
  const EventKeys pattern;
  const OVEventSubscriptionCallback callback;
  void* const userData;
  bool isLive = false;  // of the main context's thread

  Mutex mutex;
  Condition left;
  bool isClosed GUARDED_BY(mutex) = false;
  int depth GUARDED_BY(mutex) = 0;  // a callback that runs the main context is called within itself
  std::thread::id runner GUARDED_BY(mutex);
};

#endif
