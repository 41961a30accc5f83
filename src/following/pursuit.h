// The control step: which speeds bring the head onto its subject and keep it there.
//
// The subject's own rate is fed forward and a bounded correction added: 3 per second of the error
// near the goal, more far away, and never faster than can be braked from (the time-optimal parabola
// with a reserve of 20 %). While the subject is in the middle half of the picture, an axis gets
// faster by at most half of its acceleration; slower as fast as it is to. The axes rest while there
// is nothing to correct that a viewer would see. A head that is too slow for what comes leads: it
// follows the middle of the narrowest tube around the subject's course that it can stay in.
//
// Degrees, seconds; times are microseconds. No allocation; no lock: for one thread.
#ifndef FOLLOWING_PURSUIT_H
#define FOLLOWING_PURSUIT_H

#include <cstdint>
#include <optional>

#include "following/axis_model.h"
#include "following/head_model.h"
#include "following/subject.h"

namespace following {

// The correcting speed (deg/s) for an error (deg) of an axis of that acceleration (deg/s2).
double correctingSpeed(double error, double acceleration);

// A goal that moves.
struct Goal {
  double position;  // deg
  double rate;      // deg/s
};

// The beginning of the middle of the narrowest tube around a subject's pan, wide in proportion to
// what an error of pan is in the picture, in which an axis of that speed (deg/s) can stay.
Goal leadingGoal(const Subject& subject, double speed);

class Pursuit {
 public:
  static constexpr double PERIOD = 0.05;  // s, of the control step

  explicit Pursuit(const HeadParameters& parameters);

  // The moment at which a command given now acts; the subject is predicted to it.
  std::int64_t actsAt(std::int64_t now) const;

  // Begins. Without it no step gives a command.
  void start() { isStarted = true; }

  // From now on no step gives a command.
  void stop();

  // What to command now; none when stopped. Speeds are 0 where there is nothing to follow or the
  // head is not known to be anywhere. wide: the horizontal field of view now, degrees.
  std::optional<SpeedCommand> step(const HeadModel& head, const std::optional<Subject>& subject,
                                   double wide);

  // The head has taken a command. One that failed must not come here.
  void commanded(SpeedCommand command);

  // What the last step was off, in the picture: the larger axis, degrees.
  double error() const { return lastError; }

 private:
  struct Axis {
    AxisModel model;
    int before = 0;  // percent, the command that was taken last
    bool isResting = false;
  };

  static Goal reachable(const AxisModel& model, const Goal& goal);
  static double offOf(const AxisModel& model, const Goal& goal, const AxisMotion& ahead,
                      double ratio);
  // velocity: of the axis when the command acts, deg/s as its model counts.
  static int commandFor(Axis& axis, double ratio, const Goal& goal, double off, double velocity,
                        double foreshortening, double wide);

  Axis pan;
  Axis tilt;
  double lead;      // s
  double tiltLead;  // s, by which tilt's commands act later than pan's
  bool isStarted = false;
  double lastError = 0.0;
};

}  // namespace following

#endif
