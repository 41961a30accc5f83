#include "fleet/alarm_entry.h"

#include <algorithm>

#include "web_server/json_values.h"

namespace device {

namespace {

constexpr std::size_t LONGEST_TEXT = 200;

}  // namespace

JsonAutoPtr alarmEntry(const std::string& site, const std::string& alarm, const json_t* event) {
  JsonAutoPtr entry(json_object());
  json_object_set_new(entry.get(), "site", jsonText(site));
  json_object_set_new(entry.get(), "alarm", jsonText(alarm));
  json_object_set_new(entry.get(), "nice", jsonText(textOf(event, "nice")));
  json_object_set_new(entry.get(), "time", jsonText(textOf(event, "time")));
  json_object_set_new(entry.get(), "active", json_boolean(isActive(event)));
  const EventNumber number = EventNumber::of(event);
  json_object_set_new(entry.get(), "start", jsonText(number.start));
  json_object_set_new(entry.get(), "seq", json_integer(number.count));
  return entry;
}

bool isActive(const json_t* event) {
  return json_is_true(json_object_get(json_object_get(event, "data"), "active"));
}

std::string textOf(const json_t* object, const char* key) {
  const char* text = json_string_value(json_object_get(object, key));
  return std::string(text != nullptr ? text : "").substr(0, LONGEST_TEXT);
}

EventNumber EventNumber::of(const json_t* event) {
  return {textOf(event, "start"),
          std::clamp<json_int_t>(json_integer_value(json_object_get(event, "seq")), 0, MOST)};
}

}  // namespace device
