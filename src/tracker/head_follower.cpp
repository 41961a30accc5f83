#include "tracker/head_follower.h"

namespace {

constexpr int MAX_STATUS_FAILURES = 10;  // in a row, until a moving head is stopped

}  // namespace

void HeadFollower::step(const HeadOptics& optics, const Following::Selection& select,
                        std::int64_t now) {
  PtzHeadStatus status;
  if (!readStatus(status)) {
    return;
  }
  if (homing.takeDue(now) && steering.mayGoHome()) {
    head.gotoHome();
  }
  const auto command = following.step(status, optics, select, now);
  if (!command) {
    stand();
    return;
  }
  if (!steering.isActive()) {
    steering.tell(true);
  }
  head.ptzMove(*command);
  homing.rearm(now);
}

// Without the head's position there is no control, so there must be no motion.
bool HeadFollower::readStatus(PtzHeadStatus& status) {
  if (head.getStatus(status)) {
    statusFailures = 0;
    return true;
  }
  ++statusFailures;
  if (statusFailures == MAX_STATUS_FAILURES && steering.isActive()) {
    isStopOwed = !head.ptzStop();
    following.forget();
    steering.tell(false);
  }
  return false;
}

// Once there is nothing to follow any more.
void HeadFollower::stand() {
  const bool wasFollowing = steering.isActive();
  if (wasFollowing || isStopOwed) {
    head.ptzMove(HeadCommand{});
    isStopOwed = false;
  }
  if (wasFollowing) {
    steering.tell(false);
  }
}

void HeadFollower::stop() {
  head.ptzStop();
  following.forget();
  if (steering.isActive()) {
    steering.tell(false);
  }
}
