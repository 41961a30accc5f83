#include "head/head.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "base/units.h"

namespace device {
namespace {

constexpr double ZOOM_SPIN_UP = 0.1;  // seconds for the lens to reach full speed

AxisSetup zoomAxis(const HeadSetup& setup) {
  return {.speed = setup.zoomSpeed,
          .acceleration = setup.zoomSpeed / ZOOM_SPIN_UP,
          .low = static_cast<double>(setup.minZoom),
          .high = static_cast<double>(setup.maxZoom)};
}

// Degrees across the picture, fully out.
double widestField(const HeadSetup& setup) {
  return setup.zoomCurve.kind == ZoomCurveKind::table ? setup.zoomCurve.table.front().fieldAngle
                                                      : setup.maxFieldAngle;
}

bool isStop(const HeadCommand& command) {
  const auto halts = [](const AxisCommand& axis) {
    return axis.kind == MoveKind::continuous && axis.value == 0;
  };
  return command.speed == 0 && halts(command.pan) && halts(command.tilt) && halts(command.zoom);
}

void drive(Axis& axis, const AxisCommand& command, const DriveCurve& curve, double fullSpeed,
           int limitPercent, double speedHold) {
  switch (command.kind) {
    case MoveKind::none:
      return;
    case MoveKind::absolute:
      axis.moveTo(command.value, fullSpeed * limitPercent / 100);
      return;
    case MoveKind::continuous:
      axis.moveAt(fullSpeed * drivenPercent(curve, std::clamp(command.value, -100.0, 100.0)) / 100,
                  speedHold);
      return;
  }
}

}  // namespace

Head::Head(const HeadSetup& setup, std::uint64_t seed)
    : setup(setup),
      seed(seed),
      pan(setup.pan, setup.home.pan),
      tilt(setup.tilt, setup.home.tilt),
      zoom(zoomAxis(setup), setup.home.zoom),
      link(setup.link, seed),
      sensor(setup.status, motorStatus(), seed) {}

void Head::command(const HeadCommand& command) {
  if (isStop(command)) {
    link.drop();
  }
  link.send(command);
}

void Head::goHome(int speed) {
  goTo(setup.home, speed);
}

bool Head::setPreset(int preset) {
  if (preset < 1) {
    return false;
  }
  const HeadStatus here = status();
  presets[preset] = {.pan = here.pan, .tilt = here.tilt, .zoom = here.zoom};
  return true;
}

bool Head::goToPreset(int preset, int speed) {
  const auto found = presets.find(preset);
  if (found == presets.end()) {
    return false;
  }
  goTo(found->second, speed);
  return true;
}

bool Head::removePreset(int preset) {
  return presets.erase(preset) > 0;
}

int Head::presetHere() const {
  const HeadStatus here = status();
  if (here.moving()) {
    return 0;
  }
  const double zoomTolerance = (setup.maxZoom - setup.minZoom) * 0.005;
  for (const auto& [number, position] : presets) {
    const double panOff = std::abs(units::wrapped(here.pan - position.pan));
    const bool isHere = panOff <= 0.5 && std::abs(here.tilt - position.tilt) <= 0.5 &&
                        std::abs(here.zoom - position.zoom) <= zoomTolerance;
    if (isHere) {
      return number;
    }
  }
  return 0;
}

void Head::step(double seconds) {
  for (std::optional<double> next = link.untilNext(); next && *next <= seconds;
       next = link.untilNext()) {
    const HeadCommand due = link.take();
    advance(*next);
    seconds -= *next;
    apply(due);
  }
  advance(seconds);
}

HeadStatus Head::status() const {
  return statusAt(pan.headPosition(), tilt.headPosition());
}

HeadStatus Head::toldStatus() {
  return sensor.told(motorStatus());
}

double Head::multiplier(const HeadSetup& setup, double zoom) {
  if (setup.zoomCurve.kind == ZoomCurveKind::linear) {
    const double range = setup.maxFieldAngle / setup.minFieldAngle - 1;
    return range * (zoom - setup.minZoom) / setup.maxZoom + 1;
  }
  const double position = (zoom - setup.minZoom) / (setup.maxZoom - setup.minZoom);
  return magnificationAt(setup.zoomCurve, position, setup.maxFieldAngle, setup.minFieldAngle);
}

double Head::fieldAngle(const HeadSetup& setup, double zoom) {
  return widestField(setup) / multiplier(setup, zoom);
}

void Head::apply(const HeadCommand& command) {
  const int limit = std::clamp(command.speed, 1, 100);
  const double hold = command.hold.value_or(setup.speedHold);
  drive(pan, command.pan, setup.drive, setup.pan.speed, limit, hold);
  drive(tilt, command.tilt, setup.drive, setup.tilt.speed, limit, hold);
  drive(zoom, command.zoom, {}, setup.zoomSpeed, limit, hold);
}

void Head::goTo(const HeadPosition& position, int speed) {
  command({.pan = {MoveKind::absolute, position.pan},
           .tilt = {MoveKind::absolute, position.tilt},
           .zoom = {MoveKind::absolute, static_cast<double>(position.zoom)},
           .speed = speed});
}

void Head::advance(double seconds) {
  link.advance(seconds);
  while (sensor.untilReading() <= seconds) {
    const double part = sensor.untilReading();
    move(part);
    sensor.read(motorStatus());
    seconds -= part;
  }
  move(seconds);
}

void Head::move(double seconds) {
  pan.step(seconds);
  tilt.step(seconds);
  zoom.step(seconds);
  sensor.advance(seconds);
}

HeadStatus Head::motorStatus() const {
  return statusAt(pan.getPosition(), tilt.getPosition());
}

HeadStatus Head::statusAt(double panAngle, double tiltAngle) const {
  const double magnification = multiplier(setup, zoom.getPosition());
  const double width = fieldAngle(setup, zoom.getPosition());
  return {.pan = panAngle,
          .tilt = tiltAngle,
          .zoom = static_cast<int>(std::lround(zoom.getPosition())),
          .panMoving = pan.moving(),
          .tiltMoving = tilt.moving(),
          .zoomMoving = zoom.moving(),
          .magnification = magnification,
          .pictureWidth = width,
          .pictureHeight = width / setup.aspectRatio};
}

}  // namespace device
