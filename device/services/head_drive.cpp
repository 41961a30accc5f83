#include "services/head_drive.h"

#include <utility>

namespace device {

HeadDrive::HeadDrive(const HeadSetup& setup, Clock timeSource, std::uint64_t seed)
    : clock(std::move(timeSource)), time(clock()), head(setup, seed) {}

void HeadDrive::advance() {
  constexpr double MICROSECONDS_PER_SECOND = 1e6;
  const std::int64_t now = clock();
  for (; time + STEP <= now; time += STEP) {
    head.step(STEP / MICROSECONDS_PER_SECOND);
  }
}

}  // namespace device
