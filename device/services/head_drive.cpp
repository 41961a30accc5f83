#include "services/head_drive.h"

#include <utility>

namespace device {

HeadDrive::HeadDrive(const HeadSetup& setup, Clock clock, std::uint64_t seed)
    : clock_(std::move(clock)), time_(clock_()), head_(setup, seed) {}

void HeadDrive::advance() {
  constexpr double kMicrosecondsPerSecond = 1e6;
  const std::int64_t now = clock_();
  for (; time_ + kStep <= now; time_ += kStep) head_.step(kStep / kMicrosecondsPerSecond);
}

}  // namespace device
