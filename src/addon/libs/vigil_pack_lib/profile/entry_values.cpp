#include "addon/libs/vigil_pack_lib/profile/entry_values.h"

std::optional<SwitchedValue> unpackSwitched(const json_t* entry) {
  json_int_t data = 0;
  int active = 0;
  if (!unpack(entry, "{s:I, s:b}", "data", &data, "active", &active)) {
    return std::nullopt;
  }
  return SwitchedValue{data, active != 0};
}

std::optional<SwitchedPair> unpackSwitchedPair(const json_t* entry) {
  json_int_t first = 0;
  json_int_t second = 0;
  int active = 0;
  if (!unpack(entry, "{s:[II!], s:b}", "data", &first, &second, "active", &active)) {
    return std::nullopt;
  }
  return SwitchedPair{first, second, active != 0};
}

bool isWithin(json_int_t value, json_int_t min, json_int_t max) {
  return value >= min && value <= max;
}

std::int32_t narrow(json_int_t value) {
  return static_cast<std::int32_t>(value);
}
