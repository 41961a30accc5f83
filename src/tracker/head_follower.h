#ifndef TRACKER_HEAD_FOLLOWER_H
#define TRACKER_HEAD_FOLLOWER_H

#include <optional>

#include "ptz/ptz_head.h"
#include "tracker/following.h"
#include "tracker/homing.h"

// Whether the head is being steered, as others are told.
class Steering {
 public:
  virtual ~Steering() = default;

  virtual bool isActive() const = 0;
  virtual void tell(bool active) = 0;

  // False once tracking has been switched off, which may happen while a step is under way.
  virtual bool mayGoHome() const = 0;
};

// How the head follows, from its status to the next command: asks the head where it looks, lets a
// way of following say what to do, sends the head home when nothing has been followed for long, and
// never lets it move on without knowing where it is. The tracker's thread's alone; no lock.
class HeadFollower {
 public:
  // All must outlive it.
  HeadFollower(PtzHead& head, Following& following, Homing& homing, Steering& steering)
      : head(head), following(&following), homing(homing), steering(steering) {}

  // Follows that way from now on, which must outlive it, too.
  void use(Following& way) { following = &way; }

  // One control step.
  void step(const HeadOptics& optics, Selection& selection);

  // Stops the head at once and forgets the target, whatever a step has just commanded. A stop that
  // does not get through is made up for with the next position that can be read.
  void stop();

  // How long to sleep after a step that took so long, both microseconds.
  std::int64_t pauseAfter(std::int64_t spent) const { return following->pauseAfter(spent); }

 private:
  std::optional<PtzHeadStatus> readStatus();
  void goHomeWhenDue();
  void stand(std::int64_t now);

  PtzHead& head;
  Following* following;  // not owned
  Homing& homing;
  Steering& steering;
  int statusFailures = 0;   // in a row
  bool isStopOwed = false;  // the last one did not get through
};

#endif
