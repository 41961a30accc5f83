#include "bridge/head_moves.h"

#include <algorithm>
#include <utility>

#include "base/units.h"
#include "onvif/time_text.h"

namespace device::bridge {

namespace {

using onvif::Tag;
namespace space = onvif::space;

constexpr double PERCENT = 100;
constexpr std::int64_t FIRST_PAUSE = 100000;  // microseconds, before a stop is tried again
constexpr std::int64_t LONGEST_PAUSE = 1000000;
constexpr int MOST_STOPS = 20;  // for one that does not seem to stop

bool isContinuous(const AxisCommand& axis) {
  return axis.kind == MoveKind::continuous;
}

bool isAbsolute(const AxisCommand& axis) {
  return axis.kind == MoveKind::absolute;
}

bool isStop(const HeadCommand& command) {
  const auto halts = [](const AxisCommand& axis) { return isContinuous(axis) && axis.value == 0; };
  return command.speed == 0 && halts(command.pan) && halts(command.tilt) && halts(command.zoom);
}

void replace(AxisCommand* old, const AxisCommand& command) {
  if (command.kind != MoveKind::none) {
    *old = command;
  }
}

}  // namespace

HeadMoves::HeadMoves(std::string profile, HeadMap map)
    : profile(std::move(profile)), map(std::move(map)) {}

void HeadMoves::foundAnew() {
  isTimeoutRefused = isTimeoutDoubted = isTrialInFlight = false;
}

void HeadMoves::setHead(std::string newProfile, HeadMap newMap) {
  profile = std::move(newProfile);
  map = std::move(newMap);
}

void HeadMoves::command(const HeadCommand& command, std::int64_t now) {
  if (isStop(command)) {
    stop(now);
    return;
  }
  lastCommand = now;
  stops = 0;
  way = Way::none;
  replace(&waiting.pan, command.pan);
  replace(&waiting.tilt, command.tilt);
  replace(&waiting.zoom, command.zoom);
  waiting.speed = command.speed;
}

void HeadMoves::goHome(int speed, std::int64_t now) {
  lastCommand = now;
  stops = 0;
  waiting = {};
  const auto& home = map.getTold().home;
  if (map.getFacts().hasHome || !home) {
    way = Way::home;
    waySpeed = speed;
    return;
  }
  waiting.pan = {MoveKind::absolute, home->first};
  waiting.tilt = {MoveKind::absolute, home->second};
  waiting.speed = speed;
}

void HeadMoves::goToPreset(const std::string& token, int speed, std::int64_t now) {
  lastCommand = now;
  stops = 0;
  waiting = {};
  way = Way::preset;
  preset = token;
  waySpeed = speed;
}

void HeadMoves::forget() {
  waiting = {};
  way = Way::none;
}

void HeadMoves::stop(std::int64_t now) {
  forget();
  lastCommand = now;
  stops = 0;
  isStopWanted = true;
  isStopBySpeeds = false;
  pause = FIRST_PAUSE;
  notBefore = now;
}

void HeadMoves::stopBySpeeds(std::int64_t now) {
  stop(now);
  isStopBySpeeds = true;
}

std::optional<HeadCall> HeadMoves::next(std::int64_t now, const std::optional<HeadStatus>& status,
                                        std::int64_t taken) {
  if (isInFlight) {
    return std::nullopt;
  }
  const bool isSeenSince = stops > 0 && now - lastStop >= STOP_AGAIN && status && taken > lastStop;
  if (isSeenSince && !status->moving()) {
    stops = 0;  // what moves it from now on is somebody else's
  }
  const bool isForgotten = isDriven() && now - lastCommand >= SILENCE;
  const bool goesOn = isSeenSince && status->moving() && stops < MOST_STOPS;
  if (isForgotten) {
    waiting = {};
    isStopWanted = true;
  }
  if (now - lastCommand >= SILENCE) {
    dropSpeeds();
  }
  if (isStopWanted || goesOn) {
    return now >= notBefore ? std::optional(sendStop(isStopBySpeeds || (goesOn && !isStopWanted)))
                            : std::nullopt;
  }
  if (way != Way::none) {
    const bool isHome = std::exchange(way, Way::none) == Way::home;
    pan = tilt = zoom = {};
    isInFlight = true;
    lastSpeeds.clear();
    return HeadCall{isHome ? Tag("tptz:GotoHomePosition", profileTag(), speedTag(waySpeed))
                           : Tag("tptz:GotoPreset", profileTag(), Tag("tptz:PresetToken", preset),
                                 speedTag(waySpeed))};
  }
  auto call = nextOfCommand(now, status);
  isInFlight = call.has_value();
  return call;
}

void HeadMoves::answered(const Outcome& outcome, std::int64_t now) {
  isInFlight = false;
  if (std::exchange(isTrialInFlight, false)) {
    isTimeoutRefused = outcome.ok;
    isTimeoutDoubted = false;
  }
  if (outcome.isTimeoutRefused) {
    isTimeoutRefused = isTimeoutDoubted = true;
  }
  if (!outcome.ok) {
    lastSpeeds.clear();
  }
  if (!std::exchange(isStopInFlight, false)) {
    return;
  }
  if (outcome.ok) {
    pan = tilt = zoom = {};
    lastStop = now;
    ++stops;
    return;
  }
  isStopWanted = true;
  isStopMissing = isStopMissing || outcome.isOperationMissing;
  notBefore = outcome.isOperationMissing ? now : now + pause;
  pause = std::min(2 * pause, LONGEST_PAUSE);
}

bool HeadMoves::isDriven() const {
  return pan.percent != 0 || tilt.percent != 0 || zoom.percent != 0;
}

bool HeadMoves::hasTimeout() const {
  const auto& limits = map.getFacts().timeout;
  return !isTimeoutRefused && !(limits && limits->high <= 0);
}

// They were for a moment that is over; a place is one still.
void HeadMoves::dropSpeeds() {
  for (AxisCommand* axis : {&waiting.pan, &waiting.tilt, &waiting.zoom}) {
    *axis = isContinuous(*axis) ? AxisCommand() : *axis;
  }
}

HeadCall HeadMoves::sendStop(bool withSpeeds) {
  isStopWanted = false;
  isStopBySpeeds = false;
  isInFlight = true;
  isStopInFlight = true;
  lastSpeeds.clear();
  if (!isStopMissing && !withSpeeds) {
    return {Tag("tptz:Stop", profileTag(), Tag("tptz:PanTilt", true), Tag("tptz:Zoom", true))};
  }
  return bySpeeds(continuousMove(
      0, 0, map.getFacts().zoomVelocities.empty() ? std::nullopt : std::optional(0.0)));
}

HeadCall HeadMoves::bySpeeds(Tag operation) {
  isTrialInFlight = isTimeoutDoubted;
  return {std::move(operation), hasTimeout()};
}

// Speeds before an absolute zoom, and in turns with it where both wait again and again.
std::optional<HeadCall> HeadMoves::nextOfCommand(std::int64_t now,
                                                 const std::optional<HeadStatus>& status) {
  const bool hasPosition = isAbsolute(waiting.pan) || isAbsolute(waiting.tilt);
  const bool hasSpeed = !hasPosition && (isContinuous(waiting.pan) || isContinuous(waiting.tilt));
  const bool hasZoomSpeed = isContinuous(waiting.zoom);
  if (isAbsolute(waiting.zoom) && !hasPosition && (!hasSpeed || isZoomsTurn)) {
    return sendZoom();
  }
  if (hasPosition) {
    return status ? std::optional(sendPosition(*status)) : std::nullopt;
  }
  return hasSpeed || hasZoomSpeed ? sendSpeeds(now) : std::nullopt;
}

HeadCall HeadMoves::sendZoom() {
  isZoomsTurn = false;
  Tag position("tptz:Position", onvif::zoomTag(map.zoomPositionOf(waiting.zoom.value)));
  waiting.zoom = {};
  zoom = {};
  return {Tag("tptz:AbsoluteMove", profileTag(), std::move(position))};
}

// Both axes are one element: the one that is not spoken of stays where it is.
HeadCall HeadMoves::sendPosition(const HeadStatus& status) {
  const auto isOtherDriven = [](const AxisCommand& axis) {
    return isContinuous(axis) && axis.value != 0;
  };
  compromised = compromised || isOtherDriven(waiting.pan) || isOtherDriven(waiting.tilt);
  const HeadMap::Degrees target{isAbsolute(waiting.pan) ? waiting.pan.value : status.pan,
                                isAbsolute(waiting.tilt) ? waiting.tilt.value : status.tilt};
  Tag position("tptz:Position", onvif::panTiltTag(map.positionOf(target)));
  if (isAbsolute(waiting.zoom)) {
    position.add(onvif::zoomTag(map.zoomPositionOf(waiting.zoom.value)));
    waiting.zoom = {};
    zoom = {};
  }
  waiting.pan = {};
  waiting.tilt = {};
  pan = {};
  tilt = {};
  lastSpeeds.clear();
  return {Tag("tptz:AbsoluteMove", profileTag(), std::move(position), speedTag(waiting.speed))};
}

std::optional<HeadCall> HeadMoves::sendSpeeds(std::int64_t now) {
  const bool withPanTilt = isContinuous(waiting.pan) || isContinuous(waiting.tilt);
  const bool withZoom = isContinuous(waiting.zoom);
  const double panPercent = percentOf(waiting.pan, pan, now);
  const double tiltPercent = percentOf(waiting.tilt, tilt, now);
  std::optional<double> zoomPercent;
  if (withZoom) {
    zoomPercent = percentOf(waiting.zoom, zoom, now);
  }
  Tag call = withPanTilt ? continuousMove(panPercent, tiltPercent, zoomPercent)
                         : continuousMove(std::nullopt, std::nullopt, zoomPercent);
  const std::string text = call.document();
  if (text == lastSpeeds && now - lastSpeedsTime < REPETITION) {
    return std::nullopt;
  }
  lastSpeeds = text;
  lastSpeedsTime = now;
  const std::int64_t until = now + holdTime();
  if (withPanTilt) {
    pan = {panPercent, until};
    tilt = {tiltPercent, until};
    waiting.pan = {};
    waiting.tilt = {};
  }
  if (withZoom) {
    zoom = {*zoomPercent, until};
    waiting.zoom = {};
  }
  isZoomsTurn = true;
  return bySpeeds(std::move(call));
}

Tag HeadMoves::continuousMove(std::optional<double> panPercent, std::optional<double> tiltPercent,
                              std::optional<double> zoomPercent) const {
  Tag velocity("tptz:Velocity");
  if (panPercent && tiltPercent) {
    velocity.add(onvif::panTiltTag(map.velocityOf(*panPercent, *tiltPercent)));
  }
  if (zoomPercent) {
    velocity.add(onvif::zoomTag(map.zoomVelocityOf(*zoomPercent)));
  }
  return Tag("tptz:ContinuousMove", profileTag(), std::move(velocity),
             hasTimeout() ? std::optional(Tag("tptz:Timeout", onvif::durationText(holdTime())))
                          : std::nullopt);
}

Tag HeadMoves::profileTag() const {
  return Tag("tptz:ProfileToken", profile);
}

std::optional<Tag> HeadMoves::speedTag(int percent) const {
  const double share = std::clamp(percent, 1, 100) / PERCENT;
  const auto& speeds = map.getFacts().speeds;
  if (onvif::findSpace(speeds, space::SPEED) == nullptr) {
    return std::nullopt;
  }
  return Tag("tptz:Speed", onvif::panTiltTag({share, share, space::SPEED}));
}

// An axis that is not spoken of goes on, for as long as its last speed holds.
double HeadMoves::percentOf(const AxisCommand& command, const Driven& driven, std::int64_t now) {
  if (isContinuous(command)) {
    return std::clamp(command.value, -PERCENT, PERCENT);
  }
  return now < driven.until ? driven.percent : 0;
}

// Heads that do not name a part of a second as their least Timeout may not read one.
std::int64_t HeadMoves::holdTime() const {
  const auto& limits = map.getFacts().timeout;
  if (!limits) {
    return HOLD;
  }
  const std::int64_t least = units::roundedFromSeconds(limits->low);
  const bool isFine = least > 0 && least <= FINE_HOLD;
  return isFine ? FINE_HOLD : std::max(HOLD, least);
}

}  // namespace device::bridge
