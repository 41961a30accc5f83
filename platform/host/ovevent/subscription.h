// One subscription: the pattern, the callback, and the order of what it is told.
//
// deliver(), present() and goLive() are called on the thread of the main context only, close() on
// any thread.
#ifndef OVEVENT_SUBSCRIPTION_H
#define OVEVENT_SUBSCRIPTION_H

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "ovevent.h"
#include "ovevent/event_keys.h"

class Subscription {
 public:
  Subscription(std::uint32_t id, EventKeys pattern, OVEventSubscriptionCallback callback,
               void* user_data);

  // Calls the callback with an event that was sent, if it matches. What arrives before goLive() is
  // older than the present state and is left out.
  void deliver(const EventKeys& keys, std::int64_t time);

  // Calls the callback with the present state of an event, if it matches.
  void present(const EventKeys& keys, std::int64_t time);
  void goLive() { is_live_ = true; }

  // No callback runs after the return. Waits for one that runs, unless it is the caller.
  void close();

 private:
  bool enter();
  void leave();

  const std::uint32_t id_;
  const EventKeys pattern_;
  const OVEventSubscriptionCallback callback_;
  void* const user_data_;
  bool is_live_ = false;  // of the main context's thread

  std::mutex mutex_;
  std::condition_variable left_;
  bool is_closed_ = false;
  int depth_ = 0;  // a callback that runs the main context is called within itself
  std::thread::id runner_;
};

#endif
