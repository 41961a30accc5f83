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
  if (!state.isSteering()) {
    state.tellSteering(true);
  }
  if (head.ptzMove(*command)) {
    following->taken(*command, now);
  }
  isStopOwed = false;
  homing.rearm(utils::monotonicTime());
}

// Not while the head is owed a stop, which would end the way home as well, nor once tracking has
// been switched off, which may have happened while the head was asked.
void HeadFollower::goHomeWhenDue() {
  if (!isStopOwed && homing.takeDue(utils::monotonicTime()) &&
      state.get() == TrackerState::CameraState::running) {
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
  if (statusFailures == MAX_STATUS_FAILURES && state.isSteering()) {
    isStopOwed = !head.ptzStop();
    following->forget();
    state.tellSteering(false);
  }
  return std::nullopt;
}

// Once there is nothing to follow any more.
void HeadFollower::stand(std::int64_t now) {
  const bool wasFollowing = state.isSteering();
  if (wasFollowing || isStopOwed) {
    isStopOwed = !head.ptzMove(HeadCommand{});
    if (!isStopOwed) {
      following->taken(HeadCommand{}, now);
    }
  }
  if (wasFollowing) {
    state.tellSteering(false);
  }
}

void HeadFollower::stop() {
  isStopOwed = !head.ptzStop();
  following->forget();
  if (state.isSteering()) {
    state.tellSteering(false);
  }
}
