#ifndef TRACKER_HEAD_FOLLOWER_H
#define TRACKER_HEAD_FOLLOWER_H

#include <optional>

#include "ptz/ptz_head.h"
#include "tracker/following.h"
#include "tracker/homing.h"
#include "tracker/tracker_state.h"

// How the head follows, from its status to the next command: asks the head where it looks, lets a
// way of following say what to do, sends the head home when nothing has been followed for long, and
// never lets it move on without knowing where it is. Tells when it begins and when it ceases to
// steer: before the first command, after the last. The tracker's thread's alone; no lock.
class HeadFollower {
 public:
  // All must outlive it.
  HeadFollower(PtzHead& head, Following& following, Homing& homing, TrackerState& state)
      : head(head), following(&following), homing(homing), state(state) {}

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
  TrackerState& state;
  int statusFailures = 0;   // in a row
  bool isStopOwed = false;  // the last one did not get through
};

#endif
