#include "tracker/head_survey.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "following/units.h"

namespace {

// The relay run, where none was recorded.
constexpr double RELAY_SECONDS = 4.0;
constexpr double RELAY_BAND = 0.5;  // deg, to each side

// Of the way to the nearer stop, what a level may take.
constexpr double ROOM_SHARE = 0.75;
// How long an axis may go on after its command has changed: dead time and braking, taken for long.
constexpr double RUN_OUT = 0.8;    // s
constexpr double CLEARANCE = 3.0;  // deg, to keep from a stop

// How long an axis may be driven as by the relay, or faster, while its status stays the same.
constexpr double FROZEN_TIME = 1.5;  // s
// Of an axis that has not shown its speed.
constexpr double ANY_SPEED = std::numeric_limits<double>::infinity();

}  // namespace

void HeadSurvey::begin() {
  axes = {Axis(stops.lowestPan, stops.highestPan), Axis(stops.lowestTilt, stops.highestTilt)};
  isRelayNeeded = false;
}

void HeadSurvey::noteStatus(const PtzHeadStatus& status, std::int64_t time) {
  axes[0].note(time, status.pan);
  axes[1].note(time, status.tilt);
}

void HeadSurvey::Axis::note(std::int64_t time, double degrees) {
  record.addStatus(time, degrees);
  if (!std::isfinite(degrees)) {
    isBlind = true;
    return;
  }
  const double elapsed = following::secondsBetween(changed, time);
  if (degrees != position && elapsed > 0.0) {
    speed = following::wrapped(degrees - position) / elapsed;
    position = degrees;
    changed = time;
  }
}

void HeadSurvey::noteCommand(double pan, double tilt, std::int64_t time) {
  axes[0].record.addCommand(time, following::wholePercent(pan));
  axes[1].record.addCommand(time, following::wholePercent(tilt));
}

void HeadSurvey::beginStaircase(const PtzHeadStatus& status, std::int64_t time) {
  begun = time;
  isRelayNeeded = axes[0].record.commands().empty();
  axes[0].begin(status.pan, time);
  axes[1].begin(status.tilt, time);
}

void HeadSurvey::Axis::begin(double degrees, std::int64_t time) {
  isBlind = isBlind || !std::isfinite(degrees);
  middle = degrees;
  position = degrees;
  changed = time;
  idle = time;
  speed = 0.0;
  level = following::RELAY_PERCENT;
  beginStaircase(time);
}

void HeadSurvey::Axis::beginStaircase(std::int64_t time) {
  record.beginStaircase(time);
  const double room = ROOM_SHARE * std::min(middle - lowest, highest - middle);
  staircase = following::Staircase(following::speedInRelay(record).value_or(ANY_SPEED), room);
}

std::optional<following::SpeedCommand> HeadSurvey::command(std::int64_t time) {
  if (axes[0].isBlind && axes[1].isBlind) {
    return std::nullopt;
  }
  if (isRelayNeeded && following::secondsBetween(begun, time) < RELAY_SECONDS) {
    return following::SpeedCommand{axes[0].relay(time), axes[1].relay(time)};
  }
  if (std::exchange(isRelayNeeded, false)) {
    begun = time;
    axes[0].beginStaircase(time);
    axes[1].beginStaircase(time);
  }
  const double seconds = following::secondsBetween(begun, time);
  if (seconds >= std::max(axes[0].staircase.duration(), axes[1].staircase.duration())) {
    return std::nullopt;
  }
  return following::SpeedCommand{axes[0].commandAt(seconds, time),
                                 axes[1].commandAt(seconds, time)};
}

int HeadSurvey::Axis::relay(std::int64_t time) {
  const double off = following::wrapped(position - middle);
  if (std::abs(off) > RELAY_BAND) {
    level = off > 0.0 ? -following::RELAY_PERCENT : following::RELAY_PERCENT;
  }
  return driven(isNearStop(level) ? 0 : level, time);
}

int HeadSurvey::Axis::commandAt(double seconds, std::int64_t time) {
  const int wanted = staircase.command(seconds).value_or(0);
  isHeld = (isHeld && wanted == level) || isNearStop(wanted);
  level = wanted;
  return driven(isHeld ? 0 : wanted, time);
}

// The percent, unless the axis goes on blindly with it: its status is frozen, or it is stuck.
int HeadSurvey::Axis::driven(int percent, std::int64_t time) {
  if (std::abs(percent) < following::RELAY_PERCENT) {
    idle = time;
  }
  const double unchanged = following::secondsBetween(std::max(idle, changed), time);
  isBlind = isBlind || unchanged > FROZEN_TIME;
  return isBlind ? 0 : percent;
}

// Where it would stand if it were stopped now, towards where it is told to go.
bool HeadSurvey::Axis::isNearStop(int percent) const {
  const double end = position + speed * RUN_OUT;
  return (percent > 0 && end > highest - CLEARANCE) || (percent < 0 && end < lowest + CLEARANCE);
}

following::HeadIdentification HeadSurvey::identify() const {
  return following::identifyHead(axes[0].record, axes[1].record);
}
