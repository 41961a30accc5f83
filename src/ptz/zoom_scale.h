#ifndef PTZ_ZOOM_SCALE_H
#define PTZ_ZOOM_SCALE_H

#include <cstdint>

// Between the head's zoom scale and magnification factors. Pure arithmetic.
struct ZoomScale {
  // The magnification of a position on the head's scale. The divisor is the greatest position, not
  // the range of positions: that is how the heads count.
  double zoomTravoToMultiplier(std::int32_t zoom) const;

  // The position of a magnification, truncated. Leaves the correction out: the correction is of
  // what the head reports, not of what it is told.
  std::int32_t zoomMultiplierToTravo(double multiplier) const;

  double minFieldAngle = 2.5;   // degrees, of the picture's width
  double maxFieldAngle = 64.6;  // degrees
  std::int32_t minZoom = 1;
  std::int32_t maxZoom = 9999;
  double zoomCorrection = 1.0;

 private:
  double range() const;
};

#endif
