#include "score/motion.h"

#include <cmath>

#include "world/direction.h"

namespace device {
namespace {

constexpr double MOVES = 0.5;   // degrees a second
constexpr double ZOOMS = 0.05;  // share of the magnification, a second

// 1 when a direction was told before and now is the other one.
int turned(int& direction, double rate, double least) {
  if (std::abs(rate) < least) {
    return 0;
  }
  const int now = rate > 0 ? 1 : -1;
  const bool isOther = direction == -now;
  direction = now;
  return isOther ? 1 : 0;
}

}  // namespace

std::optional<MotionStep> Motion::follow(double time, const HeadPose& pose) {
  if (!lastTime) {
    lastTime = time;
    last = pose;
    return std::nullopt;
  }
  MotionStep step{.seconds = time - *lastTime};
  const std::array<double, 2> rates{normalizedPan(pose.pan - last.pan) / step.seconds,
                                    (pose.tilt - last.tilt) / step.seconds};
  for (std::size_t axis = 0; axis < rates.size(); ++axis) {
    step.reversals += turned(directions[axis], rates[axis], MOVES);
    if (lastRates) {
      const double acceleration = (rates[axis] - (*lastRates)[axis]) / step.seconds;
      step.accelerationSquare += acceleration * acceleration;
    }
  }
  const bool moves = std::hypot(rates[0], rates[1]) > MOVES;
  step.started = moves && !isMoving;
  isMoving = moves;
  const double zoomRate = std::log(last.field / pose.field) / step.seconds;
  step.zoomReversed = turned(zoomDirection, zoomRate, ZOOMS) != 0;
  lastTime = time;
  last = pose;
  lastRates = rates;
  return step;
}

void MotionSum::add(const MotionStep& step) {
  seconds += step.seconds;
  starts += step.started ? 1 : 0;
  reversals += step.reversals;
  zoomReversals += step.zoomReversed ? 1 : 0;
  squares += step.accelerationSquare * step.seconds;
}

std::optional<MotionFigures> MotionSum::figures() const {
  if (seconds <= 0) {
    return std::nullopt;
  }
  return MotionFigures{.startsPerSecond = starts / seconds,
                       .reversalsPerSecond = reversals / seconds,
                       .accelerationRms = std::sqrt(squares / seconds),
                       .zoomReversalsPerSecond = zoomReversals / seconds};
}

}  // namespace device
