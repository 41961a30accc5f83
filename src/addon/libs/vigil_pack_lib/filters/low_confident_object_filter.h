#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_LOW_CONFIDENT_OBJECT_FILTER_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_LOW_CONFIDENT_OBJECT_FILTER_H

#include "addon/libs/vigil_pack_lib/profile/exclusion_filter.h"

// Holds objects back of which the analytics is not sure. Always active.
class LowConfidentObjectFilter : public ExclusionFilter {
 public:
  bool canObjectTriggerAlarm(TrackingObject& object) override;
  std::unique_ptr<ExclusionFilter> clone() const override;
  void updateFilterData(TrackingObject& object) override;

  // Only for applications that compare filters before they replace them.
  bool operator==(const LowConfidentObjectFilter&) const { return true; }
};

#endif
