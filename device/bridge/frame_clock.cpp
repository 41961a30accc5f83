#include "bridge/frame_clock.h"

#include <algorithm>
#include <cstdlib>

namespace device::bridge {

namespace {

constexpr int STANDS_STILL = 3;  // frames with the same time, one after another

}  // namespace

std::int64_t FrameClock::timeOf(const std::optional<std::int64_t>& told,
                                const std::optional<std::int64_t>& sent, std::int64_t arrival) {
  const auto camera = plausible(told, sent);
  if (!camera) {
    return between(arrival - leastDelay, arrival);
  }
  note(arrival - *camera, arrival);
  return between(*camera + differences.front().amount - leastDelay, arrival);
}

std::optional<std::int64_t> FrameClock::at(std::int64_t camera) const {
  return differences.empty() ? std::nullopt
                             : std::optional(camera + differences.front().amount - leastDelay);
}

// A picture's own time is better than that of its document.
std::optional<std::int64_t> FrameClock::plausible(const std::optional<std::int64_t>& told,
                                                  const std::optional<std::int64_t>& sent) {
  if (!told) {
    return sent;
  }
  sameTold = told == lastTold ? sameTold + 1 : 0;
  lastTold = told;
  const bool isFarOff = sent && std::abs(*told - *sent) > DAY;
  return sameTold >= STANDS_STILL || isFarOff ? sent : told;
}

void FrameClock::note(std::int64_t difference, std::int64_t arrival) {
  const bool isStrange =
      !differences.empty() && std::abs(difference - differences.front().amount) > JUMP;
  strange = isStrange ? strange + 1 : 0;
  if (strange >= PERSISTENCE) {
    differences.clear();
    strange = 0;
  } else if (isStrange) {
    return;
  }
  while (!differences.empty() && differences.front().time < arrival - WINDOW) {
    differences.pop_front();
  }
  while (!differences.empty() && differences.back().amount >= difference) {
    differences.pop_back();
  }
  differences.push_back({arrival, difference});
}

std::int64_t FrameClock::between(std::int64_t time, std::int64_t arrival) {
  last = std::min(std::max(time, last ? *last + 1 : time), arrival);
  return *last;
}

}  // namespace device::bridge
