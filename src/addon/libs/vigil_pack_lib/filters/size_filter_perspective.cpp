#include "addon/libs/vigil_pack_lib/filters/size_filter_perspective.h"

#include <tuple>

#include "addon/libs/vigil_pack_lib/filters/filter_data_key.h"

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
