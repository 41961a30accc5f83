#ifndef ADDON_LIBS_VIGIL_PACK_LIB_PROFILE_ENTRY_VALUES_H
#define ADDON_LIBS_VIGIL_PACK_LIB_PROFILE_ENTRY_VALUES_H

#include <jansson.h>

#include <cstdint>
#include <optional>

// How values of a profile are read. Integers are taken whole, so that what no 32 bits can hold is
// out of bounds like any other.

// As json_unpack; false when the value does not have that form. jansson reads through a pointer
// that is not const, but changes nothing.
template <typename... Targets>
bool unpack(const json_t* value, const char* format, Targets... targets) {
  return json_unpack(const_cast<json_t*>(value), format, targets...) == 0;
}

struct SwitchedValue {
  json_int_t data;
  bool active;
};

struct SwitchedPair {
  json_int_t first;
  json_int_t second;
  bool active;
};

// {"data": integer, "active": boolean}, or nothing when it is not of that form.
std::optional<SwitchedValue> unpackSwitched(const json_t* entry);

// {"data": [integer, integer], "active": boolean}, the same.
std::optional<SwitchedPair> unpackSwitchedPair(const json_t* entry);

// Both bounds belong to it.
bool isWithin(json_int_t value, json_int_t min, json_int_t max);

// For values that are within 32 bits.
std::int32_t narrow(json_int_t value);

#endif
