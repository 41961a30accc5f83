#include "addon/libs/vigil_pack_lib/filters/size_filter_perspective.h"

#include <algorithm>
#include <limits>
#include <tuple>

#include "addon/libs/vigil_pack_lib/filters/filter_data_key.h"
#include "addon/libs/vigil_pack_lib/filters/perspective_bar_utils.h"
#include "addon/libs/vigil_pack_lib/filters/size_filter_percent.h"
#include "addon/libs/vigil_pack_lib/profile/entry_values.h"
#include "addon/libs/vigil_pack_lib/profile/parsed_profile.h"
#include "config/status_exception.h"

namespace {

using enum StatusCode_e;

constexpr const char* TYPE = "sizePerspective";
constexpr json_int_t LARGEST_SIZE = std::numeric_limits<std::int32_t>::max();

void createSizeFilterPerspective(const json_t* entry, ParsedProfile& profile) {
  // Without bars the cross-check refuses an active filter with a message of its own.
  if (!profile.perspectiveBars.empty()) {
    perspectiveBarUtils::validatePerspectiveBars(profile.perspectiveBars, profile.rotation);
  }
  const auto size = unpackSwitchedPair(entry);
  throwIf(!size, "Could not unpack a size filter perspective", missingParameter);
  throwIf(!isWithin(size->first, 0, LARGEST_SIZE) || !isWithin(size->second, 0, LARGEST_SIZE),
          "Incorrect parameter value for size filter perspective", invalidParameter);
  profile.filters.push_back(std::make_unique<SizeFilterPerspective>(
      profile.uid, narrow(size->first), narrow(size->second), Perspective(profile.perspectiveBars),
      size->active));
}

template <typename Filter>
bool hasActive(const ParsedProfile& profile) {
  return std::ranges::any_of(profile.filters, [](const auto& filter) {
    const auto* candidate = dynamic_cast<const Filter*>(filter.get());
    return candidate != nullptr && candidate->isEnabled();
  });
}

void validate(const ParsedProfile& profile) {
  const bool isActive = hasActive<SizeFilterPerspective>(profile);
  throwIf(isActive && hasActive<SizeFilterPercent>(profile),
          "Only one type of size filter can be active", contradiction);
  throwIf(isActive && profile.perspectiveBars.size() < 2,
          "A valid perspective is required too use the size perspective filter", contradiction);
}

}  // namespace

SizeFilterPerspective::SizeFilterPerspective(std::int32_t uid, std::int32_t minWidth,
                                             std::int32_t minHeight, const Perspective& perspective,
                                             bool enabled)
    : dataKey(utils::generateFilterDataKey("size_filter_perspective", uid)),
      minWidth(minWidth),
      minHeight(minHeight),
      perspective(perspective),
      enabled(enabled) {}

// Only this filter stores data under its key.
PerspectiveFilterExternalData& SizeFilterPerspective::memoryOf(TrackingObject& object) const {
  TrackingObjectExternalData* memory = object.getData(dataKey);
  if (memory == nullptr) {
    object.insertData(dataKey.getText(), std::make_unique<PerspectiveFilterExternalData>());
    memory = object.getData(dataKey);
  }
  return static_cast<PerspectiveFilterExternalData&>(*memory);
}

void SizeFilterPerspective::updateFilterData(TrackingObject& object) {
  const std::int32_t foot = object.getFootPositionValue(object.getPosition());
  PerspectiveFilterExternalData& memory = memoryOf(object);
  memory.raise(PerspectiveFilterExternalData::MAX_HEIGHT,
               perspective.calculateRealWorldSize(foot, object.getAspectCorrectedHeight()));
  memory.raise(PerspectiveFilterExternalData::MAX_WIDTH,
               perspective.calculateRealWorldSize(foot, object.getAspectCorrectedWidth()));
}

bool SizeFilterPerspective::canObjectTriggerAlarm(TrackingObject& object) {
  if (!enabled) {
    return true;
  }
  const PerspectiveFilterExternalData& memory = memoryOf(object);
  return memory.getInt(PerspectiveFilterExternalData::MAX_HEIGHT) > minHeight ||
         memory.getInt(PerspectiveFilterExternalData::MAX_WIDTH) > minWidth;
}

std::unique_ptr<ExclusionFilter> SizeFilterPerspective::clone() const {
  return std::make_unique<SizeFilterPerspective>(*this);
}

bool SizeFilterPerspective::operator==(const SizeFilterPerspective& other) const {
  return std::tie(dataKey, enabled, minWidth, minHeight, perspective) ==
         std::tie(other.dataKey, other.enabled, other.minWidth, other.minHeight, other.perspective);
}

// Clients are not told of it.
constinit const EntryKind SIZE_FILTER_PERSPECTIVE_KIND{
    .type = TYPE, .parse = createSizeFilterPerspective, .validate = validate};
