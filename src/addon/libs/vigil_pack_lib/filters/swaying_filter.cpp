#include "addon/libs/vigil_pack_lib/filters/swaying_filter.h"

#include <tuple>
#include <utility>

#include "addon/libs/vigil_pack_lib/filters/filter_data_key.h"
#include "addon/libs/vigil_pack_lib/profile/entry_values.h"
#include "addon/libs/vigil_pack_lib/profile/parsed_profile.h"
#include "config/status_exception.h"
#include "scene/tracking_object_external_data_no_merge.h"

namespace {

using enum StatusCode_e;

constexpr const char* TYPE = "distanceSwayingObject";
constexpr const char* POINT_OF_ORIGIN = "pointOfOrigin";
constexpr const char* LOCAL_DISPLACEMENT = "localDisplacement";
constexpr std::int32_t RETURN_DIVISOR = 25;  // of the squared distance: a fifth of the distance

std::int32_t squared(std::int32_t length) {
  return length * length;
}

void createSwayingFilter(const json_t* entry, ParsedProfile& profile) {
  const auto percent = unpackSwitched(entry);
  throwIf(!percent, "Could not unpack a swaying filter", missingParameter);
  const DataBoundaries& limits = profile.boundaries;
  throwIf(!isWithin(percent->data, limits.swayingPercentMin, limits.swayingPercentMax),
          "Incorrect parameter value for swaying filter percent", invalidParameter);
  profile.filters.push_back(
      std::make_unique<SwayingFilter>(profile.uid, narrow(percent->data), percent->active));
}

JsonAutoPtr packCapability(const DataBoundaries& boundaries, const DefaultValues& defaults) {
  return JsonAutoPtr(json_pack("{s:s, s:i, s:i, s:i, s:b}", "type", TYPE, "min",
                               boundaries.swayingPercentMin, "max", boundaries.swayingPercentMax,
                               "default", defaults.swayingPercent, "defaultActive",
                               static_cast<int>(defaults.swayingActive)));
}

JsonAutoPtr packDefault(const DefaultValues& defaults) {
  return JsonAutoPtr(json_pack("{s:b, s:i, s:s}", "active",
                               static_cast<int>(defaults.swayingActive), "data",
                               defaults.swayingPercent, "type", TYPE));
}

}  // namespace

SwayingFilter::SwayingFilter(std::int32_t uid, std::int32_t percent, bool enabled)
    : enabled(enabled),
      dataKey(utils::generateFilterDataKey("swaying_filter", uid)),
      maxSquaredDisplacement(squared(utils::percentToSceneLength(percent))) {}

TrackingObjectExternalData& SwayingFilter::memoryOf(TrackingObject& object) const {
  if (TrackingObjectExternalData* memory = object.getData(dataKey)) {
    return *memory;
  }
  auto memory = std::make_unique<TrackingObjectExternalDataNoMerge>();
  memory->insert(LOCAL_DISPLACEMENT, std::int32_t{0});
  memory->insert(POINT_OF_ORIGIN, object.getPosition());
  object.insertData(dataKey.getText(), std::move(memory));
  return *object.getData(dataKey);
}

void SwayingFilter::updateFilterData(TrackingObject& object) {
  if (!enabled) {
    return;
  }
  TrackingObjectExternalData& memory = memoryOf(object);
  const std::int32_t displacement = memory.getInt(LOCAL_DISPLACEMENT);
  const auto distance = static_cast<std::int32_t>(
      memory.getPoint(POINT_OF_ORIGIN).squareDistance(object.getPosition()));
  if (displacement <= maxSquaredDisplacement && distance < displacement / RETURN_DIVISOR) {
    memory.insert(POINT_OF_ORIGIN, object.getPosition());
    memory.insert(LOCAL_DISPLACEMENT, std::int32_t{0});
  } else if (distance > displacement) {
    memory.insert(LOCAL_DISPLACEMENT, distance);
  }
}

bool SwayingFilter::canObjectTriggerAlarm(TrackingObject& object) {
  return !enabled || memoryOf(object).getInt(LOCAL_DISPLACEMENT) > maxSquaredDisplacement;
}

std::unique_ptr<ExclusionFilter> SwayingFilter::clone() const {
  return std::make_unique<SwayingFilter>(*this);
}

bool SwayingFilter::operator==(const SwayingFilter& other) const {
  return std::tie(dataKey, enabled, maxSquaredDisplacement) ==
         std::tie(other.dataKey, other.enabled, other.maxSquaredDisplacement);
}

constinit const EntryKind SWAYING_FILTER_KIND{.type = TYPE,
                                              .parse = createSwayingFilter,
                                              .capability = packCapability,
                                              .defaultEntry = packDefault};
