#ifndef CAMERA_PTZ_SUBSCRIPTION_H
#define CAMERA_PTZ_SUBSCRIPTION_H

#include <ovevent.h>

#include <cstdint>

// The subscriptions to the PTZ service's preset and movement events, for as long as the object
// lives. Callbacks come on the main loop's thread. The destructor waits for one that is running:
// hold no lock that it takes.
class PTZ_Subscription {
 public:
  PTZ_Subscription(OVEventSubscriptionCallback presetCallback,
                   OVEventSubscriptionCallback movementCallback);
  PTZ_Subscription(const PTZ_Subscription&) = delete;
  PTZ_Subscription& operator=(const PTZ_Subscription&) = delete;
  ~PTZ_Subscription();

 private:
  std::uint32_t subscribe(const char* topic, OVEventSubscriptionCallback callback);
  void unsubscribe(std::uint32_t id);

  OVEventHandler* handler;
  std::uint32_t presetSubscription = 0;  // 0: none
  std::uint32_t movementSubscription = 0;
};

#endif
