#include "ptz/zoom_scale.h"

#include <cmath>
#include <limits>

double ZoomScale::range() const {
  return maxFieldAngle / minFieldAngle - 1.0;
}

double ZoomScale::zoomTravoToMultiplier(std::int32_t zoom) const {
  const double multiplier =
      range() * (static_cast<double>(zoom) - minZoom) * zoomCorrection / maxZoom + 1.0;
  return std::isfinite(multiplier) ? multiplier : 1.0;
}

std::int32_t ZoomScale::zoomMultiplierToTravo(double multiplier) const {
  const double zoom = maxZoom * (multiplier - 1.0) / range() + minZoom;
  using Limits = std::numeric_limits<std::int32_t>;
  if (!(zoom >= Limits::min() && zoom <= Limits::max())) {
    return minZoom;
  }
  return static_cast<std::int32_t>(zoom);
}
