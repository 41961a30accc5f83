#ifndef SCORE_VIRTUAL_CLOCK_H
#define SCORE_VIRTUAL_CLOCK_H

#include "app/clock.h"
#include "memory/fibres.h"

namespace score {

// The daemon's time is that of the platform in memory.
class VirtualClock final : public Clock {
 public:
  VirtualClock() { Clock::replace(this); }
  VirtualClock(const VirtualClock&) = delete;
  VirtualClock& operator=(const VirtualClock&) = delete;
  ~VirtualClock() override { Clock::replace(nullptr); }

  std::int64_t now() const override { return memory::Fibres::get().now(); }
  void sleep(std::int64_t microseconds) override { memory::Fibres::get().sleep(microseconds); }
};

}  // namespace score

#endif
