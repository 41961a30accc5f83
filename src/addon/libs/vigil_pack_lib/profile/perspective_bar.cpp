#include "addon/libs/vigil_pack_lib/profile/perspective_bar.h"

#include <cmath>

PerspectiveBar::PerspectiveBar(std::int32_t position, std::int32_t otherEnd, std::int32_t height)
    : position(position),
      otherEnd(otherEnd),
      height(height),
      scale(std::fabs(static_cast<float>(otherEnd - position)) / static_cast<float>(height)) {}

bool PerspectiveBar::isAbove(const PerspectiveBar& other, std::int32_t rotation) const {
  if (rotation == 90 || rotation == 180) {
    return position < other.position;
  }
  return position > other.position;
}
