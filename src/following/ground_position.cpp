#include "following/ground_position.h"

#include <algorithm>
#include <cmath>

#include "following/pictures.h"
#include "following/units.h"

namespace following {

namespace {

constexpr double STEEPEST = -89.0;       // deg
constexpr double FLATTEST = -0.6;        // deg
constexpr double FASTEST_STAMPED = 2.0;  // m/s, beyond which a speed widens a position no more
constexpr double LEAST_HEIGHT = 0.5;     // m, of a person
constexpr double GREATEST_HEIGHT = 2.5;  // m

bool isFinite(const Viewpoint& viewpoint, const Sighting& sighting) {
  return std::isfinite(viewpoint.height) && std::isfinite(viewpoint.offsetX) &&
         std::isfinite(viewpoint.offsetY) && std::isfinite(viewpoint.focalLength) &&
         std::isfinite(sighting.pan) && std::isfinite(sighting.footTilt);
}

// Similar triangles of the foot and the top at the same distance.
std::optional<double> heightOf(double cameraHeight, double footTangent, double headTilt) {
  const double height = cameraHeight * (1.0 - std::tan(radians(-headTilt)) / footTangent);
  const bool isPersons =
      std::abs(headTilt) < 90.0 && height >= LEAST_HEIGHT && height <= GREATEST_HEIGHT;
  return isPersons ? std::optional(height) : std::nullopt;
}

}  // namespace

double focalLength(double width, double horizontalField) {
  return width / 2.0 / std::tan(radians(horizontalField) / 2.0);
}

std::optional<GroundPosition> locate(const Viewpoint& viewpoint, const Sighting& sighting,
                                     double speed) {
  if (!isFinite(viewpoint, sighting) || !(viewpoint.height > 0.0) ||
      !(viewpoint.focalLength > 0.0) || sighting.footTilt > FLATTEST) {
    return std::nullopt;
  }
  const double depression = radians(-std::max(sighting.footTilt, STEEPEST));
  const double tangent = std::tan(depression);
  const double distance = viewpoint.height / tangent;
  const double slant = viewpoint.height / std::sin(depression);
  const double pan = radians(sighting.pan);
  const Eigen::Vector2d sight(std::sin(pan), std::cos(pan));
  const Eigen::Vector2d aside(sight.y(), -sight.x());
  const double across = slant / viewpoint.focalLength;
  const double radial = across / std::sin(depression);

  GroundPosition position;
  position.place = Eigen::Vector2d(viewpoint.offsetX, viewpoint.offsetY) + distance * sight;
  position.perPixel =
      squared(radial) * sight * sight.transpose() + squared(across) * aside * aside.transpose();
  const double fast = std::isfinite(speed) ? std::min(speed, FASTEST_STAMPED) : FASTEST_STAMPED;
  position.covariance = squared(PIXEL_DEVIATION) * position.perPixel +
                        squared(fast * STAMP_DEVIATION) * Eigen::Matrix2d::Identity();
  position.height = heightOf(viewpoint.height, tangent, sighting.headTilt);
  position.heightDeviation = 2.0 * PIXEL_DEVIATION * across;
  return position;
}

}  // namespace following
