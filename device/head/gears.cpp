#include "head/gears.h"

#include <algorithm>
#include <cmath>

namespace device {
namespace {

constexpr double DAMPING = 0.3;        // of the swing, as a share of the critical one
constexpr double LONGEST_TURN = 0.05;  // radians of the swing in one piece of time
constexpr double REST = 1e-4;          // degrees; a swing below it is over

}  // namespace

// A mount of frequency w whose motor brakes at a stays a / w^2 ahead of it.
Gears::Gears(const GearsSetup& setup, double acceleration)
    : halfPlay(setup.play / 2),
      frequency(setup.overshoot > 0 ? std::sqrt(acceleration / setup.overshoot) : 0) {}

void Gears::step(double seconds, double way, double acceleration) {
  if (halfPlay > 0) {
    takeUpPlay(way);
  }
  if (frequency > 0) {
    swingOn(seconds, acceleration);
  }
}

bool Gears::swinging() const {
  return std::abs(swing) > REST || std::abs(swingSpeed) > REST * frequency;
}

void Gears::takeUpPlay(double way) {
  slack = std::clamp(slack - way, -halfPlay, halfPlay);
}

void Gears::swingOn(double seconds, double acceleration) {
  const int pieces = std::max(1, static_cast<int>(std::ceil(seconds * frequency / LONGEST_TURN)));
  const double piece = seconds / pieces;
  for (int i = 0; i < pieces; ++i) {
    const double pull =
        -acceleration - 2 * DAMPING * frequency * swingSpeed - frequency * frequency * swing;
    swingSpeed += pull * piece;
    swing += swingSpeed * piece;
  }
}

}  // namespace device
