#include "addon/libs/vigil_pack_lib/filters/perspective_bar_utils.h"

#include <cmath>

#include "config/status_exception.h"

namespace {

constexpr float SAME_SCALE = 1e-5F;

bool isValidPair(const PerspectiveBar& a, const PerspectiveBar& b, std::int32_t rotation) {
  const bool sameScale = std::fabs(a.scale - b.scale) < SAME_SCALE;
  const bool samePosition = a.position == b.position;
  if (samePosition != sameScale) {
    return false;
  }
  if (a.isAbove(b, rotation) && a.scale > b.scale) {
    return false;
  }
  return !(b.isAbove(a, rotation) && a.scale <= b.scale);
}

}  // namespace

namespace perspectiveBarUtils {

void validatePerspectiveBars(std::span<const PerspectiveBar> bars, std::int32_t rotation) {
  throwIf(bars.size() < 2, "There must be at least two perspective bars",
          StatusCode_e::contradiction);
  for (std::size_t i = 0; i + 1 < bars.size(); ++i) {
    for (std::size_t j = i + 1; j < bars.size(); ++j) {
      throwIf(!isValidPair(bars[i], bars[j], rotation),
              "One or more of the perspective bars have invalid values",
              StatusCode_e::contradiction);
    }
  }
}

}  // namespace perspectiveBarUtils
