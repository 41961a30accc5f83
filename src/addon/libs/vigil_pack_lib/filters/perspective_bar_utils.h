#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_PERSPECTIVE_BAR_UTILS_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_PERSPECTIVE_BAR_UTILS_H

#include <cstdint>
#include <span>

#include "addon/libs/vigil_pack_lib/profile/perspective_bar.h"

namespace perspectiveBarUtils {

// Checks that at least two bars are there and that of each pair the higher one in the picture has
// the smaller scale; two identical bars are accepted. Throws StatusException (contradiction).
void validatePerspectiveBars(std::span<const PerspectiveBar> bars, std::int32_t rotation);

}  // namespace perspectiveBarUtils

#endif
