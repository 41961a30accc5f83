#include "head/axis.h"

#include <algorithm>
#include <cmath>

namespace device {
namespace {

// Time advances in pieces of this many seconds, so short that the braking ends within a thousandth
// of a degree or so of where it should.
constexpr double kPiece = 0.0005;

}  // namespace

Axis::Axis(const AxisSetup& setup, double position)
    : setup_(setup), position_(std::clamp(position, setup.low, setup.high)) {}

void Axis::moveTo(double target, double speed) {
  if (setup_.endless) {
    const double turn = setup_.high - setup_.low;
    target_ = target - turn * std::floor((target - setup_.low) / turn);
  } else {
    target_ = std::clamp(target, setup_.low, setup_.high);
  }
  demand_ = std::clamp(speed, 0.0, setup_.speed);
}

void Axis::moveAt(double speed, double seconds) {
  target_.reset();
  demand_ = std::clamp(speed, -setup_.speed, setup_.speed);
  left_ = seconds;
}

void Axis::step(double seconds) {
  clock_ += seconds;
  for (; clock_ >= kPiece; clock_ -= kPiece) {
    stepOnce();
  }
}

bool Axis::moving() const {
  return target_ || velocity_ != 0 || wantedVelocity() != 0;
}

void Axis::stepOnce() {
  const double before = velocity_;
  expire();
  const double change = setup_.acceleration * kPiece;
  velocity_ += std::clamp(wantedVelocity() - velocity_, -change, change);
  position_ += (before + velocity_) / 2 * kPiece;
  keepInRange();
  settle();
}

// A speed whose time is over is one of zero.
void Axis::expire() {
  if (target_) {
    return;
  }
  if (left_ <= 0) {
    demand_ = 0;
  }
  left_ -= kPiece;
}

double Axis::distanceTo(double target) const {
  const double distance = target - position_;
  if (!setup_.endless) {
    return distance;
  }
  const double turn = setup_.high - setup_.low;
  return distance - turn * std::ceil(distance / turn - 0.5);
}

// The greatest speed towards something at a distance, reached at the end of the next piece, from
// which the axis can still stop in time.
double Axis::brakingSpeed(double distance, double approach) const {
  const double left = std::max(distance - approach * kPiece / 2, 0.0);
  const double lag = setup_.acceleration * kPiece / 2;
  return std::sqrt(2 * setup_.acceleration * left + lag * lag) - lag;
}

double Axis::wantedVelocity() const {
  if (target_) {
    const double distance = distanceTo(*target_);
    const double approach = std::copysign(1.0, distance) * velocity_;
    return std::copysign(std::min(demand_, brakingSpeed(std::abs(distance), approach)), distance);
  }
  if (setup_.endless || demand_ == 0) {
    return demand_;
  }
  const double room = demand_ > 0 ? setup_.high - position_ : position_ - setup_.low;
  const double approach = std::copysign(1.0, demand_) * velocity_;
  return std::copysign(std::min(std::abs(demand_), brakingSpeed(room, approach)), demand_);
}

void Axis::keepInRange() {
  if (setup_.endless) {
    const double turn = setup_.high - setup_.low;
    position_ -= turn * std::floor((position_ - setup_.low) / turn);
    return;
  }
  const double free = position_;
  position_ = std::clamp(free, setup_.low, setup_.high);
  if (position_ != free) {
    velocity_ = 0;
  }
}

// Ends the last, endlessly small part of a braking.
void Axis::settle() {
  const double crawl = 3 * setup_.acceleration * kPiece;
  const double near = crawl * kPiece;
  if (std::abs(velocity_) > crawl) {
    return;
  }
  if (target_ && std::abs(distanceTo(*target_)) <= near) {
    position_ = *target_;
    velocity_ = 0;
    demand_ = 0;
    target_.reset();
    return;
  }
  if (target_ || setup_.endless || demand_ == 0) {
    return;
  }
  const double stop = demand_ > 0 ? setup_.high : setup_.low;
  if (std::abs(stop - position_) <= near) {
    position_ = stop;
    velocity_ = 0;
    demand_ = 0;
  }
}

}  // namespace device
