#include "fleet/alarm_history.h"

#include <algorithm>

#include "web_server/broker_options.h"

namespace device {

namespace {

constexpr std::string_view TOP = "sites.";
constexpr std::string_view OWN = ".SentrelVideo.alarms.";
constexpr std::string_view ALARM = "Camera";

}  // namespace

void AlarmHistory::take(std::string_view subject, const std::string& payload) {
  const std::size_t own = subject.find(OWN);
  if (!subject.starts_with(TOP) || own == std::string_view::npos || own < TOP.size()) {
    return;
  }
  const std::string site(subject.substr(TOP.size(), own - TOP.size()));
  const std::string alarm(subject.substr(own + OWN.size()));
  if (!isSiteName(site) || !isSiteName(alarm) || !alarm.starts_with(ALARM)) {
    return;
  }
  const JsonAutoPtr event(json_loads(payload.c_str(), 0, nullptr));
  if (json_is_object(event.get())) {
    events[{site, alarm}].try_emplace(EventNumber::of(event.get()),
                                      alarmEntry(site, alarm, event.get()));
  }
}

std::vector<JsonAutoPtr> AlarmHistory::all() const {
  std::vector<JsonAutoPtr> entries;
  for (const auto& [alarm, numbered] : events) {
    for (const auto& [number, entry] : numbered) {
      entries.push_back(entry);
    }
  }
  return entries;
}

// An alarm is declared with a value, its first one: that is news only if it is raised. What came
// before the first one that is known is not known.
std::vector<JsonAutoPtr> AlarmHistory::last(std::size_t most) const {
  std::vector<JsonAutoPtr> entries;
  for (const auto& [alarm, numbered] : events) {
    const JsonAutoPtr* before = nullptr;
    for (const auto& [number, entry] : numbered) {
      const json_t* active = json_object_get(entry.get(), "active");
      const bool isDeclared = before == nullptr && number.count <= 1 && !json_is_true(active);
      const bool isSame =
          before != nullptr && json_equal(active, json_object_get(before->get(), "active")) != 0;
      if (!isDeclared && !isSame) {
        entries.push_back(entry);
      }
      before = &entry;
    }
  }
  std::ranges::stable_sort(entries, {}, [](const JsonAutoPtr& entry) {
    return std::string_view(json_string_value(json_object_get(entry.get(), "time")));
  });
  if (entries.size() > most) {
    entries.erase(entries.begin(), entries.end() - static_cast<std::ptrdiff_t>(most));
  }
  return entries;
}

}  // namespace device
