// What the library does with the keys of events.
#ifndef OVEVENT_EVENT_KEYS_H
#define OVEVENT_EVENT_KEYS_H

#include <string_view>

#include "base/event_keys.h"

// The key of that name and name space, added at the end when it is absent.
EventKey& keyAt(EventKeys& keys, std::string_view name, std::string_view nameSpace);

// Takes over the values of the keys that both have.
void updateValues(EventKeys& keys, const EventKeys& changes);

// True when the event has all keys of the pattern with the same values; a key of the pattern
// without a value asks for the key only.
bool matches(const EventKeys& keys, const EventKeys& pattern);

// Values of other types than those of an event are dropped.
EventKeys keysFrom(GVariant* variant);

#endif
