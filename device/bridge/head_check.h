#ifndef DEVICE_BRIDGE_HEAD_CHECK_H
#define DEVICE_BRIDGE_HEAD_CHECK_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bridge/axis_scale.h"
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
    std::optional<MeasuredScale> scale;
    bool isCountedBackwards = false;  // its own numbers fall where its degrees grow
    std::optional<AxisEnds> ends;
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
  bool isTableInMillimetres = false;
  std::vector<double> focalLengths;  // of one that tells millimetres

  // Two pictures, and where the head was by what is told of it; for a person to compare.
  struct Sight {
    HeadMap::Degrees from;
    HeadMap::Degrees to;
    double fieldAngle = 0;  // degrees across
    std::string before;     // JPEG
    std::string after;
  };
  std::optional<Sight> sight;
  std::string sightTrouble;  // why there is none although it was wished; empty: nothing
};

// For the user, a sentence each without its full stop.
std::vector<std::string> wordsOf(const HeadMeasured& measured);

// A head that is tried out: small slow motions on each axis, there and back, one that is left to
// its Timeout, and what else is wished. Says what is to be sent next, and is told
// what the head answers. Times are monotonic microseconds that are handed in; knows no socket.
class HeadCheck {
 public:
  static constexpr std::int64_t HOLD = 1000000;          // Timeout of the motion that is left alone
  static constexpr std::int64_t STANDS = 2000000;        // after it was begun it has to stand
  static constexpr std::int64_t LONGEST = 120000000;     // of the whole check, but for its ways
  static constexpr std::int64_t LONGEST_WAY = 60000000;  // to a place, at a speed nobody knows
  static constexpr double PERCENT = 20;                  // of full speed

  struct Wishes {
    bool zoom = false;   // its whole way
    bool ends = false;   // of pan and tilt, where it does not turn for ever
    bool sight = false;  // two pictures
    HeadTold told{};     // as far as it is known
  };

  HeadCheck(std::string profile, HeadFacts facts, Wishes wishes);

  // The call that is to be made now, if any; none before the last one was answered.
  std::optional<HeadCall> next(std::int64_t now);

  // What became of that call; words: of a failure.
  void answered(const HeadMoves::Outcome& outcome, const std::string& words, std::int64_t now);

  // A status, when it was asked for and when it came.
  void told(const HeadReading& reading, std::int64_t asked, std::int64_t now);

  // Whether a picture is to be fetched now; pictured() has to be called once for each.
  bool isPictureDue() const { return phase == Phase::looking; }
  // words: why there is none.
  void pictured(const std::string& jpeg, const std::string& words);

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
  enum class Kind { look, drive, leave, scale, pace, sight, end, zoom, back };
  enum class Phase { begin, moving, looking, stopping, settling };

  struct Step {
    Kind kind = Kind::look;
    bool isPan = true;
    double percent = 0;
    double zoom = 0;
    Vector2 place{};  // of a way
    const char* words = "";
  };

  void plan();
  void planScale();
  void planPace();
  void planSight();
  void planEnds();
  void planZoom();
  std::optional<HeadCall> begin(std::int64_t now);
  std::optional<HeadCall> whileMoving(std::int64_t now);
  std::optional<HeadCall> whileSettling(std::int64_t now);
  HeadCall send(onvif::Tag operation, std::int64_t now, bool withTimeout = false);
  HeadCall sendStop(std::int64_t now);
  HeadCall sendZeroSpeeds(std::int64_t now);
  onvif::Tag move(double panPercent, double tiltPercent, std::int64_t hold) const;
  bool hasTimeout() const;
  onvif::Tag backTag() const;
  onvif::Tag placeTag() const;
  bool isWay() const;
  bool isToldInDegrees() const;
  std::optional<AxisScale> toldScale(bool isPan) const;
  std::optional<AxisScale> bestScale(bool isPan) const;
  HeadMeasured::Axis& axis() { return step().isPan ? measured.pan : measured.tilt; }
  void noteWay(std::int64_t now);
  void noteRefused();
  void noteScale();
  void notePace();
  bool isAtEnd(double toGo, std::int64_t now) const;
  void noteEnd(std::int64_t now);
  void noteDriven();
  void noteLeft();
  void noteZoom();
  void noteZoomSpeed();
  std::int64_t longestWay() const;
  void nextStep();
  bool isStill(std::int64_t now, std::int64_t span) const;
  const MotionTrace& moving() const;
  const Step& step() const { return steps[index]; }
  bool isLast() const { return index + 1 >= steps.size(); }

  std::string profile;
  Wishes wishes;
  HeadMap map;      // of the head's own numbers: nothing is turned round
  HeadMap toldMap;  // as it will be used
  std::vector<Step> steps;
  std::size_t index = 0;
  Phase phase = Phase::begin;
  bool isInFlight = false;
  bool isDone = false;
  bool isStopMissing = false;
  bool isTimeoutRefused = false;
  bool isStopping = false;  // the call on its way
  std::string trouble;
  std::int64_t started = 0;  // first call of next(), later by what ways have taken
  std::int64_t sent = 0;     // the command of this step
  std::int64_t stopSent = 0;
  bool isZeroSent = false;
  std::vector<std::int64_t> trips;
  HeadReading last;
  std::optional<Vector2> start;
  std::optional<Vector1> startZoom;
  std::optional<Vector2> former;  // where it was told to be before this way, of those for the scale
  MotionTrace pan;
  MotionTrace tilt;
  MotionTrace zoom;
  double panWay = 0;  // times the speed's sign, of both directions
  double tiltWay = 0;
  double zoomSpeed = 0;   // the slowest that was seen, of its numbers a second; 0: none yet
  double zoomBefore = 0;  // where the way on which it is began
  std::optional<Vector2> placeBefore;  // likewise
  // Where the axis stopped on its way to its lower end, until it has been at the other. Degrees.
  struct LowEnd {
    double announced = 0;
    double reached = 0;
  };
  std::optional<LowEnd> lowEnd;
  HeadMeasured measured;
};

}  // namespace device::bridge

#endif
