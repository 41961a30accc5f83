#include "scene/tracking_object_external_data_no_merge.h"

std::unique_ptr<TrackingObjectExternalData> TrackingObjectExternalDataNoMerge::clone() const {
  return std::make_unique<TrackingObjectExternalDataNoMerge>(*this);
}

void TrackingObjectExternalDataNoMerge::merge(const TrackingObjectExternalData&) {}
