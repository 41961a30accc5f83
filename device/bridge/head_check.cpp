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
constexpr std::int64_t WAY_SLACK = 5 * SECOND;
constexpr double WAY_MARGIN = 2;         // times as long as its speed says
constexpr std::int64_t HEEDED = 900000;  // from a Stop to the rest
constexpr std::int64_t GOES_ON = 1500000;
constexpr std::int64_t LONGEST_STOP = 5 * SECOND;
constexpr std::int64_t MOTION_TOLD_LATE = 300000;
constexpr double LEAST_SHARE = 0.0002;  // of a range: less is no motion
constexpr double LEAST_ZOOM_SHARE = 0.002;
constexpr double GENERIC_WIDTH = 2;
constexpr int ZOOM_POINTS = 9;
constexpr double SCALE_TURN = 60;              // degrees by which a scale is measured
constexpr double LEAST_TURN = 1;               // degrees
constexpr double PACE = 10;                    // degrees a second, likewise
constexpr double PACE_TURN = 20;               // degrees
constexpr double PACE_SHARE = 0.1;             // of a range of which no degrees are known
constexpr double SIGHT_TURN = 10;              // degrees
constexpr double SIGHT_PARTS = 5;              // of the picture: that one at the most
constexpr std::int64_t PICTURE_AGE = 1200000;  // a snapshot may show what was so long ago
constexpr double ENDLESS = 359.5;              // degrees; who turns so far turns for ever

// Neither turned round nor held back.
HeadTold plain(HeadTold told) {
  told.invertPan = told.invertTilt = told.invertPanSpeed = told.invertTiltSpeed = false;
  told.panEnds = told.tiltEnds = std::nullopt;
  return told;
}

const Range& rangeOf(const onvif::ListedSpace& listed, bool isPan) {
  return isPan || !listed.y.isReal() ? listed.x : listed.y;
}

double& partOf(Vector2& place, bool isPan) {
  return isPan ? place.x : place.y;
}

// So far towards the middle, or to it.
double inwards(double from, double way, const Range& range) {
  const double middle = (range.low + range.high) / 2;
  const double longest = (range.high - range.low) / 4;
  return from + (from < middle ? 1 : -1) * std::min(way, longest);
}

double paceOf(const onvif::ListedSpace& speeds) {
  return speeds.x.isReal() ? std::clamp(PACE, speeds.x.low, speeds.x.high) : PACE;
}

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
  if (axis.isCountedBackwards) {
    words->push_back(
        std::string("The numbers of its ")
            .append(name)
            .append(" fall where its degrees grow: it can be spoken to in one of the two alone"));
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
  for (const auto& [axis, name] :
       {std::pair(&measured.pan, "pan"), std::pair(&measured.tilt, "tilt")}) {
    if (axis->scale) {
      words.push_back(wordsOf(*axis->scale, name));
    }
    if (axis->ends) {
      words.push_back(wordsOf(*axis->ends, name));
    }
  }
  if (!measured.sightTrouble.empty()) {
    words.push_back(measured.sightTrouble);
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

HeadCheck::HeadCheck(std::string profile, HeadFacts facts, Wishes given)
    : profile(std::move(profile)),
      wishes(std::move(given)),
      map(facts, plain(wishes.told)),
      toldMap(facts, wishes.told),
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
               : 1) {}

// Once it is known where the head is.
void HeadCheck::plan() {
  planScale();
  if (wishes.sight) {
    planSight();
  }
  if (wishes.ends) {
    planEnds();
  }
  if (wishes.zoom) {
    planZoom();
  }
  steps.push_back({.kind = Kind::back, .words = "Goes back to where it was"});
}

// A head that knows two languages is spoken to in the one, and heard in the other.
void HeadCheck::planScale() {
  const HeadFacts& facts = map.getFacts();
  const onvif::ListedSpace* generic = onvif::findSpace(facts.positions, space::POSITION);
  const onvif::ListedSpace* degrees = onvif::findSpace(facts.positions, space::POSITION_DEGREES);
  const auto panScale = toldScale(true);
  const auto tiltScale = toldScale(false);
  if (generic == nullptr || degrees == nullptr || !panScale || !tiltScale) {
    planPace();
    return;
  }
  const onvif::ListedSpace& other = isToldInDegrees() ? *generic : *degrees;
  Vector2 place{0, 0, other.uri};
  Vector2 next = place;
  for (const bool isPan : {true, false}) {
    const AxisScale& scale = isPan ? *panScale : *tiltScale;
    const Range& range = rangeOf(other, isPan);
    const double from = partOf(*start, isPan);
    const double there = isToldInDegrees() ? scale.numberOf(from) : scale.degreesOf(from);
    const double turn = isToldInDegrees() ? SCALE_TURN / scale.perNumber() : SCALE_TURN;
    partOf(place, isPan) = std::clamp(there, range.low, range.high);
    partOf(next, isPan) = inwards(partOf(place, isPan), turn, range);
  }
  const char* const words = "Compares its own numbers with degrees";
  steps.push_back({.kind = Kind::scale, .isPan = true, .place = place, .words = words});
  steps.push_back(
      {.kind = Kind::scale, .isPan = true, .place = {next.x, place.y, other.uri}, .words = words});
  steps.push_back({.kind = Kind::scale, .isPan = false, .place = next, .words = words});
}

// Of one that knows its speed in degrees alone.
void HeadCheck::planPace() {
  const HeadFacts& facts = map.getFacts();
  const onvif::ListedSpace* generic = onvif::findSpace(facts.positions, space::POSITION);
  if (isToldInDegrees() || generic == nullptr ||
      onvif::findSpace(facts.speeds, space::SPEED_DEGREES) == nullptr) {
    return;
  }
  Vector2 place = *start;
  place.space = space::POSITION;
  for (const bool isPan : {true, false}) {
    const auto scale = toldScale(isPan);
    const Range& range = rangeOf(*generic, isPan);
    const double way =
        scale ? PACE_TURN / scale->perNumber() : PACE_SHARE * (range.high - range.low);
    partOf(place, isPan) = inwards(partOf(place, isPan), way, range);
    if (scale) {
      steps.push_back({.kind = Kind::pace,
                       .isPan = isPan,
                       .place = place,
                       .words = "Compares its own numbers with its speed"});
    }
  }
}

void HeadCheck::planSight() {
  const auto scalePan = toldScale(true);
  const auto scaleTilt = toldScale(false);
  const auto zoomNow = toldMap.zoomOf(last);
  const double fieldAngle = last.fieldAngle ? *last.fieldAngle
                            : zoomNow && wishes.told.fieldAngles.low > 0
                                ? toldMap.fieldAngleOfZoom(*zoomNow)
                                : 0;
  if (!scalePan || !scaleTilt || !toldMap.degreesOf(*start) || !(fieldAngle > 0)) {
    measured.sightTrouble =
        "Its scale cannot be looked at: enter its ranges and how wide its picture is, and check it "
        "again";
    return;
  }
  const double turn = std::min(SIGHT_TURN, fieldAngle / SIGHT_PARTS);
  Vector2 next = *start;
  for (const bool isPan : {true, false}) {
    const AxisScale& scale = isPan ? *scalePan : *scaleTilt;
    const Range& range = isToldInDegrees() ? scale.degrees : scale.numbers;
    partOf(next, isPan) =
        inwards(partOf(*start, isPan), isToldInDegrees() ? turn : turn / scale.perNumber(), range);
  }
  measured.sight = HeadMeasured::Sight{{}, {}, fieldAngle, "", ""};
  const char* const words = "Takes two pictures to compare";
  steps.push_back({.kind = Kind::sight, .place = *start, .words = words});
  steps.push_back({.kind = Kind::sight, .place = next, .words = words});
}

void HeadCheck::planEnds() {
  const HeadFacts& facts = map.getFacts();
  const onvif::ListedSpace* degrees = onvif::findSpace(facts.positions, space::POSITION_DEGREES);
  const onvif::ListedSpace* listed =
      degrees != nullptr ? degrees : onvif::findSpace(facts.positions, space::POSITION);
  for (const bool isPan : {true, false}) {
    const auto scale = toldScale(isPan);
    if (listed == nullptr || !scale) {
      return;  // it is said elsewhere what is missing
    }
    const Range& range = rangeOf(*listed, isPan);
    const Range& turns = degrees != nullptr ? range : scale->degrees;
    if (isPan && turns.high - turns.low >= ENDLESS) {
      continue;
    }
    for (const double end : {range.low, range.high}) {
      Vector2 place{0, 0, listed->uri};
      for (const bool isThisPan : {true, false}) {
        const auto other = toldScale(isThisPan);
        const double from = partOf(*start, isThisPan);
        partOf(place, isThisPan) =
            degrees == nullptr || isToldInDegrees() || !other ? from : other->degreesOf(from);
      }
      partOf(place, isPan) = end;
      steps.push_back({.kind = Kind::end,
                       .isPan = isPan,
                       .place = place,
                       .words = isPan ? "Pans to its ends" : "Tilts to its ends"});
    }
  }
}

void HeadCheck::planZoom() {
  const onvif::ListedSpace* listed = zoomSpace(map.getFacts());
  for (int i = 0; listed != nullptr && i < ZOOM_POINTS; ++i) {
    // The angle changes fastest where the picture is wide.
    const double share = std::pow(static_cast<double>(i) / (ZOOM_POINTS - 1), 2);
    steps.push_back({.kind = Kind::zoom,
                     .zoom = listed->x.low + share * (listed->x.high - listed->x.low),
                     .words = "Goes through its zoom"});
  }
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
    case Phase::looking:
      return std::nullopt;
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
  if (isWay() && step().kind < Kind::zoom && trouble.empty() && !wasStop) {
    noteRefused();
    nextStep();
    return;
  }
  giveUp("The head does not do as it is told. " + words);
}

void HeadCheck::told(const HeadReading& reading, std::int64_t asked, std::int64_t now) {
  trips.push_back(now - asked);
  const auto place = last.panTilt;
  last = reading;
  if (!last.panTilt) {
    last.panTilt = place;  // some leave it out now and then
  }
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

void HeadCheck::pictured(const std::string& jpeg, const std::string& words) {
  if (phase != Phase::looking) {
    return;  // it was given up meanwhile
  }
  if (jpeg.empty()) {
    measured.sight.reset();
    measured.sightTrouble = "Its scale cannot be looked at. " + words;
    nextStep();
    return;
  }
  const bool isFirst = measured.sight && measured.sight->before.empty();
  if (measured.sight && last.panTilt) {
    (isFirst ? measured.sight->from : measured.sight->to) =
        toldMap.degreesOf(*last.panTilt).value_or(HeadMap::Degrees{});
    (isFirst ? measured.sight->before : measured.sight->after) = jpeg;
  }
  nextStep();
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
  if (isDone || !trouble.empty()) {
    return isDone ? "" : "Stops";
  }
  return index == 0 ? step().words
                    : text::formatted("%s (%zu of %zu)", step().words, index + 1, steps.size());
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
      plan();
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
    case Kind::scale:
    case Kind::pace:
    case Kind::sight:
    case Kind::end:
      if (step().kind == Kind::sight && !measured.sight) {
        nextStep();
        return begin(now);
      }
      return send(placeTag(), now);
    case Kind::back:
      return send(backTag(), now);
  }
  return std::nullopt;
}

std::optional<HeadCall> HeadCheck::whileMoving(std::int64_t now) {
  const std::int64_t since = now - sent;
  if (isWay()) {
    const std::int64_t rest = step().kind == Kind::sight ? PICTURE_AGE : REST;
    const std::int64_t shortest = SHORTEST_WAY + measured.pan.response.value_or(0);
    if (since < longestWay() && (since < shortest || !isStill(now, rest))) {
      return std::nullopt;
    }
    started += since;
    noteWay(now);
    if (step().kind == Kind::sight) {
      phase = Phase::looking;
      return std::nullopt;
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
  zoomBefore = zoom.place();
  placeBefore = last.panTilt;
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

Tag HeadCheck::placeTag() const {
  Tag move("tptz:AbsoluteMove", Tag("tptz:ProfileToken", profile),
           Tag("tptz:Position", onvif::panTiltTag(step().place)));
  const onvif::ListedSpace* speeds = onvif::findSpace(map.getFacts().speeds, space::SPEED_DEGREES);
  if (step().kind == Kind::pace && speeds != nullptr) {
    const double pace = paceOf(*speeds);
    move.add(Tag("tptz:Speed", onvif::panTiltTag({pace, pace, space::SPEED_DEGREES})));
  }
  return move;
}

bool HeadCheck::isWay() const {
  return step().kind >= Kind::scale;
}

bool HeadCheck::isToldInDegrees() const {
  const std::string& given = start->space.empty() ? map.getFacts().defaultPosition : start->space;
  return given == space::POSITION_DEGREES;
}

std::optional<AxisScale> HeadCheck::toldScale(bool isPan) const {
  const auto axes = map.limits();
  if (!axes) {
    return std::nullopt;
  }
  const onvif::ListedSpace* listed = onvif::findSpace(map.getFacts().positions, space::POSITION);
  const Range whole{-1, 1};
  return AxisScale{listed != nullptr ? rangeOf(*listed, isPan) : whole,
                   isPan ? axes->pan : axes->tilt};
}

// As it was measured, if it was.
std::optional<AxisScale> HeadCheck::bestScale(bool isPan) const {
  auto scale = toldScale(isPan);
  const auto& found = isPan ? measured.pan.scale : measured.tilt.scale;
  if (scale && found && found->degrees) {
    scale->degrees = *found->degrees;
  }
  return scale;
}

void HeadCheck::noteWay(std::int64_t now) {
  switch (step().kind) {
    case Kind::zoom:
      noteZoom();
      noteZoomSpeed();
      return;
    case Kind::scale:
      noteScale();
      return;
    case Kind::pace:
      notePace();
      return;
    case Kind::end:
      noteEnd(now);
      return;
    default:
      return;
  }
}

// What a way would have shown is not known then; the others go on.
void HeadCheck::noteRefused() {
  former.reset();
  if (step().kind == Kind::end) {
    lowEnd.reset();
  } else if (step().kind == Kind::sight) {
    measured.sight.reset();
    measured.sightTrouble = "Its scale cannot be looked at: it refuses to go there";
  }
}

void HeadCheck::noteScale() {
  const bool isFirst = !former;
  const auto told = toldScale(step().isPan);
  const Vector2 before = former.value_or(Vector2{});
  former = last.panTilt;
  if (isFirst || !told) {
    return;
  }
  Vector2 sentBefore = steps[index - 1].place;
  Vector2 sentNow = step().place;
  Vector2 heardBefore = before;
  Vector2 heardNow = *last.panTilt;
  const bool isPan = step().isPan;
  const double sentA = partOf(sentBefore, isPan);
  const double sentB = partOf(sentNow, isPan);
  const double heardA = partOf(heardBefore, isPan);
  const double heardB = partOf(heardNow, isPan);
  const double coarseness = moving().finest() / std::abs(heardB - heardA);
  const bool isInDegrees = isToldInDegrees();
  axis().scale = isInDegrees ? scaleByPlaces(*told, sentA, heardA, sentB, heardB, coarseness)
                             : scaleByPlaces(*told, heardA, sentA, heardB, sentB, coarseness);
  axis().isCountedBackwards = isInDegrees ? isCountedBackwards(*told, sentA, heardA, sentB, heardB)
                                          : isCountedBackwards(*told, heardA, sentA, heardB, sentB);
}

void HeadCheck::notePace() {
  const auto told = toldScale(step().isPan);
  const onvif::ListedSpace* speeds = onvif::findSpace(map.getFacts().speeds, space::SPEED_DEGREES);
  if (told && speeds != nullptr) {
    axis().scale = scaleBySpeed(*told, paceOf(*speeds), moving().steadySpeed(sent));
  }
}

// A head that goes on, or has not set out, is not where it stops.
bool HeadCheck::isAtEnd(double toGo, std::int64_t now) const {
  const bool isSlow = now - sent >= longestWay() && !isStill(now, REST);
  return !isSlow && (toGo <= LEAST_TURN || moving().leftAfter(sent));
}

void HeadCheck::noteEnd(std::int64_t now) {
  const auto scale = bestScale(step().isPan);
  const bool isLow = steps[index + 1].kind == Kind::end && steps[index + 1].isPan == step().isPan;
  const auto low = std::exchange(lowEnd, std::nullopt);
  if (!scale || !last.panTilt || !placeBefore) {
    return;
  }
  const auto degreesOf = [&](Vector2 place, bool isDegrees) {
    const double told = partOf(place, step().isPan);
    return isDegrees ? told : scale->degreesOf(told);
  };
  const double announced = degreesOf(step().place, step().place.space == space::POSITION_DEGREES);
  const double from = degreesOf(*placeBefore, isToldInDegrees());
  const double told = degreesOf(*last.panTilt, isToldInDegrees());
  // Some tell 190 degrees as -170.
  const bool isWithin =
      told > scale->degrees.low - LEAST_TURN && told < scale->degrees.high + LEAST_TURN;
  const double reached = isWithin ? told : announced + units::wrapped(told - announced);
  if (!isAtEnd(std::abs(announced - from), now)) {
    return;
  }
  if (isLow) {
    lowEnd = {announced, reached};
  } else if (low && low->reached < reached) {
    axis().ends = AxisEnds{{low->announced, announced}, {low->reached, reached}};
  }
}

void HeadCheck::noteDriven() {
  HeadMeasured::Axis& driven = axis();
  double& way = step().isPan ? panWay : tiltWay;
  const auto left = moving().leftAfter(sent);
  if (!left) {
    return;  // it may be at its end: the other direction will tell
  }
  driven.moves = true;
  way += moving().wayFrom(sent) * step().percent;
  driven.isReversed = way < 0;
  const std::int64_t response = *left - sent;
  driven.response = std::max(driven.response.value_or(0), response);
  const double speed = std::abs(moving().speedBetween(sent, stopSent)) * 100 / PERCENT;
  driven.speed = std::max(driven.speed, speed);
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
    measured.isTableInMillimetres = isInMillimetres;
    if (goesOn) {
      measured.zoomTable.push_back({last.zoom->x, *last.fieldAngle});
    }
  } else if (isInMillimetres) {
    measured.focalLengths.push_back(last.zoom->x);
  }
}

// Zooms are slower where the picture is narrow, and the slowest way bounds the others.
void HeadCheck::noteZoomSpeed() {
  const double speed = std::abs(zoom.steadySpeed(sent));
  if (speed > 0) {
    zoomSpeed = zoomSpeed > 0 ? std::min(zoomSpeed, speed) : speed;
  }
}

std::int64_t HeadCheck::longestWay() const {
  if (zoomSpeed <= 0 || (step().kind == Kind::back && !startZoom)) {
    return LONGEST_WAY;
  }
  const double to = step().kind == Kind::back ? startZoom->x : step().zoom;
  const std::int64_t zooms =
      WAY_SLACK + units::roundedFromSeconds(WAY_MARGIN * std::abs(to - zoomBefore) / zoomSpeed);
  return step().kind == Kind::back ? std::max(LONGEST_WAY, zooms) : zooms;
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
