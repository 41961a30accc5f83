// The keys of an event with their values, and their form on the bus.
#ifndef BASE_EVENT_KEYS_H
#define BASE_EVENT_KEYS_H

#include <glib.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

using EventValue = std::variant<std::int32_t, bool, double, std::string>;

// One key; absent texts are empty.
struct EventKey {
  std::string name = {};
  std::string nameSpace = {};
  std::optional<EventValue> value = std::nullopt;
  bool isSource = false;
  bool isData = false;
  std::string userTag = {};  // several are parted by a blank
  std::string niceName = {};
  std::string valueNiceName = {};
};

using EventKeys = std::vector<EventKey>;

// The key of that name and name space, null when there is none.
const EventKey* findKey(const EventKeys& keys, std::string_view name, std::string_view nameSpace);
EventKey* findKey(EventKeys& keys, std::string_view name, std::string_view nameSpace);

// The value of the first key of that name in any name space that has one of type T.
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

// As they pass over the bus, "a(ssavusss)"; a floating reference.
GVariant* toVariant(const EventKeys& keys);

// What to do with a key that has several values, or one of a type that no event has.
enum class StrangeValue { refuse, drop };

// The keys of an "a(ssavusss)". Refusing, one strange value means nothing at all; dropping, such a
// key has no value.
std::optional<EventKeys> eventKeysFromVariant(GVariant* variant, StrangeValue strangeValue);

#endif
