#include "head/head.h"

#include <algorithm>
#include <cmath>

namespace device {
namespace {

constexpr double kZoomSpinUp = 0.1;  // seconds for the lens to reach full speed

AxisSetup zoomAxis(const HeadSetup& setup) {
  return {.speed = setup.zoomSpeed,
          .acceleration = setup.zoomSpeed / kZoomSpinUp,
          .low = static_cast<double>(setup.minZoom),
          .high = static_cast<double>(setup.maxZoom)};
}

bool isStop(const HeadCommand& command) {
  const auto halts = [](const AxisCommand& axis) {
    return axis.kind == MoveKind::Continuous && axis.value == 0;
  };
  return command.speed == 0 && halts(command.pan) && halts(command.tilt) && halts(command.zoom);
}

void drive(Axis& axis, const AxisCommand& command, double fullSpeed, int limitPercent,
           double speedHold) {
  switch (command.kind) {
    case MoveKind::None:
      return;
    case MoveKind::Absolute:
      axis.moveTo(command.value, fullSpeed * limitPercent / 100);
      return;
    case MoveKind::Continuous:
      axis.moveAt(fullSpeed * std::clamp(command.value, -100.0, 100.0) / 100, speedHold);
      return;
  }
}

}  // namespace

Head::Head(const HeadSetup& setup)
    : setup_(setup),
      pan_(setup.pan, setup.home.pan),
      tilt_(setup.tilt, setup.home.tilt),
      zoom_(zoomAxis(setup), setup.home.zoom) {}

void Head::command(const HeadCommand& command) {
  if (isStop(command)) {
    waiting_.clear();
  }
  waiting_.push_back({setup_.latency, command});
}

void Head::goHome(int speed) {
  goTo(setup_.home, speed);
}

bool Head::setPreset(int preset) {
  if (preset < 1) {
    return false;
  }
  const HeadStatus here = status();
  presets_[preset] = {.pan = here.pan, .tilt = here.tilt, .zoom = here.zoom};
  return true;
}

bool Head::goToPreset(int preset, int speed) {
  const auto found = presets_.find(preset);
  if (found == presets_.end()) {
    return false;
  }
  goTo(found->second, speed);
  return true;
}

int Head::presetHere() const {
  const HeadStatus here = status();
  if (here.moving()) {
    return 0;
  }
  const double zoomTolerance = (setup_.maxZoom - setup_.minZoom) * 0.005;
  for (const auto& [number, position] : presets_) {
    const double panOff = std::abs(std::remainder(here.pan - position.pan, 360.0));
    const bool isHere = panOff <= 0.5 && std::abs(here.tilt - position.tilt) <= 0.5 &&
                        std::abs(here.zoom - position.zoom) <= zoomTolerance;
    if (isHere) {
      return number;
    }
  }
  return 0;
}

void Head::step(double seconds) {
  while (!waiting_.empty() && waiting_.front().remaining <= seconds) {
    const double part = std::max(waiting_.front().remaining, 0.0);
    const HeadCommand due = waiting_.front().command;
    waiting_.pop_front();
    advance(part);
    seconds -= part;
    apply(due);
  }
  advance(seconds);
}

HeadStatus Head::status() const {
  const double magnification = multiplier(setup_, zoom_.position());
  const double width = setup_.maxFieldAngle / magnification;
  return {.pan = pan_.position(),
          .tilt = tilt_.position(),
          .zoom = static_cast<int>(std::lround(zoom_.position())),
          .panMoving = pan_.moving(),
          .tiltMoving = tilt_.moving(),
          .zoomMoving = zoom_.moving(),
          .magnification = magnification,
          .pictureWidth = width,
          .pictureHeight = width / setup_.aspectRatio};
}

double Head::multiplier(const HeadSetup& setup, double zoom) {
  const double range = setup.maxFieldAngle / setup.minFieldAngle - 1;
  return range * (zoom - setup.minZoom) / setup.maxZoom + 1;
}

void Head::apply(const HeadCommand& command) {
  const int limit = std::clamp(command.speed, 1, 100);
  drive(pan_, command.pan, setup_.pan.speed, limit, setup_.speedHold);
  drive(tilt_, command.tilt, setup_.tilt.speed, limit, setup_.speedHold);
  drive(zoom_, command.zoom, setup_.zoomSpeed, limit, setup_.speedHold);
}

void Head::goTo(const HeadPosition& position, int speed) {
  command({.pan = {MoveKind::Absolute, position.pan},
           .tilt = {MoveKind::Absolute, position.tilt},
           .zoom = {MoveKind::Absolute, static_cast<double>(position.zoom)},
           .speed = speed});
}

void Head::advance(double seconds) {
  for (Waiting& waiting : waiting_) {
    waiting.remaining -= seconds;
  }
  pan_.step(seconds);
  tilt_.step(seconds);
  zoom_.step(seconds);
}

}  // namespace device
