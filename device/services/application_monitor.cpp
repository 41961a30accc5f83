#include "services/application_monitor.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace device {

namespace {

bool takeWord(std::string_view word, std::string_view* text) {
  if (!text->starts_with(word)) {
    return false;
  }
  text->remove_prefix(word.size());
  return true;
}

bool takeNumber(std::string_view* text) {
  const std::size_t end = std::min(text->find_first_not_of("0123456789"), text->size());
  text->remove_prefix(end);
  return end > 0;
}

// "Camera1Profile2"; the aggregate events of a camera and of the device end in "ANY" instead.
bool isProfile(std::string_view topic) {
  return takeWord("Camera", &topic) && takeNumber(&topic) && takeWord("Profile", &topic) &&
         takeNumber(&topic) && topic.empty();
}

}  // namespace

ApplicationMonitor::ApplicationMonitor(Callbacks callbacks) : callbacks(std::move(callbacks)) {}

void ApplicationMonitor::handle(const Event& event) {
  if (valueOf<std::string>(event.keys, "topic1") != "SentrelVideo") {
    return;
  }
  const auto topic = valueOf<std::string>(event.keys, "topic2");
  if (!topic) {
    return;
  }

  if (*topic == "state") {
    const auto value = valueOf<std::string>(event.keys, "value");
    if (!value) {
      return;
    }
    state = *value;
    callbacks.onState(state);
    return;
  }
  const auto active = valueOf<bool>(event.keys, "active");
  if (!active) {
    return;
  }
  if (*topic == "isSentreling") {
    callbacks.onSentreling(*active);
  } else if (isProfile(*topic) && alarms[event.id] != *active) {
    alarms[event.id] = *active;
    callbacks.onAlarm(*active);
  }
}

}  // namespace device
