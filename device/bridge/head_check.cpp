#include "bridge/head_check.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/text.h"
#include "base/units.h"
#include "onvif/ptz_space.h"
#include "onvif/time_text.h"

namespace device::bridge {

namespace {

using onvif::Tag;
namespace space = onvif::space;

constexpr std::size_t LOOKS = 5;
constexpr std::int64_t SECOND = units::MICROSECONDS_PER_SECOND;
constexpr std::int64_t DRIVE = 500000;           // microseconds that a motion lasts
constexpr std::int64_t LONGEST_WAIT = 1200000;   // for a motion to be seen
constexpr std::int64_t DRIVE_HOLD = 2 * SECOND;  // Timeout of what is stopped before
constexpr std::int64_t REST = 400000;            // so long in one place: it stands
constexpr std::int64_t SHORTEST_WAY = 600000;    // to a place
constexpr std::int64_t LONGEST_WAY = 12 * SECOND;
constexpr std::int64_t HEEDED = 900000;  // from a Stop to the rest
constexpr std::int64_t GOES_ON = 1500000;
constexpr std::int64_t LONGEST_STOP = 5 * SECOND;
constexpr std::int64_t MOTION_TOLD_LATE = 300000;
constexpr double LEAST_SHARE = 0.0002;  // of a range: less is no motion
constexpr double LEAST_ZOOM_SHARE = 0.002;
constexpr double GENERIC_WIDTH = 2;
constexpr int ZOOM_POINTS = 9;

// Of the space in which the status is told.
double widthOf(const HeadFacts& facts, bool isPan) {
  const std::string uri = facts.defaultPosition.empty() ? space::POSITION : facts.defaultPosition;
  const onvif::ListedSpace* listed = onvif::findSpace(facts.positions, uri);
  if (listed == nullptr) {
    return GENERIC_WIDTH;
  }
  const Range& range = isPan || !listed->y.isReal() ? listed->x : listed->y;
  return range.isReal() ? range.high - range.low : GENERIC_WIDTH;
}

const onvif::ListedSpace* zoomSpace(const HeadFacts& facts) {
  for (const onvif::ListedSpace& listed : facts.zoomPositions) {
    if (listed.x.isReal()) {
      return &listed;
    }
  }
  return nullptr;
}

std::string milliseconds(std::int64_t microseconds) {
  return std::to_string(microseconds / units::MICROSECONDS_PER_MILLISECOND) + " ms";
}

std::string seconds(std::int64_t microseconds) {
  return text::formatted("%.1f s", units::toSeconds(microseconds));
}

template <typename Words>
void describeAxis(const HeadMeasured::Axis& axis, const char* name, Words* words) {
  if (!axis.moves) {
    words->push_back(std::string("Its ").append(name).append(" does not move"));
  } else if (axis.isReversed) {
    words->push_back(std::string("Its ").append(name).append(
        " counts the other way than its speeds; that is made up for"));
  }
}

}  // namespace

std::vector<std::string> wordsOf(const HeadMeasured& measured) {
  std::vector<std::string> words;
  if (measured.trip) {
    words.push_back("It answers within " + milliseconds(*measured.trip));
  }
  const auto& response = measured.pan.response ? measured.pan.response : measured.tilt.response;
  if (response) {
    words.push_back("A command is seen in its position after " + milliseconds(*response));
  }
  describeAxis(measured.pan, "pan", &words);
  describeAxis(measured.tilt, "tilt", &words);
  if (measured.heedsStop) {
    words.emplace_back(*measured.heedsStop
                           ? "It heeds a Stop"
                           : "It does not heed a Stop; speeds of zero are sent instead");
  }
  if (measured.heedsTimeout == true && measured.standsAfter) {
    words.push_back("Left alone it stands after " + seconds(*measured.standsAfter) +
                    ": it will when this machine or the network fails");
  } else if (!measured.takesTimeout) {
    words.emplace_back(
        "It takes no time after which it is to stop: nothing stops this head when this machine or "
        "the network fails");
  } else if (measured.isTimeoutUnseen) {
    words.emplace_back(
        "Whether it stops by itself was not seen, as it did not pan: check it again where it can");
  } else if (measured.heedsTimeout == false) {
    words.emplace_back(
        "It ignores the time after which it is to stop: nothing stops this head when this machine "
        "or the network fails");
  }
  if (!measured.tellsMotion) {
    words.emplace_back("It does not tell whether it moves; its positions do");
  } else if (!*measured.tellsMotion) {
    words.emplace_back("It tells its motion wrongly; its positions are believed instead");
  }
  if (measured.zoomTable.size() > 1) {
    const auto [least, most] = std::ranges::minmax(measured.zoomTable, {}, &ZoomPoint::fieldAngle);
    words.push_back(text::formatted("Its picture is %.1f to %.1f degrees wide", least.fieldAngle,
                                    most.fieldAngle));
  } else if (measured.focalLengths.size() > 1) {
    const auto [least, most] = std::ranges::minmax(measured.focalLengths);
    words.push_back(text::formatted(
        "Its focal length is %.1f to %.1f mm; the width of its sensor has to be entered", least,
        most));
  }
  return words;
}

HeadCheck::HeadCheck(std::string profile, const HeadFacts& facts, bool withZoom)
    : profile(std::move(profile)),
      map(facts, {}),
      steps({{.kind = Kind::look, .words = "Looks where the head is"},
             {.kind = Kind::drive, .isPan = true, .percent = PERCENT, .words = "Pans a little"},
             {.kind = Kind::drive, .isPan = true, .percent = -PERCENT, .words = "Pans back"},
             {.kind = Kind::drive, .isPan = false, .percent = PERCENT, .words = "Tilts a little"},
             {.kind = Kind::drive, .isPan = false, .percent = -PERCENT, .words = "Tilts back"},
             {.kind = Kind::leave,
              .isPan = true,
              .percent = PERCENT / 2,
              .words = "Pans and waits whether it stops by itself"}}),
      pan(LEAST_SHARE * widthOf(facts, true)),
      tilt(LEAST_SHARE * widthOf(facts, false)),
      zoom(zoomSpace(facts) != nullptr
               ? LEAST_ZOOM_SHARE * (zoomSpace(facts)->x.high - zoomSpace(facts)->x.low)
               : 1) {
  if (const onvif::ListedSpace* listed = zoomSpace(facts); listed != nullptr && withZoom) {
    for (int i = 0; i < ZOOM_POINTS; ++i) {
      // The angle changes fastest where the picture is wide.
      const double share = std::pow(static_cast<double>(i) / (ZOOM_POINTS - 1), 2);
      steps.push_back({.kind = Kind::zoom,
                       .zoom = listed->x.low + share * (listed->x.high - listed->x.low),
                       .words = "Goes through its zoom"});
    }
  }
  steps.push_back({.kind = Kind::back, .words = "Goes back to where it was"});
}

std::optional<HeadCall> HeadCheck::next(std::int64_t now) {
  if (isInFlight || isDone) {
    return std::nullopt;
  }
  started = started == 0 ? now : started;
  if (now - started > LONGEST && trouble.empty()) {
    giveUp("The check takes too long");
  }
  switch (phase) {
    case Phase::begin:
      return begin(now);
    case Phase::moving:
      return whileMoving(now);
    case Phase::stopping:
      return sendStop(now);
    case Phase::settling:
      return whileSettling(now);
  }
  return std::nullopt;
}

void HeadCheck::answered(const HeadMoves::Outcome& outcome, const std::string& words,
                         std::int64_t now) {
  isInFlight = false;
  const bool wasStop = std::exchange(isStopping, false);
  if (outcome.ok) {
    return;
  }
  if (outcome.isTimeoutRefused && !std::exchange(isTimeoutRefused, true)) {
    const bool isStopped = isZeroSent || wasStop || !trouble.empty();
    phase = isStopped ? Phase::stopping : Phase::begin;  // again, without
    return;
  }
  if (wasStop && outcome.isOperationMissing && !isStopMissing) {
    isStopMissing = true;
    measured.heedsStop = false;
    phase = Phase::stopping;  // again, by speeds
    return;
  }
  if (wasStop) {
    isDone = now - stopSent > LONGEST_STOP || isDone;
    phase = Phase::stopping;
  }
  giveUp("The head does not do as it is told. " + words);
}

void HeadCheck::told(const HeadReading& reading, std::int64_t asked, std::int64_t now) {
  trips.push_back(now - asked);
  last = reading;
  const std::int64_t taken = asked + (now - asked) / 2;
  if (reading.panTilt) {
    pan.add(taken, reading.panTilt->x);
    tilt.add(taken, reading.panTilt->y);
  }
  if (reading.zoom) {
    zoom.add(taken, reading.zoom->x);
  }
  if (!reading.panTiltMoves || phase != Phase::moving) {
    return;  // some count a Stop as a motion
  }
  const auto left = moving().leftAfter(sent);
  const auto still = moving().stillSince();
  const bool isDriven = step().kind == Kind::drive && now - sent < DRIVE_HOLD / 2;
  const bool isMoving =
      isDriven && left && taken - *left > MOTION_TOLD_LATE && still && taken - *still < REST / 4;
  const bool stands = step().kind == Kind::leave && left && still && taken - *still > REST + REST;
  const bool isWrong = (isMoving && !*reading.panTiltMoves) || (stands && *reading.panTiltMoves);
  measured.tellsMotion = measured.tellsMotion.value_or(true) && !isWrong;
}

void HeadCheck::giveUp(const std::string& why) {
  if (!trouble.empty() || isDone) {
    return;
  }
  trouble = why;
  const bool wasSent = index > 0 || phase != Phase::begin;
  isDone = !wasSent;  // nothing moves
  phase = Phase::stopping;
  isZeroSent = false;
}

std::string HeadCheck::presentStep() const {
  return isDone ? "" : trouble.empty() ? step().words : "Stops";
}

std::optional<HeadCall> HeadCheck::begin(std::int64_t now) {
  switch (step().kind) {
    case Kind::look:
      if (trips.size() < LOOKS) {
        return std::nullopt;
      }
      if (!last.panTilt) {
        giveUp("The head does not say where it is");
        return std::nullopt;
      }
      std::ranges::sort(trips);
      measured.trip = trips[trips.size() / 2];
      start = last.panTilt;
      startZoom = last.zoom;
      nextStep();
      return begin(now);
    case Kind::drive:
      return send(
          move(step().isPan ? step().percent : 0, step().isPan ? 0 : step().percent, DRIVE_HOLD),
          now, hasTimeout());
    case Kind::leave:
      if (!hasTimeout()) {
        measured.takesTimeout = false;
        measured.heedsTimeout = false;
        nextStep();
        return begin(now);
      }
      return send(move(step().percent, 0, HOLD), now, hasTimeout());
    case Kind::zoom: {
      const onvif::ListedSpace* listed = zoomSpace(map.getFacts());
      return send(Tag("tptz:AbsoluteMove", Tag("tptz:ProfileToken", profile),
                      Tag("tptz:Position", onvif::zoomTag({step().zoom, listed->uri}))),
                  now);
    }
    case Kind::back:
      return send(backTag(), now);
  }
  return std::nullopt;
}

std::optional<HeadCall> HeadCheck::whileMoving(std::int64_t now) {
  const std::int64_t since = now - sent;
  const bool isWay = step().kind == Kind::zoom || step().kind == Kind::back;
  if (isWay) {
    if (since < LONGEST_WAY && (since < SHORTEST_WAY || !isStill(now, REST))) {
      return std::nullopt;
    }
    if (step().kind == Kind::zoom) {
      noteZoom();
    }
    isDone = isLast();
    if (!isDone) {
      nextStep();
    }
    return next(now);
  }
  if (step().kind == Kind::leave) {
    if (since < STANDS) {
      return std::nullopt;
    }
    noteLeft();
    return sendStop(now);
  }
  const bool wasSeen = moving().leftAfter(sent).has_value();
  return since >= (wasSeen ? DRIVE : LONGEST_WAIT) ? std::optional(sendStop(now)) : std::nullopt;
}

std::optional<HeadCall> HeadCheck::whileSettling(std::int64_t now) {
  const std::int64_t since = now - stopSent;
  if (since < REST || !isStill(now, REST)) {
    if (since > GOES_ON && !std::exchange(isZeroSent, true)) {
      measured.heedsStop = false;
      return sendZeroSpeeds(stopSent);
    }
    if (since <= LONGEST_STOP) {
      return std::nullopt;
    }
    isDone = true;
    trouble = trouble.empty() ? "The head does not stop" : trouble;
    return std::nullopt;
  }
  if (!trouble.empty()) {
    isDone = true;
    return std::nullopt;
  }
  if (step().kind == Kind::drive) {
    noteDriven();
  }
  nextStep();
  return next(now);
}

HeadCall HeadCheck::send(Tag operation, std::int64_t now, bool withTimeout) {
  sent = now;
  phase = Phase::moving;
  isInFlight = true;
  return {std::move(operation), withTimeout};
}

HeadCall HeadCheck::sendStop(std::int64_t now) {
  stopSent = phase == Phase::stopping && stopSent > sent ? stopSent : now;
  isZeroSent = false;
  if (isStopMissing) {
    return sendZeroSpeeds(stopSent);
  }
  phase = Phase::settling;
  isInFlight = true;
  isStopping = true;
  return {Tag("tptz:Stop", Tag("tptz:ProfileToken", profile), Tag("tptz:PanTilt", true),
              Tag("tptz:Zoom", true))};
}

HeadCall HeadCheck::sendZeroSpeeds(std::int64_t now) {
  stopSent = now;
  phase = Phase::settling;
  isZeroSent = true;
  isInFlight = true;
  return {move(0, 0, HOLD), hasTimeout()};
}

Tag HeadCheck::move(double panPercent, double tiltPercent, std::int64_t hold) const {
  const auto& limits = map.getFacts().timeout;
  if (limits && hasTimeout()) {
    hold = std::clamp(
        hold, units::roundedFromSeconds(limits->low),
        std::max(units::roundedFromSeconds(limits->low), units::roundedFromSeconds(limits->high)));
  }
  return Tag(
      "tptz:ContinuousMove", Tag("tptz:ProfileToken", profile),
      Tag("tptz:Velocity", onvif::panTiltTag(map.velocityOf(panPercent, tiltPercent))),
      hasTimeout() ? std::optional(Tag("tptz:Timeout", onvif::durationText(hold))) : std::nullopt);
}

bool HeadCheck::hasTimeout() const {
  const auto& limits = map.getFacts().timeout;
  return !isTimeoutRefused && !(limits && limits->high <= 0);
}

Tag HeadCheck::backTag() const {
  Tag position("tptz:Position", onvif::panTiltTag(*start));
  if (startZoom && zoomSpace(map.getFacts()) != nullptr) {
    position.add(onvif::zoomTag(*startZoom));
  }
  return Tag("tptz:AbsoluteMove", Tag("tptz:ProfileToken", profile), std::move(position));
}

void HeadCheck::noteDriven() {
  HeadMeasured::Axis& axis = step().isPan ? measured.pan : measured.tilt;
  double& way = step().isPan ? panWay : tiltWay;
  const auto left = moving().leftAfter(sent);
  if (!left) {
    return;  // it may be at its end: the other direction will tell
  }
  axis.moves = true;
  way += moving().wayFrom(sent) * step().percent;
  axis.isReversed = way < 0;
  const std::int64_t response = *left - sent;
  axis.response = std::max(axis.response.value_or(0), response);
  const double speed = std::abs(moving().speedBetween(sent, stopSent)) * 100 / PERCENT;
  axis.speed = std::max(axis.speed, speed);
  const auto still = moving().stillSince();
  const bool isHeeded = !isStopMissing && !isZeroSent && still && *still - stopSent <= HEEDED;
  measured.heedsStop = measured.heedsStop.value_or(true) && isHeeded;
}

void HeadCheck::noteLeft() {
  const auto still = moving().stillSince();
  if (!moving().leftAfter(sent) || !still) {
    measured.isTimeoutUnseen = true;
    return;
  }
  const bool stands = isStill(sent + STANDS, REST / 2);
  measured.heedsTimeout = stands;
  if (stands) {
    measured.standsAfter = *still - sent;
  }
}

void HeadCheck::noteZoom() {
  const bool isInMillimetres = last.zoom && last.zoom->space == space::ZOOM_MILLIMETRES;
  if (last.zoom && last.fieldAngle) {
    const auto& table = measured.zoomTable;
    const bool goesOn = table.empty() || (last.zoom->x > table.back().position &&
                                          *last.fieldAngle < table.back().fieldAngle);
    if (goesOn) {
      measured.zoomTable.push_back({last.zoom->x, *last.fieldAngle});
    }
  } else if (isInMillimetres) {
    measured.focalLengths.push_back(last.zoom->x);
  }
}

void HeadCheck::nextStep() {
  ++index;
  phase = Phase::begin;
}

bool HeadCheck::isStill(std::int64_t now, std::int64_t span) const {
  for (const MotionTrace* trace : {&pan, &tilt, &zoom}) {
    const auto since = trace->stillSince();
    if (since && now - *since < span) {
      return false;
    }
  }
  return true;
}

const MotionTrace& HeadCheck::moving() const {
  return step().isPan ? pan : tilt;
}

}  // namespace device::bridge
