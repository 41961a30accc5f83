#include "addon/libs/vigil_pack_lib/guard/visual_confirmation_handler.h"

#include <syslog.h>

#include "app/clock.h"
#include "events/sdk_wrapper.h"

namespace {

constexpr const char* DATA_KEY = "svgframe";

}  // namespace

VisualConfirmationHandler::VisualConfirmationHandler(const std::string& eventName,
                                                     std::int64_t timeout)
    : eventName(eventName), timer(timeout) {}

VisualConfirmationHandler::~VisualConfirmationHandler() {
  disable();
}

bool VisualConfirmationHandler::enable() {
  return enableSince(utils::monotonicTime());
}

bool VisualConfirmationHandler::resume(std::int64_t enabledSince) {
  Timer elsewhere = timer;
  elsewhere.restart(enabledSince);
  return !elsewhere.reachedEnd(utils::monotonicTime()) && enableSince(enabledSince);
}

// Without its event it is not enabled: the next attempt declares it again.
bool VisualConfirmationHandler::enableSince(std::int64_t time) {
  timer.restart(time);
  enabledSince = time;
  emptyEventsSent = 0;
  enabled = enabled || declareEvent();
  return enabled;
}

bool VisualConfirmationHandler::declareEvent() const {
  if (sdk_wrapper_event_add(eventName, eventName, eventName,
                            SDK_EVENT_QUIET | SDK_EVENT_APPLICATION_DATA, DATA_KEY)) {
    return true;
  }
  syslog(LOG_WARNING, "FAILED to create event %s \n", eventName.c_str());
  return false;
}

void VisualConfirmationHandler::disable() {
  if (!enabled) {
    return;
  }
  sendEvent(std::string());
  sdk_wrapper_event_remove(eventName);
  enabled = false;
  emptyEventsSent = 0;
}

bool VisualConfirmationHandler::isAllowedToSend() const {
  return isAllowedToSend(utils::monotonicTime());
}

bool VisualConfirmationHandler::isAllowedToSend(std::int64_t time) const {
  return enabled && !timer.reachedEnd(time);
}

bool VisualConfirmationHandler::send(const std::string& text, std::int64_t time) const {
  return sdk_wrapper_event_send(eventName, 0, text.c_str(), &time);
}

// An empty text or document, unless one was sent already.
bool VisualConfirmationHandler::sendOnce(const std::string& text, std::int64_t time) {
  if (wasLastEventEmpty()) {
    return false;
  }
  ++emptyEventsSent;
  return send(text, time);
}

bool VisualConfirmationHandler::sendEvent(const SvgDoc& document, std::int64_t time) {
  if (!isAllowedToSend(time)) {
    return sendOnce(std::string(), time);
  }
  if (document.empty()) {
    return sendOnce(document.toString(), time);
  }
  if (!send(document.toString(), time)) {
    return false;
  }
  emptyEventsSent = 0;
  return true;
}

bool VisualConfirmationHandler::sendEvent(const std::string& text, std::int64_t time) {
  return sendEvent(SvgDoc(std::string(), text), time);
}

bool VisualConfirmationHandler::sendEvent(const std::string& text) {
  return send(text, 0);
}

bool VisualConfirmationHandler::sendEmptyEvent() {
  if (!send(SvgDoc(std::string()).toString(), 0)) {
    return false;
  }
  ++emptyEventsSent;
  return true;
}

void VisualConfirmationHandler::clearScreen() {
  if (!enabled) {
    return;
  }
  if (!wasLastEventEmpty()) {
    sendEmptyEvent();
  }
  emptyEventsSent = 0;
}
