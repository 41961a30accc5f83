// Finds the dead time, the acceleration and the speeds of an axis from what it did at known
// commands.
//
// The commands are the relay oscillation of autotuning (Astrom and Hagglund 1984), where there is
// one, and then a staircase of levels with alternating signs. The axis' model is run along the
// record and fitted to it (output error; Ljung 1999) by damped least squares (Levenberg 1944,
// Marquardt 1963). How the dead time divides into the way to the motor and the way back cannot be
// told from a record.
//
// Times are microseconds of one monotonic clock, angles degrees. Recording allocates nothing after
// construction; the fit does, and belongs on no path of frames or steps.
#ifndef FOLLOWING_AXIS_IDENTIFICATION_H
#define FOLLOWING_AXIS_IDENTIFICATION_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "following/axis_model.h"

namespace following {

// The level at which a relay swings the axis before the staircase.
inline constexpr int RELAY_PERCENT = 35;

// The commands of the staircase, in order.
class Staircase {
 public:
  struct Step {
    int percent;     // -100 to 100
    double seconds;  // how long
  };

  // All levels: 10.0 s.
  Staircase();

  // Leaves out those levels at which an axis that does speedAtRelay (deg/s) at 35 percent, a speed
  // in proportion to the command taken, would go further than so many degrees.
  Staircase(double speedAtRelay, double room);

  // What to command so many seconds after the beginning; none when it is over.
  std::optional<int> command(double seconds) const;

  double duration() const;  // s
  std::span<const Step> steps() const { return {kept.data(), kept.size()}; }

 private:
  std::vector<Step> kept;
};

// What was commanded, and every value of the status that differs from the one before: a value that
// has not changed tells nothing about its age.
class AxisRecord {
 public:
  static constexpr std::size_t MOST_COMMANDS = 2048;
  static constexpr std::size_t MOST_SAMPLES = 2048;

  AxisRecord();

  struct Command {
    std::int64_t time;
    int percent;  // -100 to 100
  };
  struct Sample {
    std::int64_t time;  // of the reading
    double degrees;     // unwrapped: differences may exceed a turn
  };

  // Only commands that the head has taken. Those before the staircase are the relay's.
  void addCommand(std::int64_t time, int percent);
  void beginStaircase(std::int64_t time);
  // The values of a pan axis may jump by a turn.
  void addStatus(std::int64_t time, double degrees);

  void clear();

  // Whether everything fitted in, was finite and had times that did not go backwards.
  bool isSound() const { return sound; }
  std::span<const Command> commands() const { return {given.data(), given.size()}; }
  std::span<const Sample> samples() const { return {read.data(), read.size()}; }
  std::int64_t staircaseBegin() const { return staircase; }

 private:
  std::vector<Command> given;
  std::vector<Sample> read;
  std::int64_t staircase = std::numeric_limits<std::int64_t>::min();
  std::int64_t lastStatus = std::numeric_limits<std::int64_t>::min();
  bool sound = true;
};

// The speed (deg/s) that the relay's part of a record shows, for what the staircase may ask for.
// None when there was no relay.
std::optional<double> speedInRelay(const AxisRecord& record);

// Why a record is not believed.
enum class Refusal {
  none,
  unsound,    // too much, not finite, or times that go backwards
  tooShort,   // too few values or levels
  noMotion,   // the axis did not move, or not faster at greater commands
  misfit,     // no model explains it: something else moved the axis, or the status lies
  outOfRange  // explained by something that no head is
};

struct AxisIdentification {
  Refusal refusal = Refusal::none;
  AxisModel model;      // as far as it was found, when refused
  double misfit = 0.0;  // root mean square of what the fit leaves, in units of what is expected
  double unexplained = 0.0;  // root mean square of what it leaves, as a share of the ways'

  bool isBelieved() const { return refusal == Refusal::none; }
};

AxisIdentification identify(const AxisRecord& record);

struct HeadIdentification {
  AxisIdentification pan;
  AxisIdentification tilt;
  bool isTiltPans = false;  // pan's result stands in for tilt's
};

// Both axes. Tilt's result is pan's where tilt met an end stop: it is refused, or what is left of
// it is more than twice what is left of pan. Otherwise its speeds at levels that it had no room for
// are in proportion to pan's.
HeadIdentification identifyHead(const AxisRecord& pan, const AxisRecord& tilt);

}  // namespace following

#endif
