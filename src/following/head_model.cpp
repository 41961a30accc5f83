#include "following/head_model.h"

#include <algorithm>
#include <cmath>

#include "following/units.h"

namespace following {

namespace {

constexpr double CORRECTION = 0.4;  // of the difference, at each new value
constexpr double FAR_OFF = 15.0;    // deg, beyond which the status is right at once
constexpr double RATIO_GAIN = 0.03;
constexpr double RATIO_STEP = 0.02;  // at most, at each new value
constexpr double RATIO_RANGE = 0.25;
constexpr double RATIO_SPEED = 2.0;   // deg/s, above which the ratio shows
constexpr double RATIO_TIME = 0.5;    // s, between the values that are compared
constexpr double STOOD_STILL = 0.5;   // s, after which an unchanged value is the position
constexpr double INTERRUPTION = 0.5;  // s, beyond the dead time

// What a good model is off while the head moves.
constexpr double MISFIT_ANGLE = 0.33;  // deg
constexpr double MISFIT_SHARE = 0.33;  // of the way since the value before
constexpr double MISFIT_MEMORY = 0.995;
constexpr int MISFIT_VALUES = 200;  // before anything is said

AxisModel usable(const AxisModel& model) {
  return model.isPlausible() ? model : AxisModel();
}

}  // namespace

// ---- One axis ----

AxisTracker::AxisTracker(const AxisModel& model) : model(model) {}

void AxisTracker::Course::runTo(std::int64_t later, const AxisModel& model, double ratio) {
  const std::int64_t end = following::later(wantedSince, COMMAND_LIFE);
  if (wanted != 0.0 && end < later) {
    moveTo(end, model, ratio);
    wanted = 0.0;
  }
  moveTo(later, model, ratio);
}

void AxisTracker::Course::moveTo(std::int64_t later, const AxisModel& model, double ratio) {
  motion.advance(std::max(secondsBetween(time, later), 0.0), wanted, model.acceleration, ratio);
  time = std::max(time, later);
}

void AxisTracker::Course::take(const UnderWay& command, const AxisModel& model, double ratio) {
  runTo(command.due, model, ratio);
  wanted = model.curve.speed(command.percent);
  wantedSince = command.due;
}

void AxisTracker::advance(std::int64_t time) {
  if (!hasTime) {
    course.time = time;
    hasTime = true;
  }
  const std::int64_t before = course.time;
  while (count > 0 && underWay[first].due <= time) {
    dropOldest();
  }
  course.runTo(time, model, speedRatio);
  const bool stands = course.motion.velocity == 0.0 && course.wanted == 0.0;
  standing = stands ? standing + secondsBetween(before, course.time) : 0.0;
}

void AxisTracker::correct(double degrees, std::optional<double> sinceChange) {
  const double off = wrapped(degrees - course.motion.position);
  if (std::abs(off) > FAR_OFF) {
    place(degrees);
    return;
  }
  course.motion.position = wrapped(course.motion.position + CORRECTION * off);
  const double velocity = course.motion.velocity;
  if (sinceChange && *sinceChange > 0.0 && *sinceChange < RATIO_TIME &&
      std::abs(velocity) > RATIO_SPEED) {
    const double change = RATIO_GAIN * off / (velocity * *sinceChange);
    speedRatio = std::clamp(speedRatio + std::clamp(change, -RATIO_STEP, RATIO_STEP),
                            1.0 - RATIO_RANGE, 1.0 + RATIO_RANGE);
  }
}

void AxisTracker::add(std::int64_t time, int percent) {
  std::int64_t due = later(time, model.deadTime);
  if (count > 0) {
    due = std::max(due, underWay[(first + count - 1) % MOST_UNDER_WAY].due);
  }
  if (count == MOST_UNDER_WAY) {
    dropOldest();
  }
  underWay[(first + count) % MOST_UNDER_WAY] = {due, percent};
  ++count;
}

void AxisTracker::dropOldest() {
  course.take(underWay[first], model, speedRatio);
  first = (first + 1) % MOST_UNDER_WAY;
  --count;
}

void AxisTracker::stop() {
  count = 0;
  course.wanted = 0.0;
  course.motion.velocity = 0.0;
}

void AxisTracker::place(double degrees) {
  course.motion.position = wrapped(degrees);
}

AxisMotion AxisTracker::ahead() const {
  Course copy = course;
  for (std::size_t i = 0; i < count; ++i) {
    copy.take(underWay[(first + i) % MOST_UNDER_WAY], model, speedRatio);
  }
  copy.runTo(later(course.time, model.deadTime), model, speedRatio);
  return copy.motion;
}

// ---- Both ----

HeadModel::HeadModel(const HeadParameters& parameters)
    : axes{AxisTracker(usable(parameters.pan)), AxisTracker(usable(parameters.tilt))},
      isUsable(parameters.pan.isPlausible() && parameters.tilt.isPlausible()),
      interruption(std::max(usable(parameters.pan).deadTime, usable(parameters.tilt).deadTime) +
                   INTERRUPTION) {}

void HeadModel::commanded(std::int64_t time, SpeedCommand command) {
  axes[0].add(time, command.pan);
  axes[1].add(time, command.tilt);
}

void HeadModel::interrupted(std::int64_t time) {
  for (AxisTracker& axis : axes) {
    axis.stop();
  }
  interruptedAt = time;
}

void HeadModel::read(std::int64_t time, double pan, double tilt) {
  time = hasStatus ? std::max(time, lastRead) : time;
  std::array<double, 2> way{};
  for (std::size_t i = 0; i < axes.size(); ++i) {
    const double before = axes[i].now().position;
    axes[i].advance(time);
    way[i] = std::abs(wrapped(axes[i].now().position - before));
  }
  lastRead = time;
  if (!std::isfinite(pan) || !std::isfinite(tilt)) {
    watch(time, false, std::max(way[0], way[1]));
    return;
  }
  const std::array<double, 2> values{wrapped(pan), tilt};
  const bool isFirst = !hasStatus;
  const bool changed = isFirst || values != status;
  const double sinceChange = secondsBetween(lastChange, time);
  const bool isPlaced =
      isFirst || isFrozen || (interruptedAt && secondsBetween(*interruptedAt, time) < interruption);
  for (std::size_t i = 0; i < axes.size(); ++i) {
    if (isPlaced) {
      axes[i].place(values[i]);
    } else if (changed || axes[i].isStanding(STOOD_STILL)) {
      compare(i, values[i], sinceChange);
      axes[i].correct(values[i], changed ? std::optional(sinceChange) : std::nullopt);
    }
  }
  status = values;
  hasStatus = true;
  watch(time, changed, std::max(way[0], way[1]));
}

void HeadModel::compare(std::size_t axis, double degrees, double sinceChange) {
  const AxisMotion& motion = axes[axis].now();
  const double speed = std::abs(motion.velocity);
  if (speed < RATIO_SPEED || sinceChange > RATIO_TIME) {
    return;
  }
  compared = std::min(compared + 1, MISFIT_VALUES);
  offSquares = MISFIT_MEMORY * offSquares + squared(wrapped(degrees - motion.position));
  expectedSquares =
      MISFIT_MEMORY * expectedSquares + squared(MISFIT_ANGLE + MISFIT_SHARE * speed * sinceChange);
}

double HeadModel::misfit() const {
  return compared < MISFIT_VALUES ? 0.0 : std::sqrt(offSquares / expectedSquares);
}

// A status that stays although the head should be moving: the link or the head is stuck.
void HeadModel::watch(std::int64_t time, bool changed, double way) {
  if (changed) {
    lastChange = time;
    wayWithoutChange = 0.0;
    isFrozen = false;
    return;
  }
  wayWithoutChange += way;
  if (isFrozen && secondsBetween(frozenSince, time) > FROZEN_REST) {
    isFrozen = false;
    wayWithoutChange = 0.0;
    lastChange = time;
  } else if (!isFrozen && wayWithoutChange > FROZEN_WAY &&
             secondsBetween(lastChange, time) > FROZEN_TIME) {
    isFrozen = true;
    frozenSince = time;
  }
}

}  // namespace following
