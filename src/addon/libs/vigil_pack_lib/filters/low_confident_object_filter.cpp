#include "addon/libs/vigil_pack_lib/filters/low_confident_object_filter.h"

bool LowConfidentObjectFilter::canObjectTriggerAlarm(TrackingObject& object) {
  return object.getIsConfident();
}

std::unique_ptr<ExclusionFilter> LowConfidentObjectFilter::clone() const {
  return std::make_unique<LowConfidentObjectFilter>(*this);
}

void LowConfidentObjectFilter::updateFilterData(TrackingObject&) {}
