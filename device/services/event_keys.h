#ifndef DEVICE_SERVICES_EVENT_KEYS_H
#define DEVICE_SERVICES_EVENT_KEYS_H

#include <glib.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace device {

using EventValue = std::variant<std::int32_t, bool, double, std::string>;

enum EventMark_e : std::uint32_t { MARK_SOURCE = 1, MARK_DATA = 2 };

// One key of an event; absent texts are empty.
struct EventKey {
  std::string name;
  std::string nameSpace;
  std::optional<EventValue> value;
  std::uint32_t marks = 0;  // EventMark_e bits
  std::string userTag;
  std::string niceName;
  std::string valueNiceName;
};

using EventKeys = std::vector<EventKey>;

// The key of that name and name space, null when there is none.
const EventKey* findKey(const EventKeys& keys, std::string_view name, std::string_view nameSpace);
EventKey* findKey(EventKeys& keys, std::string_view name, std::string_view nameSpace);

// The value of the first key of that name in any name space, when it has one of type T.
template <typename T>
std::optional<T> valueOf(const EventKeys& keys, std::string_view name) {
  for (const EventKey& key : keys) {
    if (key.name != name || !key.value) {
      continue;
    }
    if (const T* value = std::get_if<T>(&*key.value)) {
      return *value;
    }
  }
  return std::nullopt;
}

// The keys as they pass over the bus, a(ssavusss); a floating reference.
GVariant* toVariant(const EventKeys& keys);

// The keys of an a(ssavusss); nothing when a value is not of type i, b, d or s or one key has
// several values.
std::optional<EventKeys> eventKeysFromVariant(GVariant* variant);

}  // namespace device

#endif
