#include "bridge/head_sight.h"

#include <cmath>

#include "base/units.h"

namespace device::bridge {

namespace {

constexpr double ASPECT_RATIO = 16.0 / 9.0;

}  // namespace

void HeadSight::told(const HeadReading& reading, const HeadMap& map, std::int64_t taken) {
  if (!places.empty() && taken <= places.back().time) {
    return;
  }
  const auto degrees = reading.panTilt ? map.degreesOf(*reading.panTilt) : std::nullopt;
  if (places.empty() && !degrees) {
    return;
  }
  if (degrees) {
    places.push_back(
        {taken, degrees->pan, degrees->tilt, places.empty() ? Place().zoom : places.back().zoom});
  }
  Place& place = places.back();
  const bool isGuessed = map.zoomLaw(reading) == ZoomLaw::guessed;
  if (!isGuessed && map.zoomOf(reading)) {
    zoomKnown = taken;
  }
  if (!isGuessed || !zoomKnown || taken - *zoomKnown > GOOD_FOR) {
    place.zoom = map.zoomOf(reading).value_or(place.zoom);
  }
  fieldAngle = map.fieldAngleOfZoom(place.zoom);
  widest = map.getTold().fieldAngles.high;
  panTiltMoves = reading.panTiltMoves;
  zoomMoves = reading.zoomMoves;
  while (places.size() > 2 && places[1].time <= taken - STUCK) {
    places.pop_front();
  }
}

std::optional<HeadStatus> HeadSight::status(std::int64_t now) const {
  if (places.empty() || now - places.back().time > GOOD_FOR) {
    return std::nullopt;
  }
  const Moved lately = movedWithin(STILL);
  const Moved atAll = movedWithin(STUCK);
  const bool isLong = places.back().time - places.front().time >= STUCK;
  const auto moves = [&](const std::optional<bool>& says, bool hasLately, bool hasAtAll) {
    if (!believesMoves || !says) {
      return hasLately;
    }
    return *says && (hasAtAll || !isLong);
  };
  const bool panTilt = moves(panTiltMoves, lately.panTilt, atAll.panTilt);
  const Place& here = places.back();
  return HeadStatus{.pan = here.pan,
                    .tilt = here.tilt,
                    .zoom = here.zoom,
                    .panMoving = panTilt,
                    .tiltMoving = panTilt,
                    .zoomMoving = moves(zoomMoves, lately.zoom, atAll.zoom),
                    .magnification = fieldAngle > 0 ? widest / fieldAngle : 1,
                    .pictureWidth = fieldAngle,
                    .pictureHeight = fieldAngle / ASPECT_RATIO};
}

std::optional<std::int64_t> HeadSight::getTaken() const {
  return places.empty() ? std::nullopt : std::optional(places.back().time);
}

HeadSight::Moved HeadSight::movedWithin(std::int64_t span) const {
  constexpr double LEAST_ZOOM_WAY = LEAST_ZOOM_SHARE * (HeadMap::MOST_ZOOM - HeadMap::LEAST_ZOOM);
  const Place& here = places.back();
  Moved moved;
  for (const Place& place : places) {
    if (place.time < here.time - span) {
      continue;
    }
    moved.panTilt = moved.panTilt || std::abs(units::wrapped(place.pan - here.pan)) > LEAST_TURN ||
                    std::abs(place.tilt - here.tilt) > LEAST_TURN;
    moved.zoom = moved.zoom || std::abs(place.zoom - here.zoom) > LEAST_ZOOM_WAY;
  }
  return moved;
}

}  // namespace device::bridge
