#ifndef ADDON_LIBS_VIGIL_PACK_LIB_PROFILE_EXCLUSION_FILTER_H
#define ADDON_LIBS_VIGIL_PACK_LIB_PROFILE_EXCLUSION_FILTER_H

#include <memory>

#include "scene/tracking_object.h"

// Holds objects back that must not raise an alarm. Filters are called under their guard's lock, on
// the thread that delivers the camera's frames: first updateFilterData, then canObjectTriggerAlarm.
// What they remember of an object lives on the object. Filters that are not active let everything
// pass.
class ExclusionFilter {
 public:
  virtual ~ExclusionFilter() = default;

  // True when this filter does not stop the object.
  virtual bool canObjectTriggerAlarm(TrackingObject& object) = 0;

  virtual std::unique_ptr<ExclusionFilter> clone() const = 0;

  // Feeds one new observation of the object to the filter.
  virtual void updateFilterData(TrackingObject& object) = 0;
};

#endif
