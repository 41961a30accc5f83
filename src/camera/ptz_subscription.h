#ifndef CAMERA_PTZ_SUBSCRIPTION_H
#define CAMERA_PTZ_SUBSCRIPTION_H

#include <ovevent.h>

#include <memory>

// The subscriptions to the PTZ service's preset and movement events, for as long as the object
// lives. What cannot be had is logged and asked for again every second, on the main loop's thread.
// Callbacks come on that thread, too. The destructor waits for one that is running: hold no lock
// that it takes.
class PTZ_Subscription {
 public:
  PTZ_Subscription(OVEventSubscriptionCallback presetCallback,
                   OVEventSubscriptionCallback movementCallback);
  PTZ_Subscription(const PTZ_Subscription&) = delete;
  PTZ_Subscription& operator=(const PTZ_Subscription&) = delete;
  ~PTZ_Subscription();

 private:
  class Link;

  const std::unique_ptr<Link> link;
};

#endif
