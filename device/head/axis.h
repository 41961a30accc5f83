#ifndef DEVICE_HEAD_AXIS_H
#define DEVICE_HEAD_AXIS_H

#include <limits>
#include <optional>

#include "head/gears.h"

namespace device {

// What a motor and its gears can do. Units are those of the axis (degrees, or steps of zoom).
struct AxisSetup {
  double speed = 0;         // units per second, full speed
  double acceleration = 0;  // units per second squared, for speeding up and for braking
  double low = 0;           // end stops; with endless, the two names of the seam
  double high = 0;
  bool endless = false;  // turns for ever; positions stay in [low, high)
  GearsSetup gears{};
};

// One motor-driven axis: a position, a speed, and what it has been told last. Pure arithmetic.
class Axis {
 public:
  // Stands still at a position, clamped to the end stops.
  Axis(const AxisSetup& setup, double position);

  // Goes to a position by a trapezoid of speed and stops there. The goal is clamped to the end
  // stops; an endless axis takes the shorter way round (up when both are equal). speed is the limit
  // in units per second, at most the axis' own.
  void moveTo(double goal, double speed);

  // Goes on at a signed speed, at most the axis' own, for so many seconds, and brakes in time for
  // an end stop.
  void moveAt(double speed, double seconds = std::numeric_limits<double>::infinity());

  // Advances time; the length of a step has no influence on the way taken.
  void step(double seconds);

  // Of the motor.
  double getPosition() const { return position; }
  double getVelocity() const { return velocity; }

  // Of what the motor turns: beside the motor's by what play and swing make.
  double headPosition() const;

  // True while it turns or has still to start for a target.
  bool moving() const;

 private:
  void stepOnce();
  void expire();
  double distanceTo(double goal) const;
  double brakingSpeed(double distance, double approach) const;
  double wantedVelocity() const;
  void keepInRange();
  void settle();

  AxisSetup setup;
  double position;
  double velocity = 0;
  std::optional<double> target;  // of moveTo, until reached
  double demand = 0;             // signed speed of moveAt, or speed limit of moveTo
  double holdLeft = 0;           // seconds for which the speed of moveAt still holds
  Gears gears;
  double clock = 0;  // seconds that have passed but are not yet worked out
};

}  // namespace device

#endif
