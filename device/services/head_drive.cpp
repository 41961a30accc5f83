#include "services/head_drive.h"

#include <utility>

#include "base/units.h"

namespace device {

HeadDrive::HeadDrive(const HeadSetup& setup, Clock timeSource, std::uint64_t seed)
    : clock(std::move(timeSource)), time(clock()), head(setup, seed) {}

void HeadDrive::advance() {
  const std::int64_t now = clock();
  while (time + STEP <= now) {
    head.step(units::toSeconds(STEP));
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
