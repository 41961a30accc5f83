#include "tracker/single_object.h"

#include <algorithm>

#include "app/clock.h"
#include "base/units.h"

namespace {

// Seconds by which an observation is led. The time stamp counts whole seconds and now counts
// milliseconds, so that the lead is the cap from about a second after the machine's start on: a
// constant, bounded lead that makes up for the delays of network and head.
double leadTime(std::int64_t timestampSeconds) {
  constexpr double LONGEST_LEAD = 1.0;
  const std::int64_t nowMilliseconds = utils::monotonicTime() / units::MICROSECONDS_PER_MILLISECOND;
  return std::min(static_cast<double>(nowMilliseconds - timestampSeconds) /
                      static_cast<double>(units::MILLISECONDS_PER_SECOND),
                  LONGEST_LEAD);
}

}  // namespace

SingleObject::SingleObject(const Observation& observation) {
  take(observation);
}

void SingleObject::update(const Observation& observation) {
  take(observation);
}

void SingleObject::take(const Observation& observation) {
  channel = observation.channel;
  id = observation.id;
  priority = observation.priority;
  pan = observation.pan;
  tilt = observation.tilt;
  width = observation.width;
  height = observation.height;
  timestamp = observation.timestamp / units::MICROSECONDS_PER_SECOND;
  velocity = observation.velocity;
  updatePosition();
}

void SingleObject::updatePosition() {
  const double dt = leadTime(timestamp);
  pan += velocity.x * dt;
  tilt += velocity.y * dt;
  left = pan - width / 2.0;
  right = pan + width / 2.0;
  top = tilt + height / 2.0;
  bottom = tilt - height / 2.0;
}

std::int32_t SingleObject::inactivityTime() const {
  return static_cast<std::int32_t>(utils::monotonicTime() - timestamp) /
         static_cast<std::int32_t>(units::MICROSECONDS_PER_MILLISECOND);
}
