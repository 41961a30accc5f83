#include "addon/libs/vigil_pack_lib/filters/object_lifetime_filter.h"

#include <tuple>

namespace {

constexpr std::int32_t MICROSECONDS_PER_SECOND = 1000000;

}  // namespace

ObjectLifetimeFilter::ObjectLifetimeFilter(std::int32_t seconds, bool enabled)
    : minLifetime(seconds * MICROSECONDS_PER_SECOND), enabled(enabled) {}

bool ObjectLifetimeFilter::canObjectTriggerAlarm(TrackingObject& object) {
  return !enabled || object.getLastSeen() - object.getFirstSeen() >= minLifetime;
}

std::unique_ptr<ExclusionFilter> ObjectLifetimeFilter::clone() const {
  return std::make_unique<ObjectLifetimeFilter>(*this);
}

void ObjectLifetimeFilter::updateFilterData(TrackingObject&) {}

bool ObjectLifetimeFilter::operator==(const ObjectLifetimeFilter& other) const {
  return std::tie(enabled, minLifetime) == std::tie(other.enabled, other.minLifetime);
}
