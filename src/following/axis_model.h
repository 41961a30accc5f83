// How one axis of a head moves at a command: a command of so many percent acts after a dead time;
// the speed then goes to that of the command at a limited acceleration. Exact between events:
// parabolas while the speed changes, straight lines after it.
//
// Degrees, seconds. Values; no allocation.
#ifndef FOLLOWING_AXIS_MODEL_H
#define FOLLOWING_AXIS_MODEL_H

#include <array>
#include <cstddef>
#include <limits>
#include <span>

namespace following {

// A speed that was measured at a command.
struct SpeedLevel {
  int percent;   // 1 to 100
  double speed;  // deg/s, above 0
};

// Speed over command, by interpolation of both logarithms (exact for any power law): 0 below the
// least command that moves, that of the greatest level above it.
class SpeedCurve {
 public:
  static constexpr std::size_t MOST_LEVELS = 16;
  static constexpr int FULL = 100;  // percent

  // Proportional, 1 deg/s for each percent: what stands until an axis is known.
  SpeedCurve();

  // From measured levels in rising order of percent. Left out are those in the dead zone (slower
  // than 0.1 deg/s or 0.08 % of the fastest) and those not faster than the one below, and what is
  // beyond MOST_LEVELS. Commands are multiples of step percent (1 to 100). When nothing is left the
  // curve is that of an axis that does not move.
  SpeedCurve(std::span<const SpeedLevel> measured, int step);

  // deg/s with the command's sign; a command beyond 100 percent is one of 100.
  double speed(double percent) const;

  // The command whose speed comes nearest to the wanted one, not beyond the greatest level. That of
  // before counts its difference 0.7 fold, so that the axis does not flicker between two.
  int command(double speed, int before) const;

  bool moves() const { return count != 0; }
  double slowest() const;  // deg/s, the least speed that moves; 0 when nothing does
  double fastest() const;  // deg/s
  int step() const { return steps; }
  std::span<const SpeedLevel> levels() const { return {kept.data(), count}; }

 private:
  double percentFor(double speed) const;
  int leastCommand() const;
  int mostCommand() const;

  std::array<SpeedLevel, MOST_LEVELS> kept{};
  std::size_t count = 0;
  int steps = 1;
};

struct AxisModel {
  SpeedCurve curve;
  double deadTime = 0.25;       // s, from the command to the first motion in the status
  double acceleration = 300.0;  // deg/s2
  // deg, between which the axis can stand. One without ends goes round.
  double lowest = -std::numeric_limits<double>::infinity();
  double highest = std::numeric_limits<double>::infinity();

  // Finite, positive, and an axis that moves.
  bool isPlausible() const;
};

// A position that follows a wanted speed.
struct AxisMotion {
  double position = 0.0;  // deg
  double velocity = 0.0;  // deg/s

  // So many seconds (0 or more) at a wanted speed. The way is scaled, the velocity is not.
  void advance(double seconds, double wanted, double acceleration, double scale = 1.0);
};

}  // namespace following

#endif
