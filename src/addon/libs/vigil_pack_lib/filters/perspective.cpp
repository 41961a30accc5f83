#include "addon/libs/vigil_pack_lib/filters/perspective.h"

#include <cmath>
#include <limits>

namespace {

constexpr float SAME_COEFFICIENT = 1e-5F;

std::int32_t truncateSaturated(float value) {
  if (!std::isfinite(value)) {
    return 0;
  }
  using Limits = std::numeric_limits<std::int32_t>;
  if (value >= static_cast<float>(Limits::max())) {
    return Limits::max();
  }
  if (value <= static_cast<float>(Limits::min())) {
    return Limits::min();
  }
  return static_cast<std::int32_t>(value);
}

}  // namespace

Perspective::Perspective(std::span<const PerspectiveBar> bars) {
  if (bars.empty()) {
    return;
  }
  const auto count = static_cast<float>(bars.size());
  float sumX = 0.0F;
  float sumY = 0.0F;
  for (const PerspectiveBar& bar : bars) {
    sumX += static_cast<float>(bar.position);
    sumY += bar.scale;
  }
  const float meanX = sumX / count;
  const float meanY = sumY / count;
  float sumXX = 0.0F;
  float sumXY = 0.0F;
  for (const PerspectiveBar& bar : bars) {
    const float dx = static_cast<float>(bar.position) - meanX;
    const float dy = bar.scale - meanY;
    sumXX = std::fma(dx, dx, sumXX);
    sumXY = std::fma(dy, dx, sumXY);
  }
  slope = sumXY / sumXX;
  intercept = std::fma(-slope, meanX, meanY);
}

std::int32_t Perspective::calculateRealWorldSize(std::int32_t footValue,
                                                 std::int32_t sizeInScene) const {
  const float scale = std::fma(slope, static_cast<float>(footValue), intercept);
  if (scale == 0.0F || !std::isfinite(slope) || !std::isfinite(scale)) {
    return 0;
  }
  return truncateSaturated(static_cast<float>(sizeInScene) / scale + 0.5F);
}

bool Perspective::operator==(const Perspective& other) const {
  return std::fabs(slope - other.slope) < SAME_COEFFICIENT &&
         std::fabs(intercept - other.intercept) < SAME_COEFFICIENT;
}
