#include "addon/libs/vigil_pack_lib/filters/filter_data_key.h"

#include <cmath>

namespace utils {

std::string generateFilterDataKey(const std::string& tag, std::int32_t uid) {
  return tag + "_" + std::to_string(uid);
}

std::int32_t percentToSceneLength(std::int32_t percent) {
  return static_cast<std::int32_t>(std::lround(percent * 2.0 / 100.0 * 4096.0));
}

}  // namespace utils
