#include "camera/ptz_subscription.h"

#include <syslog.h>

#include <string>

#include "events/event_key_value_set.h"
#include "events/sdk_wrapper.h"

PTZ_Subscription::PTZ_Subscription(OVEventSubscriptionCallback presetCallback,
                                   OVEventSubscriptionCallback movementCallback)
    : handler(sdk_wrapper_handler_new()) {
  if (handler == nullptr) {
    syslog(LOG_ERR, "Could not subscribe to PTZ events\n");
    return;
  }
  presetSubscription = subscribe("PTZPresets", presetCallback);
  movementSubscription = subscribe("Move", movementCallback);
}

PTZ_Subscription::~PTZ_Subscription() {
  unsubscribe(presetSubscription);
  unsubscribe(movementSubscription);
  sdk_wrapper_handler_free(handler);
}

std::uint32_t PTZ_Subscription::subscribe(const char* topic, OVEventSubscriptionCallback callback) {
  EventKeyValueSet set;
  set.add("topic0", "tns1", std::string("PTZController"))
      .add("topic1", "tnsorva", std::string(topic));
  std::uint32_t id = 0;
  if (!set.ok() ||
      !ov_event_handler_subscribe(handler, set.get(), callback, nullptr, &id, nullptr)) {
    syslog(LOG_ERR, "Could not subscribe to PTZ events %s\n", topic);
    return 0;
  }
  return id;
}

// Not through the platform wrapper: its mutex must not be held while a running callback is waited
// for.
void PTZ_Subscription::unsubscribe(std::uint32_t id) {
  if (id != 0) {
    ov_event_handler_unsubscribe(handler, id, nullptr);
  }
}
