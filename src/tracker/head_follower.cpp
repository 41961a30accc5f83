#include "tracker/head_follower.h"

#include "app/clock.h"

namespace {

constexpr int MAX_STATUS_FAILURES = 10;  // in a row, until a moving head is stopped

}  // namespace

// The head's calls take their time: the clock is read for each thing that is timed.
void HeadFollower::step(const HeadOptics& optics, Selection& selection) {
  const auto status = readStatus();
  if (!status) {
    return;
  }
  const std::int64_t now = utils::monotonicTime();
  const auto command = following->step(*status, optics, selection, now);
  if (!command) {
    stand(now);
  }
  goHomeWhenDue();
  if (!command) {
    return;
  }
  if (!steering.isActive()) {
    steering.tell(true);
  }
  if (head.ptzMove(*command)) {
    following->taken(*command, now);
  }
  isStopOwed = false;
  homing.rearm(utils::monotonicTime());
}

// Not while the head is owed a stop, which would end the way home as well.
void HeadFollower::goHomeWhenDue() {
  if (!isStopOwed && homing.takeDue(utils::monotonicTime()) && steering.mayGoHome()) {
    head.gotoHome();
  }
}

// Without the head's position there is no control, so there must be no motion.
std::optional<PtzHeadStatus> HeadFollower::readStatus() {
  if (const auto status = head.getStatus()) {
    statusFailures = 0;
    return status;
  }
  ++statusFailures;
  if (statusFailures == MAX_STATUS_FAILURES && steering.isActive()) {
    isStopOwed = !head.ptzStop();
    following->forget();
    steering.tell(false);
  }
  return std::nullopt;
}

// Once there is nothing to follow any more.
void HeadFollower::stand(std::int64_t now) {
  const bool wasFollowing = steering.isActive();
  if (wasFollowing || isStopOwed) {
    isStopOwed = !head.ptzMove(HeadCommand{});
    if (!isStopOwed) {
      following->taken(HeadCommand{}, now);
    }
  }
  if (wasFollowing) {
    steering.tell(false);
  }
}

void HeadFollower::stop() {
  isStopOwed = !head.ptzStop();
  following->forget();
  if (steering.isActive()) {
    steering.tell(false);
  }
}
