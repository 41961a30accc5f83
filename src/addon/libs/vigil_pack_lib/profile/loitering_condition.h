#ifndef ADDON_LIBS_VIGIL_PACK_LIB_PROFILE_LOITERING_CONDITION_H
#define ADDON_LIBS_VIGIL_PACK_LIB_PROFILE_LOITERING_CONDITION_H

#include <cstdint>
#include <string>
#include <vector>

#include "geometry/polygon.h"

// When loitering counts: of one object, of a group, or of an object that has stopped.
struct LoiteringCondition {
  std::string type;
  std::vector<std::int32_t> parameters;
  bool active = false;
};

struct LoiteringArea {
  Polygon area;
  std::vector<LoiteringCondition> conditions;
};

#endif
