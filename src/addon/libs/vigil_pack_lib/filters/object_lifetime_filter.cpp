#include "addon/libs/vigil_pack_lib/filters/object_lifetime_filter.h"

#include <tuple>

#include "addon/libs/vigil_pack_lib/profile/entry_values.h"
#include "addon/libs/vigil_pack_lib/profile/parsed_profile.h"
#include "base/units.h"
#include "config/status_exception.h"

namespace {

using enum StatusCode_e;

constexpr const char* TYPE = "timeShortLivedLimit";

void createObjectLifetimeFilter(const json_t* entry, ParsedProfile& profile) {
  const auto seconds = unpackSwitched(entry);
  throwIf(!seconds, "Could not unpack an object lifetime filter", missingParameter);
  const DataBoundaries& limits = profile.boundaries;
  throwIf(!isWithin(seconds->data, limits.shortLivedMin, limits.shortLivedMax),
          "Incorrect parameter value for object lifetime filter", invalidParameter);
  profile.filters.push_back(
      std::make_unique<ObjectLifetimeFilter>(narrow(seconds->data), seconds->active));
}

JsonAutoPtr packCapability(const DataBoundaries& boundaries, const DefaultValues& defaults) {
  return JsonAutoPtr(json_pack("{s:s, s:i, s:i, s:i, s:b}", "type", TYPE, "min",
                               boundaries.shortLivedMin, "max", boundaries.shortLivedMax, "default",
                               defaults.shortLived, "defaultActive",
                               static_cast<int>(defaults.shortLivedActive)));
}

JsonAutoPtr packDefault(const DefaultValues& defaults) {
  return JsonAutoPtr(json_pack("{s:b, s:i, s:s}", "active",
                               static_cast<int>(defaults.shortLivedActive), "data",
                               defaults.shortLived, "type", TYPE));
}

}  // namespace

ObjectLifetimeFilter::ObjectLifetimeFilter(std::int32_t seconds, bool enabled)
    : minLifetime(units::fromSeconds(seconds)), enabled(enabled) {}

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

constinit const EntryKind OBJECT_LIFETIME_FILTER_KIND{.type = TYPE,
                                                      .parse = createObjectLifetimeFilter,
                                                      .capability = packCapability,
                                                      .defaultEntry = packDefault};
