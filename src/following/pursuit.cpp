#include "following/pursuit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

#include "following/pictures.h"
#include "following/units.h"

namespace following {

namespace {

constexpr double NEAR_GAIN = 3.0;      // per second
constexpr double FAR_GAIN = 5.0;       // per second more, beyond
constexpr double FAR_ERROR = 2.0;      // deg
constexpr double BRAKING_SHARE = 0.8;  // of the acceleration

// While the subject is within the first, in shares of the field of view to each side, a viewer sees
// how the picture moves: there an axis gets faster in a step by the second, of its acceleration.
constexpr double IN_VIEW = 0.25;
constexpr double GENTLE_SHARE = 0.5;

constexpr double TOO_FAST = 0.97;  // of the greatest speed
constexpr int BISECTIONS = 30;

// An axis begins to rest within the first, in shares of the field of view, degrees, and of what its
// least speed makes in a step; it goes on resting within the second.
struct RestZone {
  double ofField;
  double degrees;
  double ofStep;

  double width(double wide, double slowest) const {
    return std::max({ofField * wide, degrees, ofStep * slowest * Pursuit::PERIOD});
  }
};
constexpr RestZone BEGIN_TO_REST{0.01, 0.1, 0.6};
constexpr RestZone GO_ON_RESTING{0.02, 0.2, 1.5};
constexpr double RESTING_RATE = 0.03;  // of the field of view, per second

struct Interval {
  double low;
  double high;

  bool isEmpty() const { return low > high; }
  double middle() const { return (low + high) / 2.0; }
  Interval widened(double by) const { return {low - by, high + by}; }
  Interval within(const Interval& other) const {
    return {std::max(low, other.low), std::min(high, other.high)};
  }
};

using Tube = std::array<Interval, Subject::COURSE_POINTS>;

// Around the course, so wide that its half width is so much in the picture.
Tube tubeAround(const Subject& subject, double half) {
  Tube tube{};
  for (std::size_t i = 0; i < tube.size(); ++i) {
    const double pan = subject.course[i].pan;
    tube[i] = Interval{pan, pan}.widened(half / foreshortening(radians(subject.course[i].tilt)));
  }
  return tube;
}

// Leaves in the tube what can be reached from its beginning with so much at each step. False when
// there is no way through.
bool reachForward(Tube& tube, double step) {
  for (std::size_t i = 1; i < tube.size(); ++i) {
    tube[i] = tube[i].within(tube[i - 1].widened(step));
    if (tube[i].isEmpty()) {
      return false;
    }
  }
  return true;
}

// And what its end can be reached from.
void reachBackward(Tube& tube, double step) {
  for (std::size_t i = tube.size() - 1; i > 0; --i) {
    tube[i - 1] = tube[i - 1].within(tube[i].widened(step));
  }
}

bool isTooFast(const Subject& subject, double speed) {
  for (std::size_t i = 1; i < subject.course.size(); ++i) {
    const double way = subject.course[i].pan - subject.course[i - 1].pan;
    if (std::abs(way) > speed * Subject::COURSE_STEP) {
      return true;
    }
  }
  return false;
}

bool hasNoEnds(const AxisModel& model) {
  return !(model.highest - model.lowest < units::FULL_TURN);
}

// How much faster (deg/s) than it is an axis is told to get in a step: at least by a level.
double gentleRise(const AxisModel& model, int before) {
  const SpeedCurve& curve = model.curve;
  const int size = std::abs(before);
  const double level =
      size == 0 ? curve.slowest() : curve.speed(size + curve.step()) - curve.speed(size);
  return std::max(GENTLE_SHARE * model.acceleration * Pursuit::PERIOD, level);
}

double leadOf(const AxisModel& model, const std::optional<double>& statusAge) {
  const double age = statusAge && std::isfinite(*statusAge) ? *statusAge : model.deadTime / 2.0;
  return std::clamp(model.deadTime - age, 0.0, model.deadTime);
}

}  // namespace

double correctingSpeed(double error, double acceleration) {
  const double size = std::abs(error);
  const double wanted = NEAR_GAIN * size + FAR_GAIN * std::max(0.0, size - FAR_ERROR);
  const double braking = std::sqrt(2.0 * BRAKING_SHARE * acceleration * size);
  return std::copysign(std::min(wanted, braking), error);
}

Goal leadingGoal(const Subject& subject, double speed) {
  const double step = speed * Subject::COURSE_STEP;
  const auto [least, most] = std::ranges::minmax(subject.course, {}, &Direction::pan);
  double tooNarrow = 0.0;
  double wideEnough = most.pan - least.pan;
  for (int i = 0; i < BISECTIONS; ++i) {
    const double half = (tooNarrow + wideEnough) / 2.0;
    Tube tube = tubeAround(subject, half);
    (reachForward(tube, step) ? wideEnough : tooNarrow) = half;
  }
  Tube tube = tubeAround(subject, wideEnough);
  reachForward(tube, step);
  reachBackward(tube, step);
  const double slope = (tube[1].middle() - tube[0].middle()) / Subject::COURSE_STEP;
  return {tube[0].middle(), std::clamp(slope, -speed, speed)};
}

Pursuit::Pursuit(const HeadParameters& parameters)
    : pan{parameters.pan},
      tilt{parameters.tilt},
      lead(leadOf(parameters.pan, parameters.statusAge)),
      tiltLead(leadOf(parameters.tilt, parameters.statusAge) - lead) {
  if (!parameters.pan.isPlausible() || !parameters.tilt.isPlausible()) {
    lead = 0.0;
    tiltLead = 0.0;
  }
}

std::int64_t Pursuit::actsAt(std::int64_t now) const {
  return later(now, lead + PERIOD / 2.0);
}

void Pursuit::stop() {
  isStarted = false;
  lastError = 0.0;
  for (Axis* axis : {&pan, &tilt}) {
    axis->before = 0;
    axis->isResting = false;
  }
}

std::optional<SpeedCommand> Pursuit::step(const HeadModel& head,
                                          const std::optional<Subject>& subject, double wide) {
  if (!isStarted) {
    return std::nullopt;
  }
  if (!subject || !head.isTrusted() || !(wide > 0.0)) {
    lastError = 0.0;
    return SpeedCommand{};
  }
  Goal panGoal{subject->pan, subject->panRate};
  const double speed = TOO_FAST * pan.model.curve.fastest() * head.panRatio();
  if (subject->hasCourse && isTooFast(*subject, speed)) {
    panGoal = leadingGoal(*subject, speed);
  }
  panGoal = reachable(pan.model, panGoal);
  const Goal tiltGoal =
      reachable(tilt.model, {subject->tilt + subject->tiltRate * tiltLead, subject->tiltRate});
  const double foreshortening = std::cos(radians(subject->tilt));
  const AxisMotion panAhead = head.pan();
  const AxisMotion tiltAhead = head.tilt();
  const double panOff = offOf(pan.model, panGoal, panAhead, head.panRatio());
  const double tiltOff = offOf(tilt.model, tiltGoal, tiltAhead, head.tiltRatio());
  lastError = std::max(std::abs(panOff) * foreshortening, std::abs(tiltOff));
  if (!std::isfinite(lastError)) {
    lastError = 0.0;
    return SpeedCommand{};
  }
  return SpeedCommand{
      commandFor(pan, head.panRatio(), panGoal, panOff, panAhead.velocity, foreshortening, wide),
      commandFor(tilt, head.tiltRatio(), tiltGoal, tiltOff, tiltAhead.velocity, 1.0, wide)};
}

// An axis with ends stands at the nearer one while its goal is beyond.
Goal Pursuit::reachable(const AxisModel& model, const Goal& goal) {
  if (hasNoEnds(model)) {
    return goal;
  }
  const double position = std::clamp(wrapped(goal.position), model.lowest, model.highest);
  return {position, position == wrapped(goal.position) ? goal.rate : 0.0};
}

// In the middle of the command's life. An axis with ends does not go through them.
double Pursuit::offOf(const AxisModel& model, const Goal& goal, const AxisMotion& ahead,
                      double ratio) {
  const double position = ahead.position + ahead.velocity * ratio * PERIOD / 2.0;
  return hasNoEnds(model) ? wrapped(goal.position - position) : goal.position - wrapped(position);
}

int Pursuit::commandFor(Axis& axis, double ratio, const Goal& goal, double off, double velocity,
                        double foreshortening, double wide) {
  const SpeedCurve& curve = axis.model.curve;
  const RestZone& zone = axis.isResting ? GO_ON_RESTING : BEGIN_TO_REST;
  const double rate = std::abs(goal.rate);
  const bool isSlow = rate * foreshortening < RESTING_RATE * wide || rate < curve.slowest() / 2.0;
  axis.isResting = isSlow && std::abs(off) * foreshortening < zone.width(wide, curve.slowest());
  if (axis.isResting) {
    return 0;
  }
  const double most = curve.fastest() * ratio;
  const double wanted = goal.rate + correctingSpeed(off, axis.model.acceleration);
  const double bounded = std::clamp(wanted, -most, most) / ratio;
  if (std::abs(off) * foreshortening >= IN_VIEW * wide) {
    return curve.command(bounded, axis.before);
  }
  const double rise = gentleRise(axis.model, axis.before);
  return curve.command(
      std::clamp(bounded, std::min(velocity, 0.0) - rise, std::max(velocity, 0.0) + rise),
      axis.before);
}

void Pursuit::commanded(SpeedCommand command) {
  pan.before = command.pan;
  tilt.before = command.tilt;
}

}  // namespace following
