#ifndef SCENE_TRACKING_OBJECT_EXTERNAL_DATA_NO_MERGE_H
#define SCENE_TRACKING_OBJECT_EXTERNAL_DATA_NO_MERGE_H

#include "scene/tracking_object_external_data.h"

// Data that belongs to one object alone: merging keeps it as it is.
class TrackingObjectExternalDataNoMerge : public TrackingObjectExternalData {
 public:
  std::unique_ptr<TrackingObjectExternalData> clone() const override;
  void merge(const TrackingObjectExternalData& other) override;
};

#endif
