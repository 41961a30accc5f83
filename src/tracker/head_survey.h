#ifndef TRACKER_HEAD_SURVEY_H
#define TRACKER_HEAD_SURVEY_H

#include <array>
#include <cstdint>
#include <limits>
#include <optional>

#include "following/axis_identification.h"
#include "following/head_model.h"
#include "ptz/ptz_head.h"

// Between which angles (degrees) a head can stand; an axis without ends goes round.
struct HeadStops {
  double lowestPan = -std::numeric_limits<double>::infinity();
  double highestPan = std::numeric_limits<double>::infinity();
  double lowestTilt = -90.0;
  double highestTilt = 90.0;
};

// Finds out what a head is: records what it does in the relay run and then in the staircase of
// commands that it asks for, and identifies both axes. An axis that is driven and does not move, or
// of which nothing is read that is a position, is driven no more. Times are monotonic microseconds.
// The tracker's thread's alone.
class HeadSurvey {
 public:
  void setStops(const HeadStops& newStops) { stops = newStops; }

  // Forgets what was recorded.
  void begin();

  // What was read, and what was commanded: percent, only what the head has taken.
  void noteStatus(const PtzHeadStatus& status, std::int64_t time);
  void noteCommand(double pan, double tilt, std::int64_t time);

  // From here on command() is asked. Where no relay run was recorded, one of four seconds comes
  // first: it shows how fast an axis is, and levels are left out at which it would come near its
  // stops; all of an axis with stops that has shown nothing.
  void beginStaircase(const PtzHeadStatus& status, std::int64_t time);

  // What to command now; none when the staircase is over, or no axis can be driven. An axis that
  // comes near a stop all the same stands for the rest of the level.
  std::optional<following::SpeedCommand> command(std::int64_t time);

  // Takes its time: a fit.
  following::HeadIdentification identify() const;

 private:
  struct Axis {
    explicit Axis(double lowest, double highest) : lowest(lowest), highest(highest) {}

    void begin(double degrees, std::int64_t time);
    void beginStaircase(std::int64_t time);
    int relay(std::int64_t time);
    int commandAt(double seconds, std::int64_t time);
    bool isNearStop(int percent) const;
    int driven(int percent, std::int64_t time);
    void note(std::int64_t time, double degrees);

    following::AxisRecord record;
    following::Staircase staircase;
    double lowest;
    double highest;
    double middle = 0.0;    // deg, of the relay
    double position = 0.0;  // deg, read last
    double speed = 0.0;     // deg/s, between the last two values
    std::int64_t changed = 0;
    std::int64_t idle = 0;  // when it was not driven faster than a relay drives it, last
    bool isBlind = false;   // nobody knows where it is
    int level = 0;          // commanded by the staircase
    bool isHeld = false;    // for the rest of the level
  };

  HeadStops stops;
  std::array<Axis, 2> axes{Axis(0, 0), Axis(0, 0)};  // pan, tilt
  bool isRelayNeeded = false;
  std::int64_t begun = 0;  // the relay, then the staircase
};

#endif
