#include "head/axis.h"

#include <algorithm>
#include <cmath>

namespace device {
namespace {

// Time advances in pieces of this many seconds, so short that the braking ends within a thousandth
// of a degree or so of where it should.
constexpr double PIECE = 0.0005;

}  // namespace

Axis::Axis(const AxisSetup& setup, double position)
    : setup(setup),
      position(std::clamp(position, setup.low, setup.high)),
      gears(setup.gears, setup.acceleration) {}

void Axis::moveTo(double goal, double speed) {
  if (setup.endless) {
    const double turn = setup.high - setup.low;
    target = goal - turn * std::floor((goal - setup.low) / turn);
  } else {
    target = std::clamp(goal, setup.low, setup.high);
  }
  demand = std::clamp(speed, 0.0, setup.speed);
}

void Axis::moveAt(double speed, double seconds) {
  target.reset();
  demand = std::clamp(speed, -setup.speed, setup.speed);
  holdLeft = seconds;
}

void Axis::step(double seconds) {
  clock += seconds;
  for (; clock >= PIECE; clock -= PIECE) {
    stepOnce();
  }
}

double Axis::headPosition() const {
  const double free = position + gears.offset();
  if (!setup.endless || gears.offset() == 0) {
    return free;
  }
  const double turn = setup.high - setup.low;
  return free - turn * std::floor((free - setup.low) / turn);
}

bool Axis::moving() const {
  return gears.swinging() || target || velocity != 0 || wantedVelocity() != 0;
}

void Axis::stepOnce() {
  const double before = velocity;
  const double positionBefore = position;
  expire();
  const double change = setup.acceleration * PIECE;
  velocity += std::clamp(wantedVelocity() - velocity, -change, change);
  position += (before + velocity) / 2 * PIECE;
  const double free = position;
  keepInRange();
  settle();
  // The way without the jump over a seam.
  const double way = setup.endless ? free - positionBefore : position - positionBefore;
  gears.step(PIECE, way, (velocity - before) / PIECE);
}

// A speed whose time is over is one of zero.
void Axis::expire() {
  if (target) {
    return;
  }
  if (holdLeft <= 0) {
    demand = 0;
  }
  holdLeft -= PIECE;
}

double Axis::distanceTo(double goal) const {
  const double distance = goal - position;
  if (!setup.endless) {
    return distance;
  }
  const double turn = setup.high - setup.low;
  return distance - turn * std::ceil(distance / turn - 0.5);
}

// The greatest speed towards something at a distance, reached at the end of the next piece, from
// which the axis can still stop in time.
double Axis::brakingSpeed(double distance, double approach) const {
  const double left = std::max(distance - approach * PIECE / 2, 0.0);
  const double lag = setup.acceleration * PIECE / 2;
  return std::sqrt(2 * setup.acceleration * left + lag * lag) - lag;
}

double Axis::wantedVelocity() const {
  if (target) {
    const double distance = distanceTo(*target);
    const double approach = std::copysign(1.0, distance) * velocity;
    return std::copysign(std::min(demand, brakingSpeed(std::abs(distance), approach)), distance);
  }
  if (setup.endless || demand == 0) {
    return demand;
  }
  const double room = demand > 0 ? setup.high - position : position - setup.low;
  const double approach = std::copysign(1.0, demand) * velocity;
  return std::copysign(std::min(std::abs(demand), brakingSpeed(room, approach)), demand);
}

void Axis::keepInRange() {
  if (setup.endless) {
    const double turn = setup.high - setup.low;
    position -= turn * std::floor((position - setup.low) / turn);
    return;
  }
  const double free = position;
  position = std::clamp(free, setup.low, setup.high);
  if (position != free) {
    velocity = 0;
  }
}

// Ends the last, endlessly small part of a braking.
void Axis::settle() {
  const double crawl = 3 * setup.acceleration * PIECE;
  const double near = crawl * PIECE;
  if (std::abs(velocity) > crawl) {
    return;
  }
  if (target && std::abs(distanceTo(*target)) <= near) {
    position = *target;
    velocity = 0;
    demand = 0;
    target.reset();
    return;
  }
  if (target || setup.endless || demand == 0) {
    return;
  }
  const double stop = demand > 0 ? setup.high : setup.low;
  if (std::abs(stop - position) <= near) {
    position = stop;
    velocity = 0;
    demand = 0;
  }
}

}  // namespace device
