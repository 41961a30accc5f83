#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_FILTER_DATA_KEY_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_FILTER_DATA_KEY_H

#include <cstdint>
#include <string>

namespace utils {

// The key under which a filter or guard of a profile keeps its memory on an object: "<tag>_<uid>".
std::string generateFilterDataKey(const std::string& tag, std::int32_t uid);

// A percentage of the picture as a length in Q12 units, rounded half away from zero.
std::int32_t percentToSceneLength(std::int32_t percent);

}  // namespace utils

#endif
