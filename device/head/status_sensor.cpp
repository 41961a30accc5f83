#include "head/status_sensor.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/units.h"

namespace device {
namespace {

constexpr double SHORTEST_PERIOD = 0.005;  // seconds, of a sensor that reads without a pause
constexpr double TIME_ROUNDING = 1e-9;     // seconds, of sums of steps

double rounded(double angle, double step) {
  return step > 0 ? std::round(angle / step) * step : angle;
}

}  // namespace

StatusSensor::StatusSensor(const StatusSensorSetup& setup, const HeadStatus& start,
                           std::uint64_t seed)
    : setup(setup), chance(seed, "status sensor"), last(start), sinceReading(period()) {}

double StatusSensor::untilReading() const {
  return readsAhead() ? std::max(period() - sinceReading, 0.0)
                      : std::numeric_limits<double>::infinity();
}

void StatusSensor::advance(double seconds) {
  sinceReading += seconds;
  for (Reading& reading : readings) {
    reading.age += seconds;
  }
  while (!readings.empty() && readings.front().age >= setup.age - TIME_ROUNDING) {
    last = readings.front().status;
    readings.pop_front();
  }
}

void StatusSensor::read(const HeadStatus& head) {
  if (!readsAhead() || sinceReading < period() - TIME_ROUNDING) {
    return;
  }
  sinceReading = 0;
  readings.push_back({0, measured(head)});
  advance(0);
}

HeadStatus StatusSensor::told(const HeadStatus& head) {
  return readsAhead() ? last : measured(head);
}

double StatusSensor::period() const {
  return std::max(setup.period, SHORTEST_PERIOD);
}

HeadStatus StatusSensor::measured(const HeadStatus& head) {
  HeadStatus status = head;
  if (setup.noise == 0 && setup.step == 0) {
    return status;
  }
  status.pan = units::normalized(rounded(head.pan + chance.normal(setup.noise), setup.step));
  status.tilt = rounded(head.tilt + chance.normal(setup.noise), setup.step);
  return status;
}

}  // namespace device
