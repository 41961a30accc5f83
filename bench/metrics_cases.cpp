// What counting for whoever watches many costs beside a frame's encoding.
#include <memory>
#include <vector>

#include "bench/case.h"
#include "bench/everyday.h"
#include "services/frame_encoding.h"
#include "services/frame_handshake.h"
#include "web_server/device_metrics.h"

namespace bench {

namespace {

constexpr std::size_t PEOPLE = 5;
constexpr std::size_t FRAMES = 16;
constexpr int FRAMES_PER_SECOND = 10;
constexpr std::size_t ROUNDS = 100;
constexpr std::uint64_t SEED = 11;
constexpr std::int32_t MASK =
    device::FRAME_POLYGON | device::FRAME_VELOCITY | device::FRAME_LOW_CONFIDENT;

std::vector<device::Frame> walk() {
  return Everyday(SEED).walk(PEOPLE, FRAMES, FRAMES_PER_SECOND);
}

Batch encoding() {
  return [frames = walk()] {
    std::size_t bytes = 0;
    for (const device::Frame& frame : frames) {
      bytes += device::encodeFrame(frame, MASK).size();
    }
    return bytes > 0 ? frames.size() : 0;
  };
}

Batch counting() {
  return [frames = walk(), metrics = std::make_shared<device::DeviceMetrics>()] {
    for (std::size_t round = 0; round < ROUNDS; ++round) {
      for (std::size_t i = 0; i < frames.size(); ++i) {
        metrics->frame(static_cast<int>(i % 4), frames[i].objects.size(), static_cast<double>(i));
      }
    }
    return ROUNDS * frames.size();
  };
}

}  // namespace

void addMetricsCases(Cases& cases) {
  cases.push_back({.name = "metrics/frame encoded", .operation = "frame", .prepare = encoding});
  cases.push_back({.name = "metrics/frame counted", .operation = "frame", .prepare = counting});
}

}  // namespace bench
