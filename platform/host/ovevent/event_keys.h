// The keys of an event with their values, and their form on the bus.
#ifndef OVEVENT_EVENT_KEYS_H
#define OVEVENT_EVENT_KEYS_H

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/glib_ptr.h"

using EventValue = std::variant<int, bool, double, std::string>;

struct EventKey {
  std::string name;
  std::string nameSpace;  // empty: none
  std::optional<EventValue> value;
  bool isSource = false;
  bool isData = false;
  std::string tag;  // several tags are parted by a blank
  std::string niceName;
  std::string valueNiceName;
};

class EventKeys {
 public:
  // Null when there is no such key.
  const EventKey* find(std::string_view name, std::string_view nameSpace) const;
  EventKey* find(std::string_view name, std::string_view nameSpace);

  // The key, added at the end when it is absent.
  EventKey& at(std::string_view name, std::string_view nameSpace);

  // Takes over the values of the keys that both have.
  void update(const EventKeys& changes);

  // True when the event has all keys of the pattern with the same values; a key of the pattern
  // without a value asks for the key only.
  bool match(const EventKeys& pattern) const;

  // Type "a(ssavusss)"; floating.
  GVariant* toVariant() const;
  // Values of other types than those of an event are dropped.
  static EventKeys fromVariant(GVariant* keys);

 private:
  std::vector<EventKey> keys;
};

#endif
