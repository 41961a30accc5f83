#include "tracker/tracker_events.h"

#include <syslog.h>

#include "config/constants.h"
#include "events/event_key_value_set.h"
#include "events/sdk_wrapper.h"

namespace {

constexpr const char* NAME_SPACE = "tnsorva";
constexpr const char* TOP_LEVEL_TOPIC = "MiruPlatform";
constexpr const char* STATE_TOPIC = "state";
constexpr const char* IS_SENTRELING_TOPIC = "isSentreling";
constexpr const char* STATE_KEY = "value";
constexpr const char* IS_SENTRELING_KEY = "active";
constexpr const char* FIRST_STATE = "stopped";

EventKeyValueSet createTopics(const char* topic2) {
  EventKeyValueSet set;
  set.add("topic0", NAME_SPACE, std::string(TOP_LEVEL_TOPIC))
      .add("topic1", NAME_SPACE, std::string(constants::APP_NAME))
      .niceName("topic1", NAME_SPACE, constants::APP_NAME)
      .add("topic2", NAME_SPACE, std::string(topic2));
  return set;
}

}  // namespace

void TrackerEvents::declareEvents() {
  eventHandler = sdk_wrapper_handler_new();

  EventKeyValueSet state = createTopics(STATE_TOPIC);
  state.markAsUserDefined("topic2", NAME_SPACE, "isApplicationData")
      .add(STATE_KEY, nullptr, std::string(FIRST_STATE))
      .markAsData(STATE_KEY, nullptr);
  if (!sdk_wrapper_handler_declare(eventHandler, state, false, stateEventId)) {
    syslog(LOG_ERR, "Cannot declare state event\n");
  }

  EventKeyValueSet isSentreling = createTopics(IS_SENTRELING_TOPIC);
  isSentreling.addBool(IS_SENTRELING_KEY, nullptr, false).markAsData(IS_SENTRELING_KEY, nullptr);
  if (!sdk_wrapper_handler_declare(eventHandler, isSentreling, false, isSentrelingEventId)) {
    syslog(LOG_ERR, "Cannot declare isSentreling event\n");
  }
}

void TrackerEvents::undeclareEvents() {
  if (eventHandler == nullptr) {
    return;
  }
  sdk_wrapper_handler_undeclare(eventHandler, isSentrelingEventId);
  sdk_wrapper_handler_undeclare(eventHandler, stateEventId);
  sdk_wrapper_handler_free(eventHandler);
  eventHandler = nullptr;
}

void TrackerEvents::sendStateEvent(const std::string& state) {
  EventKeyValueSet set;
  set.add(STATE_KEY, nullptr, state);
  if (!set.ok()) {
    syslog(LOG_ERR, "Could not create state event. Internal error\n");
    return;
  }
  if (!sdk_wrapper_handler_send(eventHandler, stateEventId, set)) {
    syslog(LOG_ERR, "Could not send state event. Internal error\n");
  }
}

void TrackerEvents::sendIsSentrelingEvent(bool active) {
  const std::lock_guard lock(sentrelingMutex);
  sentrelingActive = active;
  EventKeyValueSet set;
  set.addBool(IS_SENTRELING_KEY, nullptr, active);
  if (!set.ok()) {
    syslog(LOG_ERR, "Could not create isSentreling event. Internal error\n");
    return;
  }
  if (!sdk_wrapper_handler_send(eventHandler, isSentrelingEventId, set)) {
    syslog(LOG_ERR, "Could not send isSentreling event. Internal error\n");
  }
}
