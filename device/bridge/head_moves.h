#ifndef DEVICE_BRIDGE_HEAD_MOVES_H
#define DEVICE_BRIDGE_HEAD_MOVES_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bridge/head_map.h"
#include "head/head_command.h"
#include "head/head_status.h"
#include "onvif/tag.h"

namespace device::bridge {

// What is to be asked of the head: an operation without anything around it.
struct HeadCall {
  onvif::Tag operation;
  bool hasTimeout = false;
};

// The head's commands on their way: one call at a time, and of what waits only the newest of each
// axis. Everything that moves by speed is told to end after a time, and is stopped from here when
// nobody has commanded for SILENCE: either way the head, which takes its time to hear and to brake,
// stands a second after the last word or little later. Times are monotonic microseconds that are
// handed in; knows no socket.
class HeadMoves {
 public:
  static constexpr std::int64_t HOLD = 1000000;       // Timeout of each motion
  static constexpr std::int64_t FINE_HOLD = 900000;   // of a head that knows parts of a second
  static constexpr std::int64_t SILENCE = 900000;     // of the daemon
  static constexpr std::int64_t REPETITION = 400000;  // of an unchanged speed
  static constexpr std::int64_t STOP_AGAIN = 500000;  // as long as the head has not stood still

  // profile: token of the one that moves the head.
  HeadMoves(std::string profile, HeadMap map);

  // A Timeout is tried again: it may be another head, or have refused for another reason.
  void foundAnew();

  // More is known of the head.
  void setHead(std::string newProfile, HeadMap newMap);

  void command(const HeadCommand& command, std::int64_t now);
  void goHome(int speed, std::int64_t now);
  void goToPreset(const std::string& token, int speed, std::int64_t now);

  // The head is to stand still, whatever waits.
  void stop(std::int64_t now);

  // The same by speeds of zero: a Stop was not heeded.
  void stopBySpeeds(std::int64_t now);

  // Nothing waits any more; what is on its way to the head goes on.
  void forget();

  // The call that is to be made now, if any; none before the last one was answered. status: what
  // is known of the head, for the axes that a command leaves alone; nothing when it is not known.
  // taken: not before that the head was so; whether it stands after a Stop is seen by what was
  // taken after the answer to it.
  std::optional<HeadCall> next(std::int64_t now, const std::optional<HeadStatus>& status,
                               std::int64_t taken);

  // What became of the call that next() gave.
  struct Outcome {
    bool ok = false;
    bool isTimeoutRefused = false;    // the head gets none from now on, if it does without
    bool isOperationMissing = false;  // of a Stop: zero speeds take its place from now on
  };
  void answered(const Outcome& outcome, std::int64_t now);

  // Speeds were sent that nothing has ended yet but perhaps the head's own watch.
  bool isDriven() const;

  // It is driven, a call is on its way, or a stop waits for its turn.
  bool isUnderWay() const { return isDriven() || isInFlight || isStopWanted; }
  // It was stopped, and has not been seen standing since.
  bool isStopUnseen() const { return stops > 0; }
  std::int64_t getLastStop() const { return lastStop; }
  bool isStopOnItsWay() const { return isStopInFlight; }

  // The head takes motions that end by themselves, as far as is known.
  bool hasTimeout() const;
  // The head was seen to move by speed only without.
  bool isWithoutTimeout() const { return !hasTimeout() && !isTimeoutDoubted; }

  // A combination of motions that no single call can express was asked for.
  bool isCompromised() const { return compromised; }

 private:
  enum class Way { none, home, preset };

  struct Driven {
    double percent = 0;
    std::int64_t until = 0;  // its Timeout
  };

  void dropSpeeds();
  HeadCall sendStop(bool withSpeeds);
  HeadCall bySpeeds(onvif::Tag operation);
  std::optional<HeadCall> nextOfCommand(std::int64_t now, const std::optional<HeadStatus>& status);
  HeadCall sendZoom();
  HeadCall sendPosition(const HeadStatus& status);
  std::optional<HeadCall> sendSpeeds(std::int64_t now);
  // In percent; what is left out is not spoken of.
  onvif::Tag continuousMove(std::optional<double> panPercent, std::optional<double> tiltPercent,
                            std::optional<double> zoomPercent) const;
  onvif::Tag profileTag() const;
  std::optional<onvif::Tag> speedTag(int percent) const;
  static double percentOf(const AxisCommand& command, const Driven& driven, std::int64_t now);
  std::int64_t holdTime() const;

  std::string profile;
  HeadMap map;
  HeadCommand waiting;  // an axis of which nothing waits has none
  Way way = Way::none;
  std::string preset;
  int waySpeed = 100;
  bool isZoomsTurn = false;
  bool isStopWanted = false;
  bool isStopBySpeeds = false;
  bool isStopMissing = false;  // the head has none
  bool isTimeoutRefused = false;
  bool isTimeoutDoubted = false;  // it was refused, and nothing was done without yet
  bool isTrialInFlight = false;   // the first call without
  bool isInFlight = false;
  bool isStopInFlight = false;
  std::string lastSpeeds;  // the last continuous move as it was sent
  std::int64_t lastSpeedsTime = 0;
  std::int64_t lastCommand = 0;
  std::int64_t lastStop = 0;   // that was answered
  int stops = 0;               // since the last command, until it was seen standing
  std::int64_t notBefore = 0;  // of the next stop
  std::int64_t pause = 0;      // until then, after another failure
  Driven pan;
  Driven tilt;
  Driven zoom;
  bool compromised = false;
};

}  // namespace device::bridge

#endif
