#include "world/frame_link.h"

#include <string>
#include <utility>

#include "base/units.h"

namespace device {
namespace {

constexpr double TIME_ROUNDING = 1e-9;  // seconds, of sums of steps

}  // namespace

FrameLink::FrameLink(const FrameLinkSetup& setup, std::uint64_t seed, int channel)
    : setup(setup), chance(seed, "frame link " + std::to_string(channel)) {}

void FrameLink::send(double now, Frame frame) {
  const double delay = setup.age + chance.between(-setup.ageJitter, setup.ageJitter);
  const double stamp = setup.stampOffset + chance.between(-setup.stampJitter, setup.stampJitter);
  frame.timestamp += units::roundedFromSeconds(stamp);
  if (chance.happens(setup.lost)) {
    return;
  }
  if (!held && chance.happens(setup.swapped)) {
    held = std::move(frame);
    return;
  }
  const double due = now + delay;
  frames.push_back({due, frame});
  if (chance.happens(setup.doubled)) {
    frames.push_back({due, frame});
  }
  if (held) {
    frames.push_back({due, *std::exchange(held, std::nullopt)});
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

}  // namespace device
