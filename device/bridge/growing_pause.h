#ifndef DEVICE_BRIDGE_GROWING_PAUSE_H
#define DEVICE_BRIDGE_GROWING_PAUSE_H

#include <algorithm>
#include <cstdint>

namespace device::bridge {

// How long to wait before the next attempt: 1, 2, 4 .. 30 s, until one succeeds.
class GrowingPause {
 public:
  static constexpr std::int64_t FIRST = 1000000;  // microseconds
  static constexpr std::int64_t LAST = 30000000;

  // Of the attempt that has just failed.
  std::int64_t next() {
    const std::int64_t present = pause;
    pause = std::min(2 * pause, LAST);
    return present;
  }
  void succeeded() { pause = FIRST; }

 private:
  std::int64_t pause = FIRST;
};

}  // namespace device::bridge

#endif
