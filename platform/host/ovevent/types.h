// What is behind the opaque types of ovevent.h.
#ifndef OVEVENT_TYPES_H
#define OVEVENT_TYPES_H

#include <cstdint>

#include "ovevent.h"
#include "ovevent/event_keys.h"

struct OVEventKeyValueSet {
  EventKeys keys;
};

struct OVEvent {
  OVEventKeyValueSet set;
  std::int64_t time;
};

#endif
