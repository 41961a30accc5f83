#include "tracker/tracker_state.h"

#include <array>

namespace {

constexpr std::array STATE_STRINGS{"stopped", "connecting", "autotuning", "running"};

}  // namespace

std::string TrackerState::getString() const {
  const auto index = static_cast<std::size_t>(state.load());
  return index < STATE_STRINGS.size() ? STATE_STRINGS[index] : "unknown";
}

bool TrackerState::change(CameraState from, CameraState to) {
  if (!state.compare_exchange_strong(from, to)) {
    return false;
  }
  tell();
  return true;
}

void TrackerState::tell() {
  const LockGuard lock(stateEventMutex);
  events.sendStateEvent(getString());
}
