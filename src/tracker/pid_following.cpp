#include "tracker/pid_following.h"

#include <algorithm>
#include <cmath>

#include "base/units.h"

namespace {

constexpr double MIN_MULTIPLIER = 1.0;
constexpr double MAX_MULTIPLIER = 6.0;
constexpr double ZOOM_RATIO_LOW = 0.8;
constexpr double ZOOM_RATIO_HIGH = 1.2;
constexpr std::int64_t ABSOLUTE_ZOOM_INTERVAL = units::fromSeconds(1);

// The target is to fill half of the picture.
double targetMultiplier(const Target& target, const HeadOptics& optics) {
  const double extent = std::max(2.0 * target.width, 2.0 * optics.aspectRatio * target.height);
  const double multiplier = optics.zoomScale.maxFieldAngle / extent;
  return std::isnan(multiplier) ? MIN_MULTIPLIER
                                : std::clamp(multiplier, MIN_MULTIPLIER, MAX_MULTIPLIER);
}

}  // namespace

std::optional<HeadCommand> PidFollowing::step(const PtzHeadStatus& status, const HeadOptics& optics,
                                              Selection& selection, std::int64_t now) {
  const double multiplier = optics.zoomScale.zoomTravoToMultiplier(status.zoom);
  if (const auto target = selection.selectTarget(status.pan, status.tilt)) {
    regulator.updateTargetPosition(target->pan, target->tilt, targetMultiplier(*target, optics));
  }
  regulator.updateCurrentPosition(status.pan, status.tilt, multiplier);
  if (regulator.getState() != Regulator::State::active) {
    return std::nullopt;
  }
  return command(multiplier, optics.zoomScale, now);
}

HeadCommand PidFollowing::command(double multiplier, const ZoomScale& zoomScale, std::int64_t now) {
  double panSpeed = 0.0;
  double tiltSpeed = 0.0;
  double zoomSpeed = 0.0;
  regulator.getSpeeds(panSpeed, tiltSpeed, zoomSpeed);
  if (regulator.isZoomEnabled()) {
    return {.panValue = panSpeed,
            .tiltValue = tiltSpeed,
            .zoom = static_cast<int>(zoomSpeed),
            .zoomKind = PtzHead::CONTINUOUS};
  }
  const double target = regulator.getTargetZoom();
  const double ratio = std::abs(target / multiplier);
  const bool isZoomDue =
      lastZoomCommandTime == 0 || now - lastZoomCommandTime > ABSOLUTE_ZOOM_INTERVAL;
  if ((ratio < ZOOM_RATIO_LOW || ratio > ZOOM_RATIO_HIGH) && isZoomDue) {
    lastZoomCommandTime = now;
    return {.panValue = panSpeed,
            .panKind = PtzHead::NOT_DRIVEN,
            .tiltValue = tiltSpeed,
            .tiltKind = PtzHead::NOT_DRIVEN,
            .zoom = zoomScale.zoomMultiplierToTravo(target),
            .zoomKind = PtzHead::ABSOLUTE};
  }
  return {.panValue = panSpeed, .tiltValue = tiltSpeed, .zoomKind = PtzHead::NOT_DRIVEN};
}
