#include "addon/libs/vigil_pack_lib/filters/size_filter_percent.h"

#include <tuple>

#include "addon/libs/vigil_pack_lib/filters/filter_data_key.h"

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
