#include "services/head_drive.h"

#include <utility>

namespace device {

HeadDrive::HeadDrive(const HeadSetup& setup, Clock timeSource, std::uint64_t seed)
    : clock(std::move(timeSource)), time(clock()), head(setup, seed) {}

void HeadDrive::advance() {
  constexpr double MICROSECONDS_PER_SECOND = 1e6;
  const std::int64_t now = clock();
  while (time + STEP <= now) {
    head.step(STEP / MICROSECONDS_PER_SECOND);
    time += STEP;
    tellObserver();
  }
}

void HeadDrive::observe(std::int64_t observedPeriod, Observer told) {
  observer = std::move(told);
  period = observedPeriod;
  nextObservation = time + period;
}

void HeadDrive::tellObserver() {
  if (!observer || time < nextObservation) {
    return;
  }
  nextObservation += period;
  observer(time, head);
}

}  // namespace device
