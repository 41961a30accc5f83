#ifndef DEVICE_HEAD_CALL_DELAY_H
#define DEVICE_HEAD_CALL_DELAY_H

#include <cstdint>

#include "random/chance.h"

namespace device {

// How long a call to the head's service takes, there and back.
struct CallDelaySetup {
  double least = 0;  // seconds
  double most = 0;   // seconds; 0 for a call that is answered at once
};

// A slow network between the caller and the head's service. A call spends half of its time on the
// way there and half on the way back; calls are evenly distributed between the least and the most.
class CallDelay {
 public:
  CallDelay(const CallDelaySetup& setup, std::uint64_t seed)
      : setup(setup), chance(seed, "call delay") {}

  bool isOff() const { return setup.most <= 0; }

  // Seconds from a call to its answer, drawn anew for each call.
  double next() { return chance.between(setup.least, setup.most); }

 private:
  CallDelaySetup setup;
  Chance chance;
};

}  // namespace device

#endif
