#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_PERSPECTIVE_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_PERSPECTIVE_H

#include <cstdint>
#include <span>

#include "addon/libs/vigil_pack_lib/profile/perspective_bar.h"

// How large things of the real world look at each height of the picture: a line of scale against
// position, fitted to calibration bars by least squares. Single precision throughout.
class Perspective {
 public:
  // Without bars both coefficients are 0, and every size comes out as 0.
  explicit Perspective(std::span<const PerspectiveBar> bars);

  // The real-world size of something that measures sizeInScene (Q12) at a foot position (Q12);
  // saturated, and 0 where slope or scale are no use.
  std::int32_t calculateRealWorldSize(std::int32_t footValue, std::int32_t sizeInScene) const;

  // Both coefficients within 1e-5.
  // Only for applications that compare filters before they replace them.
  bool operator==(const Perspective& other) const;

 private:
  float slope = 0.0F;
  float intercept = 0.0F;
};

#endif
