#ifndef DEVICE_FLEET_ALARM_ENTRY_H
#define DEVICE_FLEET_ALARM_ENTRY_H

#include <jansson.h>

#include <string>

#include "base/json_auto_ptr.h"

namespace device {

// How an alarm's begin or end stands in a list: {"site":"north","alarm":"Camera1ProfileANY",
// "nice":"Door","time":"2026-01-01T12:00:00.000Z","active":true,"start":"...","seq":17}.
// event: as the site told it.
JsonAutoPtr alarmEntry(const std::string& site, const std::string& alarm, const json_t* event);

// What a site's event says; of texts no more than a page shows.
bool isActive(const json_t* event);
std::string textOf(const json_t* object, const char* key);

// Where an event stands among those of its topic.
struct EventNumber {
  std::string start;     // of the device
  json_int_t count = 0;  // from 1

  static constexpr json_int_t MOST = json_int_t{1} << 53;

  static EventNumber of(const json_t* event);
  auto operator<=>(const EventNumber&) const = default;
};

}  // namespace device

#endif
