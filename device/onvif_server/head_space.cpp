#include "onvif_server/head_space.h"

#include <algorithm>
#include <cmath>

#include "onvif/fault.h"
#include "world/overview_camera.h"

namespace device::onvif {
namespace {

constexpr int FULL_SPEED = 100;  // percent

Fault unknownSpace(const std::string& space) {
  return invalidArgument("ter:SpaceNotSupported", "There is no space " + space + " here");
}

void requireRange(double value, double low, double high, const char* fault) {
  if (value < low || value > high) {
    throw invalidArgument(fault, "A number is beyond its range");
  }
}

bool isSpace(const std::string& given, const char* own, bool isDefault) {
  return given == own || (given.empty() && isDefault);
}

// From -1 to 1 to the range, and back.
double fromGeneric(double x, const AxisSetup& axis) {
  return axis.low + (x + 1) / 2 * (axis.high - axis.low);
}

double toGeneric(double position, const AxisSetup& axis) {
  return std::clamp(2 * (position - axis.low) / (axis.high - axis.low) - 1, -1.0, 1.0);
}

double halfRange(const AxisSetup& axis) {
  return (axis.high - axis.low) / 2;
}

double zoomRange(const HeadSetup& setup) {
  return setup.maxZoom - setup.minZoom;
}

int percentOf(double share) {
  return std::clamp(static_cast<int>(std::lround(share * FULL_SPEED)), 1, FULL_SPEED);
}

}  // namespace

Vector2 HeadSpace::panTiltOf(const HeadStatus& status) const {
  return {toGeneric(status.pan, setup.pan), toGeneric(status.tilt, setup.tilt), space::POSITION};
}

Vector1 HeadSpace::zoomOf(double zoom) const {
  return {std::clamp((zoom - setup.minZoom) / zoomRange(setup), 0.0, 1.0), space::ZOOM_POSITION};
}

HeadPosition HeadSpace::target(const PtzVector& position, const HeadStatus& from) const {
  HeadPosition target{from.pan, from.tilt, from.zoom};
  if (position.panTilt) {
    const Vector2 degrees = degreesOfPosition(*position.panTilt);
    target.pan = degrees.x;
    target.tilt = degrees.y;
  }
  if (position.zoom) {
    if (!isSpace(position.zoom->space, space::ZOOM_POSITION, true)) {
      throw unknownSpace(position.zoom->space);
    }
    requireRange(position.zoom->x, 0, 1, "ter:InvalidPosition");
    target.zoom =
        setup.minZoom + static_cast<int>(std::lround(position.zoom->x * zoomRange(setup)));
  }
  return target;
}

Vector2 HeadSpace::degreesOfPosition(const Vector2& position) const {
  constexpr char BEYOND[] = "ter:InvalidPosition";
  if (isSpace(position.space, space::POSITION, true)) {
    requireRange(position.x, -1, 1, BEYOND);
    requireRange(position.y, -1, 1, BEYOND);
    return {fromGeneric(position.x, setup.pan), fromGeneric(position.y, setup.tilt), ""};
  }
  if (position.space != space::POSITION_DEGREES) {
    throw unknownSpace(position.space);
  }
  requireRange(position.x, setup.pan.low, setup.pan.high, BEYOND);
  requireRange(position.y, setup.tilt.low, setup.tilt.high, BEYOND);
  return {position.x, position.y, ""};
}

HeadPosition HeadSpace::targetOfWay(const PtzVector& way, const HeadStatus& from) const {
  HeadPosition target{from.pan, from.tilt, from.zoom};
  if (way.panTilt) {
    target = targetOfPanTiltWay(*way.panTilt, from);
  }
  if (way.zoom) {
    if (!isSpace(way.zoom->space, space::ZOOM_TRANSLATION, true)) {
      throw unknownSpace(way.zoom->space);
    }
    requireRange(way.zoom->x, -1, 1, "ter:InvalidTranslation");
    const double zoom = from.zoom + way.zoom->x * zoomRange(setup);
    target.zoom = static_cast<int>(std::lround(
        std::clamp(zoom, static_cast<double>(setup.minZoom), static_cast<double>(setup.maxZoom))));
  }
  return target;
}

HeadPosition HeadSpace::targetOfPanTiltWay(const Vector2& way, const HeadStatus& from) const {
  constexpr char BEYOND[] = "ter:InvalidTranslation";
  HeadPosition target{from.pan, from.tilt, from.zoom};
  if (way.space == space::TRANSLATION_DEGREES) {
    requireRange(way.x, -180, 180, BEYOND);
    requireRange(way.y, -180, 180, BEYOND);
    target.pan += way.x;
    target.tilt += way.y;
  } else if (way.space == space::TRANSLATION_PICTURE) {
    requireRange(way.x, -1, 1, BEYOND);
    requireRange(way.y, -1, 1, BEYOND);
    // What is there in the picture comes to its centre.
    const OverviewCamera picture(
        {.position = {},
         .pan = from.pan,
         .tilt = from.tilt,
         .sensorWidth = static_cast<int>(std::lround(1000 * setup.aspectRatio)),
         .sensorHeight = 1000,
         .horizontalFov = from.pictureWidth,
         .distortion = {}});
    const Direction direction = picture.lineOfSight({way.x, way.y});
    target.pan = direction.pan;
    target.tilt = direction.tilt;
  } else if (isSpace(way.space, space::TRANSLATION, true)) {
    requireRange(way.x, -1, 1, BEYOND);
    requireRange(way.y, -1, 1, BEYOND);
    target.pan += way.x * halfRange(setup.pan);
    target.tilt += way.y * halfRange(setup.tilt);
  } else {
    throw unknownSpace(way.space);
  }
  return target;
}

HeadCommand HeadSpace::velocity(const PtzVector& velocity) const {
  constexpr char BEYOND[] = "ter:InvalidVelocity";
  HeadCommand command;
  if (velocity.panTilt) {
    if (!isSpace(velocity.panTilt->space, space::VELOCITY, true)) {
      throw unknownSpace(velocity.panTilt->space);
    }
    requireRange(velocity.panTilt->x, -1, 1, BEYOND);
    requireRange(velocity.panTilt->y, -1, 1, BEYOND);
    command.pan = {MoveKind::continuous, velocity.panTilt->x * FULL_SPEED};
    command.tilt = {MoveKind::continuous, velocity.panTilt->y * FULL_SPEED};
  }
  if (velocity.zoom) {
    if (!isSpace(velocity.zoom->space, space::ZOOM_VELOCITY, true)) {
      throw unknownSpace(velocity.zoom->space);
    }
    requireRange(velocity.zoom->x, -1, 1, BEYOND);
    command.zoom = {MoveKind::continuous, velocity.zoom->x * FULL_SPEED};
  }
  return command;
}

int HeadSpace::panTiltSpeed(const PtzVector& speed) const {
  constexpr char BEYOND[] = "ter:InvalidSpeed";
  if (!speed.panTilt) {
    return FULL_SPEED;
  }
  const Vector2& given = *speed.panTilt;
  if (given.space == space::SPEED_DEGREES) {
    const double most = std::max(setup.pan.speed, setup.tilt.speed);
    requireRange(given.x, 0, most, BEYOND);
    requireRange(given.y, 0, most, BEYOND);
    return percentOf(std::max(given.x / setup.pan.speed, given.y / setup.tilt.speed));
  }
  if (!isSpace(given.space, space::SPEED, true)) {
    throw unknownSpace(given.space);
  }
  requireRange(given.x, 0, 1, BEYOND);
  requireRange(given.y, 0, 1, BEYOND);
  return percentOf(std::max(given.x, given.y));
}

int HeadSpace::zoomSpeed(const PtzVector& speed) const {
  if (!speed.zoom) {
    return FULL_SPEED;
  }
  if (!isSpace(speed.zoom->space, space::ZOOM_SPEED, true)) {
    throw unknownSpace(speed.zoom->space);
  }
  requireRange(speed.zoom->x, 0, 1, "ter:InvalidSpeed");
  return percentOf(speed.zoom->x);
}

// Generic ones first, as they are the defaults.
std::vector<Tag> HeadSpace::tags() const {
  const AxisSetup& pan = setup.pan;
  const AxisSetup& tilt = setup.tilt;
  constexpr char POSITION[] = "tt:AbsolutePanTiltPositionSpace";
  constexpr char TRANSLATION[] = "tt:RelativePanTiltTranslationSpace";
  return {
      rangeTag(POSITION, space::POSITION, -1, 1, -1, 1),
      rangeTag(POSITION, space::POSITION_DEGREES, pan.low, pan.high, tilt.low, tilt.high),
      rangeTag("tt:AbsoluteZoomPositionSpace", space::ZOOM_POSITION, 0, 1),
      rangeTag(TRANSLATION, space::TRANSLATION, -1, 1, -1, 1),
      rangeTag(TRANSLATION, space::TRANSLATION_DEGREES, -180, 180, -180, 180),
      rangeTag(TRANSLATION, space::TRANSLATION_PICTURE, -1, 1, -1, 1),
      rangeTag("tt:RelativeZoomTranslationSpace", space::ZOOM_TRANSLATION, -1, 1),
      rangeTag("tt:ContinuousPanTiltVelocitySpace", space::VELOCITY, -1, 1, -1, 1),
      rangeTag("tt:ContinuousZoomVelocitySpace", space::ZOOM_VELOCITY, -1, 1),
      rangeTag("tt:PanTiltSpeedSpace", space::SPEED, 0, 1),
      rangeTag("tt:PanTiltSpeedSpace", space::SPEED_DEGREES, 0, std::max(pan.speed, tilt.speed)),
      rangeTag("tt:ZoomSpeedSpace", space::ZOOM_SPEED, 0, 1)};
}

Tag rangeTag(const std::string& name, const std::string& uri, double low, double high) {
  return Tag(name, Tag("tt:URI", uri), Tag("tt:XRange", Tag("tt:Min", low), Tag("tt:Max", high)));
}

Tag rangeTag(const std::string& name, const std::string& uri, double lowX, double highX,
             double lowY, double highY) {
  return rangeTag(name, uri, lowX, highX)
      .add(Tag("tt:YRange", Tag("tt:Min", lowY), Tag("tt:Max", highY)));
}

}  // namespace device::onvif
