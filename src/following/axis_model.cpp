#include "following/axis_model.h"

#include <algorithm>
#include <cmath>

namespace following {

namespace {

constexpr double LEAST_SPEED = 0.1;            // deg/s, below which an axis stands
constexpr double LEAST_SHARE = 0.0008;         // of the fastest
constexpr double KEEPING = 0.7;                // what a difference of the command of before counts
constexpr double LONGEST_DEAD_TIME = 3.0;      // s
constexpr double GREATEST_ACCELERATION = 1e5;  // deg/s2
constexpr double GREATEST_SPEED = 2000.0;      // deg/s

// Straight in the logarithms of both.
double interpolate(double from, double to, double at, double first, double last) {
  const double share = std::log(at / from) / std::log(to / from);
  return first * std::exp(share * std::log(last / first));
}

}  // namespace

SpeedCurve::SpeedCurve() : count(2) {
  kept[0] = {1, 1.0};
  kept[1] = {FULL, static_cast<double>(FULL)};
}

SpeedCurve::SpeedCurve(std::span<const SpeedLevel> measured, int step)
    : steps(std::clamp(step, 1, FULL)) {
  double fastest = 0.0;
  for (const SpeedLevel& level : measured) {
    if (std::isfinite(level.speed)) {
      fastest = std::max(fastest, level.speed);
    }
  }
  const double least = std::max(LEAST_SPEED, LEAST_SHARE * fastest);
  for (const SpeedLevel& level : measured) {
    const bool isInOrder = level.percent >= 1 && level.percent <= FULL &&
                           (count == 0 || level.percent > kept[count - 1].percent);
    const double below = count == 0 ? 0.0 : kept[count - 1].speed;
    if (count < MOST_LEVELS && isInOrder && std::isfinite(level.speed) && level.speed >= least &&
        level.speed > below) {
      kept[count] = level;
      ++count;
    }
  }
}

double SpeedCurve::speed(double percent) const {
  const double size = std::abs(percent);
  if (count == 0 || !(size >= kept[0].percent)) {
    return 0.0;
  }
  const auto end = kept.begin() + static_cast<std::ptrdiff_t>(count);
  const auto above = std::find_if(kept.begin(), end,
                                  [size](const SpeedLevel& level) { return level.percent > size; });
  const SpeedLevel& below = *(above - 1);
  const double speed =
      above == end ? below.speed
                   : interpolate(below.percent, above->percent, size, below.speed, above->speed);
  return std::copysign(speed, percent);
}

// Between the levels that enclose a speed above that of the least and up to that of the greatest.
double SpeedCurve::percentFor(double speed) const {
  std::size_t above = 1;
  while (above + 1 < count && kept[above].speed < speed) {
    ++above;
  }
  const SpeedLevel& low = kept[above - 1];
  const SpeedLevel& high = kept[above];
  return interpolate(low.speed, high.speed, speed, low.percent, high.percent);
}

// Beyond the greatest level nothing is known.
int SpeedCurve::mostCommand() const {
  return kept[count - 1].percent / steps * steps;
}

int SpeedCurve::leastCommand() const {
  return (kept[0].percent + steps - 1) / steps * steps;
}

int SpeedCurve::command(double speed, int before) const {
  if (count == 0 || !std::isfinite(speed)) {
    return 0;
  }
  const double wanted = std::abs(speed);
  const int sign = speed < 0.0 ? -1 : 1;
  const int most = mostCommand();
  const int least = std::min(leastCommand(), most);
  int best = 0;
  double difference = before == 0 ? KEEPING * wanted : wanted;
  const auto consider = [&](int percent) {
    const double weight = percent * sign == before ? KEEPING : 1.0;
    const double off = weight * std::abs(this->speed(percent) - wanted);
    if (off < difference) {
      best = percent;
      difference = off;
    }
  };
  consider(least);
  consider(most);
  if (wanted > slowest() && wanted < fastest() && count > 1) {
    const int below = static_cast<int>(percentFor(wanted)) / steps * steps;
    for (const int percent : {below, below + steps}) {
      if (percent >= least && percent <= most) {
        consider(percent);
      }
    }
  }
  if (before != 0 && (before > 0) == (sign > 0) && std::abs(before) >= least) {
    consider(std::min(std::abs(before), most));
  }
  return best * sign;
}

double SpeedCurve::slowest() const {
  return count == 0 ? 0.0 : speed(std::min(leastCommand(), mostCommand()));
}

double SpeedCurve::fastest() const {
  return count == 0 ? 0.0 : kept[count - 1].speed;
}

bool AxisModel::isPlausible() const {
  return std::isfinite(deadTime) && deadTime >= 0.0 && deadTime <= LONGEST_DEAD_TIME &&
         std::isfinite(acceleration) && acceleration > 0.0 &&
         acceleration <= GREATEST_ACCELERATION && curve.moves() &&
         curve.fastest() <= GREATEST_SPEED && lowest < highest;
}

void AxisMotion::advance(double seconds, double wanted, double acceleration, double scale) {
  const double change = wanted - velocity;
  const double ramp = std::min(std::abs(change) / acceleration, seconds);
  const double reached =
      ramp < seconds ? wanted : velocity + std::copysign(acceleration * ramp, change);
  position += scale * ((velocity + reached) / 2.0 * ramp + wanted * (seconds - ramp));
  velocity = reached;
}

}  // namespace following
