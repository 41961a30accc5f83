#include "events/state_event_handler.h"

#include <algorithm>

#include "events/event_names.h"

StateEventHandler::StateEventHandler(std::int32_t camera, std::int32_t uid,
                                     const std::string& appName, const std::string& name,
                                     std::int64_t eventDuration, StateEventProducerI& producer)
    : handle(producer.registerEvent(camera, utils::generateEventName(camera, uid),
                                    utils::generateEventNiceName(appName, name))),
      timer(std::max<std::int64_t>(eventDuration, 0)),
      producer(producer) {
  handle.id = uid;
}

StateEventHandler::~StateEventHandler() {
  if (ongoing) {
    producer.sendEndEvent(handle);
  }
  producer.unregisterEvent(handle);
}

StateEventResult_e StateEventHandler::handleAlarm(bool alarm, std::int64_t time) {
  if (alarm) {
    timer.restart(time);
    if (ongoing) {
      return StateEventResult_e::nothing;
    }
    producer.sendStartEvent(handle, time);
    ongoing = true;
    return StateEventResult_e::started;
  }
  if (!hasReachedEnd(time)) {
    return StateEventResult_e::nothing;
  }
  producer.sendEndEvent(handle, time);
  ongoing = false;
  return StateEventResult_e::ended;
}

bool StateEventHandler::hasReachedEnd(std::int64_t time) const {
  return ongoing && timer.reachedEnd(time);
}

void StateEventHandler::stopAllEvents(std::int64_t time) {
  if (!ongoing) {
    return;
  }
  producer.sendEndEvent(handle, time);
  timer.stop();
  ongoing = false;
}
