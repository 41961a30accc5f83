#include "ovevent/event_keys.h"

#include <algorithm>
#include <string>

EventKey& keyAt(EventKeys& keys, std::string_view name, std::string_view nameSpace) {
  if (EventKey* present = findKey(keys, name, nameSpace)) {
    return *present;
  }
  return keys.emplace_back(
      EventKey{.name = std::string(name), .nameSpace = std::string(nameSpace)});
}

void updateValues(EventKeys& keys, const EventKeys& changes) {
  for (const EventKey& change : changes) {
    if (EventKey* key = findKey(keys, change.name, change.nameSpace)) {
      key->value = change.value;
    }
  }
}

bool matches(const EventKeys& keys, const EventKeys& pattern) {
  return std::ranges::all_of(pattern, [&keys](const EventKey& wanted) {
    const EventKey* key = findKey(keys, wanted.name, wanted.nameSpace);
    return key != nullptr && (!wanted.value || wanted.value == key->value);
  });
}

EventKeys keysFrom(GVariant* variant) {
  return *eventKeysFromVariant(variant, StrangeValue::drop);
}
