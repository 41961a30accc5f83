#include "world/frame_link.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

namespace device {
namespace {

constexpr double MICROSECONDS = 1e6;    // in a second
constexpr double TIME_ROUNDING = 1e-9;  // seconds, of sums of steps

}  // namespace

FrameLink::FrameLink(const FrameLinkSetup& setup, std::uint64_t seed, int channel)
    : setup(setup),
      chance(seed, "frame link " + std::to_string(channel)),
      lastDue(-std::numeric_limits<double>::infinity()) {}

void FrameLink::send(double now, Frame frame) {
  const double delay = setup.age + chance.between(-setup.ageJitter, setup.ageJitter);
  const double stamp = setup.stampOffset + chance.between(-setup.stampJitter, setup.stampJitter);
  frame.timestamp += std::llround(stamp * MICROSECONDS);
  if (chance.happens(setup.lost)) {
    return;
  }
  if (!held && chance.happens(setup.swapped)) {
    held = std::move(frame);
    return;
  }
  const double due = std::max({now, now + delay, lastDue});
  push(due, frame);
  if (chance.happens(setup.doubled)) {
    push(due, frame);
  }
  if (held) {
    push(due, *std::exchange(held, std::nullopt));
  }
}

std::vector<Frame> FrameLink::take(double now) {
  std::vector<Frame> arrived;
  while (!frames.empty() && frames.front().due <= now + TIME_ROUNDING) {
    arrived.push_back(std::move(frames.front().frame));
    frames.pop_front();
  }
  return arrived;
}

// None but those that are swapped overtakes another: the way is one connection.
void FrameLink::push(double due, const Frame& frame) {
  lastDue = due;
  frames.push_back({due, frame});
}

}  // namespace device
