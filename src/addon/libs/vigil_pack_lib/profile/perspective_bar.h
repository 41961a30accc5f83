#ifndef ADDON_LIBS_VIGIL_PACK_LIB_PROFILE_PERSPECTIVE_BAR_H
#define ADDON_LIBS_VIGIL_PACK_LIB_PROFILE_PERSPECTIVE_BAR_H

#include <cstdint>

// One calibration bar: something of known height that stands somewhere in the picture.
struct PerspectiveBar {
  // Both ends along the picture's upward direction in Q12 units, and the height in real-world
  // units.
  PerspectiveBar(std::int32_t position, std::int32_t otherEnd, std::int32_t height);

  // Whether this bar stands higher in the picture than the other, for an image rotation in degrees.
  bool isAbove(const PerspectiveBar& other, std::int32_t rotation) const;

  std::int32_t position;
  std::int32_t otherEnd;
  std::int32_t height;
  float scale;  // Q12 units per real-world unit, with the height's sign
};

#endif
