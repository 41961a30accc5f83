#include "addon/libs/vigil_pack_lib/filters/size_filter_percent.h"

#include <tuple>

#include "addon/libs/vigil_pack_lib/filters/filter_data_key.h"
#include "addon/libs/vigil_pack_lib/profile/entry_values.h"
#include "addon/libs/vigil_pack_lib/profile/parsed_profile.h"
#include "config/status_exception.h"

namespace {

using enum StatusCode_e;

constexpr const char* TYPE = "sizePercentage";

void createSizeFilterPercent(const json_t* entry, ParsedProfile& profile) {
  const auto size = unpackSwitchedPair(entry);
  throwIf(!size, "Could not unpack a size filter percent", missingParameter);
  const DataBoundaries& limits = profile.boundaries;
  throwIf(!isWithin(size->first, limits.sizePercentWidthMin, limits.sizePercentWidthMax) ||
              !isWithin(size->second, limits.sizePercentHeightMin, limits.sizePercentHeightMax),
          "Incorrect parameter value for size filter percent", invalidParameter);
  profile.filters.push_back(
      std::make_unique<SizeFilterPercent>(narrow(size->first), narrow(size->second), size->active));
}

JsonAutoPtr packCapability(const DataBoundaries& boundaries, const DefaultValues& defaults) {
  return JsonAutoPtr(json_pack(
      "{s:s, s:[i,i], s:[i,i], s:[i,i], s:b}", "type", TYPE, "min", boundaries.sizePercentWidthMin,
      boundaries.sizePercentHeightMin, "max", boundaries.sizePercentWidthMax,
      boundaries.sizePercentHeightMax, "default", defaults.sizePercentWidth,
      defaults.sizePercentHeight, "defaultActive", static_cast<int>(defaults.sizePercentActive)));
}

JsonAutoPtr packDefault(const DefaultValues& defaults) {
  return JsonAutoPtr(
      json_pack("{s:b, s:[i,i], s:s}", "active", static_cast<int>(defaults.sizePercentActive),
                "data", defaults.sizePercentWidth, defaults.sizePercentHeight, "type", TYPE));
}

}  // namespace

SizeFilterPercent::SizeFilterPercent(std::int32_t widthPercent, std::int32_t heightPercent,
                                     bool enabled)
    : minWidth(utils::percentToSceneLength(widthPercent)),
      minHeight(utils::percentToSceneLength(heightPercent)),
      enabled(enabled) {}

bool SizeFilterPercent::canObjectTriggerAlarm(TrackingObject& object) {
  return !enabled || object.getHeight() > minHeight || object.getWidth() > minWidth;
}

std::unique_ptr<ExclusionFilter> SizeFilterPercent::clone() const {
  return std::make_unique<SizeFilterPercent>(*this);
}

void SizeFilterPercent::updateFilterData(TrackingObject&) {}

bool SizeFilterPercent::operator==(const SizeFilterPercent& other) const {
  return std::tie(enabled, minWidth, minHeight) ==
         std::tie(other.enabled, other.minWidth, other.minHeight);
}

constinit const EntryKind SIZE_FILTER_PERCENT_KIND{.type = TYPE,
                                                   .parse = createSizeFilterPercent,
                                                   .capability = packCapability,
                                                   .defaultEntry = packDefault};
