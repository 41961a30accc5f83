#ifndef DEVICE_BRIDGE_HEAD_CHECK_H
#define DEVICE_BRIDGE_HEAD_CHECK_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bridge/head_map.h"
#include "bridge/head_moves.h"
#include "bridge/motion_trace.h"

namespace device::bridge {

// What a check has found of a head.
struct HeadMeasured {
  struct Axis {
    bool moves = false;
    bool isReversed = false;               // a positive speed makes the head's own number fall
    double speed = 0;                      // the head's units a second at full speed
    std::optional<std::int64_t> response;  // microseconds from a command to a status that shows it
  };

  std::optional<std::int64_t> trip;  // microseconds from a question to its answer, the median
  Axis pan;
  Axis tilt;
  std::optional<bool> heedsStop;
  std::optional<bool> heedsTimeout;
  bool takesTimeout = true;                 // false: refuses it
  bool isTimeoutUnseen = false;             // the motion that was left alone was none
  std::optional<std::int64_t> standsAfter;  // microseconds from a command with HOLD to the rest
  std::optional<bool> tellsMotion;          // false: wrongly; nothing: not at all
  std::vector<ZoomPoint> zoomTable;  // of a head that tells its field angle: growing, falling
  std::vector<double> focalLengths;  // of one that tells millimetres
};

// For the user, a sentence each without its full stop.
std::vector<std::string> wordsOf(const HeadMeasured& measured);

// A head that is tried out: small slow motions on each axis, there and back, one that is left to
// its Timeout, and the zoom's way where that is wished. Says what is to be sent next, and is told
// what the head answers. Times are monotonic microseconds that are handed in; knows no socket.
class HeadCheck {
 public:
  static constexpr std::int64_t HOLD = 1000000;       // Timeout of the motion that is left alone
  static constexpr std::int64_t STANDS = 2000000;     // after it was begun it has to stand
  static constexpr std::int64_t LONGEST = 120000000;  // of the whole check
  static constexpr double PERCENT = 20;               // of full speed

  HeadCheck(std::string profile, const HeadFacts& facts, bool withZoom);

  // The call that is to be made now, if any; none before the last one was answered.
  std::optional<HeadCall> next(std::int64_t now);

  // What became of that call; words: of a failure.
  void answered(const HeadMoves::Outcome& outcome, const std::string& words, std::int64_t now);

  // A status, when it was asked for and when it came.
  void told(const HeadReading& reading, std::int64_t asked, std::int64_t now);

  // Stops the head, and that was it.
  void giveUp(const std::string& why);

  bool isOver() const { return isDone; }
  bool isStopped() const { return !trouble.empty(); }

  // What is being tried, for the user.
  std::string presentStep() const;
  // Why it has ended before its end; empty when it has not.
  const std::string& getTrouble() const { return trouble; }
  const HeadMeasured& getMeasured() const { return measured; }

 private:
  enum class Kind { look, drive, leave, zoom, back };
  enum class Phase { begin, moving, stopping, settling };

  struct Step {
    Kind kind = Kind::look;
    bool isPan = true;
    double percent = 0;
    double zoom = 0;
    const char* words = "";
  };

  std::optional<HeadCall> begin(std::int64_t now);
  std::optional<HeadCall> whileMoving(std::int64_t now);
  std::optional<HeadCall> whileSettling(std::int64_t now);
  HeadCall send(onvif::Tag operation, std::int64_t now, bool withTimeout = false);
  HeadCall sendStop(std::int64_t now);
  HeadCall sendZeroSpeeds(std::int64_t now);
  onvif::Tag move(double panPercent, double tiltPercent, std::int64_t hold) const;
  bool hasTimeout() const;
  onvif::Tag backTag() const;
  void noteDriven();
  void noteLeft();
  void noteZoom();
  void nextStep();
  bool isStill(std::int64_t now, std::int64_t span) const;
  const MotionTrace& moving() const;
  const Step& step() const { return steps[index]; }
  bool isLast() const { return index + 1 >= steps.size(); }

  std::string profile;
  HeadMap map;  // of the head's own numbers: nothing is turned round
  std::vector<Step> steps;
  std::size_t index = 0;
  Phase phase = Phase::begin;
  bool isInFlight = false;
  bool isDone = false;
  bool isStopMissing = false;
  bool isTimeoutRefused = false;
  bool isStopping = false;  // the call on its way
  std::string trouble;
  std::int64_t started = 0;  // first call of next()
  std::int64_t sent = 0;     // the command of this step
  std::int64_t stopSent = 0;
  bool isZeroSent = false;
  std::vector<std::int64_t> trips;
  HeadReading last;
  std::optional<Vector2> start;
  std::optional<Vector1> startZoom;
  MotionTrace pan;
  MotionTrace tilt;
  MotionTrace zoom;
  double panWay = 0;  // times the speed's sign, of both directions
  double tiltWay = 0;
  HeadMeasured measured;
};

}  // namespace device::bridge

#endif
