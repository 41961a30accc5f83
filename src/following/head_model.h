// Where the head is and where it will be when a command given now acts.
//
// The identified axes run along in the status' time, so that they are compared with the status
// without a delay, and the commands under way are run on from there (Smith 1957: the loop is closed
// around the model without dead time). The status only corrects, slowly, and only when it has
// changed; what the identified speeds are off is taken up by a ratio.
//
// Times are microseconds of one monotonic clock, angles degrees. No allocation; no lock: for one
// thread.
#ifndef FOLLOWING_HEAD_MODEL_H
#define FOLLOWING_HEAD_MODEL_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "following/axis_model.h"

namespace following {

// Percent of full speed, -100 to 100.
struct SpeedCommand {
  int pan = 0;
  int tilt = 0;

  bool operator==(const SpeedCommand&) const = default;
};

// What is known of a head.
struct HeadParameters {
  AxisModel pan;
  AxisModel tilt;
  // How old a status is when it is read, s; half the dead time when it is not known.
  std::optional<double> statusAge;
};

// A speed ends by itself so long after its last command.
constexpr double COMMAND_LIFE = 1.0;  // s

// One axis of the model.
class AxisTracker {
 public:
  static constexpr std::size_t MOST_UNDER_WAY = 128;  // commands; of more, the oldest act at once

  explicit AxisTracker(const AxisModel& model);

  // Brings the model to a time, with the commands that have come due.
  void advance(std::int64_t time);

  // Draws the model to a value. sinceChange: seconds since the value before was read, none when
  // this one is not new.
  void correct(double degrees, std::optional<double> sinceChange);

  void add(std::int64_t time, int percent);

  // Forgets what is under way, and stands.
  void stop();

  // Is at a value.
  void place(double degrees);

  bool isStanding(double seconds) const { return standing >= seconds; }
  double ratio() const { return speedRatio; }  // of real to identified speed
  const AxisMotion& now() const { return course.motion; }

  // After all that is under way.
  AxisMotion ahead() const;

 private:
  struct UnderWay {
    std::int64_t due;
    int percent;
  };

  // A motion, and the command that acts on it.
  struct Course {
    void runTo(std::int64_t later, const AxisModel& model, double ratio);
    void moveTo(std::int64_t later, const AxisModel& model, double ratio);
    void take(const UnderWay& command, const AxisModel& model, double ratio);

    AxisMotion motion;
    std::int64_t time = 0;
    double wanted = 0.0;  // deg/s
    std::int64_t wantedSince = 0;
  };

  void dropOldest();

  AxisModel model;
  Course course;
  bool hasTime = false;
  double standing = 0.0;  // s
  double speedRatio = 1.0;
  std::size_t first = 0;  // of those under way, which go round
  std::size_t count = 0;
  std::array<UnderWay, MOST_UNDER_WAY> underWay{};
};

class HeadModel {
 public:
  // A model that went so far with no change of the status is not believed for a while.
  static constexpr double FROZEN_WAY = 3.0;   // deg
  static constexpr double FROZEN_TIME = 1.5;  // s
  static constexpr double FROZEN_REST = 2.0;  // s

  explicit HeadModel(const HeadParameters& parameters);

  // A command that the head has taken. One that failed must not come here.
  void commanded(std::int64_t time, SpeedCommand command);

  // Somebody else stopped or moved the head: what is under way counts no more, and the model stands
  // where the status says.
  void interrupted(std::int64_t time);

  // A reading of the status; one for each step. What is not finite is no reading. A time before the
  // last one's counts as that.
  void read(std::int64_t time, double pan, double tilt);

  // Where the axes will be when a command given now begins to act.
  AxisMotion pan() const { return axes[0].ahead(); }
  AxisMotion tilt() const { return axes[1].ahead(); }
  double panRatio() const { return axes[0].ratio(); }
  double tiltRatio() const { return axes[1].ratio(); }

  // How far the status is off the model while the head moves, as a share of what a good model is
  // off at most; above 1 the parameters are not those of this head. 0 until enough has been seen.
  double misfit() const;

  // A position is known, the status moves when it should, and the parameters are those of a head.
  bool isTrusted() const { return isUsable && hasStatus && !isFrozen; }

 private:
  void watch(std::int64_t time, bool changed, double way);
  void compare(std::size_t axis, double degrees, double sinceChange);

  std::array<AxisTracker, 2> axes;  // pan, tilt
  bool isUsable;
  double interruption;             // s, how long the status alone counts after one
  std::array<double, 2> status{};  // deg, the last value
  bool hasStatus = false;
  bool isFrozen = false;
  std::optional<std::int64_t> interruptedAt;
  std::int64_t lastRead = 0;
  std::int64_t lastChange = 0;
  std::int64_t frozenSince = 0;
  double wayWithoutChange = 0.0;  // deg
  // Of the values while moving, the older the less: how many, and the squares of how far they were
  // off and might have been.
  int compared = 0;
  double offSquares = 0.0;
  double expectedSquares = 0.0;
};

}  // namespace following

#endif
