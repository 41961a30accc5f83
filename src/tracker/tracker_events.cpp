#include "tracker/tracker_events.h"

#include <syslog.h>

#include "config/constants.h"
#include "events/event_key_value_set.h"
#include "events/event_names.h"
#include "events/sdk_wrapper.h"

namespace {

using utils::NAME_SPACE;
constexpr const char* STATE_TOPIC = "state";
constexpr const char* IS_SENTRELING_TOPIC = "isSentreling";
constexpr const char* STATE_KEY = "value";
constexpr const char* IS_SENTRELING_KEY = "active";
constexpr const char* FIRST_STATE = "stopped";

EventKeyValueSet createTopics(const char* topic2) {
  EventKeyValueSet set;
  set.add("topic0", NAME_SPACE, std::string(constants::APP_CLASS))
      .add("topic1", NAME_SPACE, std::string(constants::APP_NAME))
      .niceName("topic1", NAME_SPACE, constants::APP_NAME)
      .add("topic2", NAME_SPACE, std::string(topic2));
  return set;
}

}  // namespace

void TrackerEvents::declareEvents() {
  const LockGuard lock(mutex);
  isInUse = true;
  if (!declareMissing()) {
    retry.begin();
  }
}

void TrackerEvents::undeclareEvents() {
  const LockGuard lock(mutex);
  isInUse = false;
  if (eventHandler == nullptr) {
    return;
  }
  sdk_wrapper_handler_undeclare(eventHandler, isSentrelingEventId);
  sdk_wrapper_handler_undeclare(eventHandler, stateEventId);
  sdk_wrapper_handler_free(eventHandler);
  eventHandler = nullptr;
  isSentrelingEventId = 0;
  stateEventId = 0;
}

// ---- Declaring ----

// What was sent before is told with the declaration that it was sent without. False while
// something is missing.
bool TrackerEvents::declareMissing() {
  if (eventHandler == nullptr) {
    eventHandler = sdk_wrapper_handler_new();
  }
  if (stateEventId == 0 && declareState() && lastState) {
    tellState();
  }
  if (isSentrelingEventId == 0 && declareIsSentreling() && wasSentrelingSent) {
    tellIsSentreling();
  }
  return stateEventId != 0 && isSentrelingEventId != 0;
}

bool TrackerEvents::declareState() {
  EventKeyValueSet set = createTopics(STATE_TOPIC);
  set.markAsUserDefined("topic2", NAME_SPACE, "isApplicationData")
      .add(STATE_KEY, nullptr, std::string(FIRST_STATE))
      .markAsData(STATE_KEY, nullptr);
  if (!sdk_wrapper_handler_declare(eventHandler, set, false, stateEventId)) {
    syslog(LOG_ERR, "Cannot declare state event\n");
  }
  return stateEventId != 0;
}

bool TrackerEvents::declareIsSentreling() {
  EventKeyValueSet set = createTopics(IS_SENTRELING_TOPIC);
  set.addBool(IS_SENTRELING_KEY, nullptr, false).markAsData(IS_SENTRELING_KEY, nullptr);
  if (!sdk_wrapper_handler_declare(eventHandler, set, false, isSentrelingEventId)) {
    syslog(LOG_ERR, "Cannot declare isSentreling event\n");
  }
  return isSentrelingEventId != 0;
}

// Quiet while there is no service.
bool TrackerEvents::declareUntilAllIsThere() {
  const LockGuard lock(mutex);
  if (isInUse && eventHandler == nullptr) {
    eventHandler = sdk_wrapper_handler_new();
  }
  return !isInUse || (eventHandler != nullptr && declareMissing());
}

// ---- Sending ----

void TrackerEvents::sendStateEvent(const std::string& state) {
  const LockGuard lock(mutex);
  const bool wasMissing = stateEventId == 0;
  lastState = state;
  declareMissing();
  const bool isTold = wasMissing && stateEventId != 0;
  if (!isTold) {
    tellState();
  }
}

void TrackerEvents::sendIsSentrelingEvent(bool active) {
  const LockGuard lock(mutex);
  const bool wasMissing = isSentrelingEventId == 0;
  sentrelingActive = active;
  wasSentrelingSent = true;
  declareMissing();
  const bool isTold = wasMissing && isSentrelingEventId != 0;
  if (!isTold) {
    tellIsSentreling();
  }
}

void TrackerEvents::tellState() {
  EventKeyValueSet set;
  set.add(STATE_KEY, nullptr, *lastState);
  if (!set.ok()) {
    syslog(LOG_ERR, "Could not create state event. Internal error\n");
    return;
  }
  if (!sdk_wrapper_handler_send(eventHandler, stateEventId, set)) {
    syslog(LOG_ERR, "Could not send state event. Internal error\n");
  }
}

void TrackerEvents::tellIsSentreling() {
  EventKeyValueSet set;
  set.addBool(IS_SENTRELING_KEY, nullptr, sentrelingActive);
  if (!set.ok()) {
    syslog(LOG_ERR, "Could not create isSentreling event. Internal error\n");
    return;
  }
  if (!sdk_wrapper_handler_send(eventHandler, isSentrelingEventId, set)) {
    syslog(LOG_ERR, "Could not send isSentreling event. Internal error\n");
  }
}
