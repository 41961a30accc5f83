#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_OBJECT_LIFETIME_FILTER_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_OBJECT_LIFETIME_FILTER_H

#include <cstdint>

#include "addon/libs/vigil_pack_lib/profile/entry_kind.h"
#include "addon/libs/vigil_pack_lib/profile/exclusion_filter.h"

// Holds objects back that have been seen for less than a minimum time.
class ObjectLifetimeFilter : public ExclusionFilter {
 public:
  // seconds 1 to 5.
  ObjectLifetimeFilter(std::int32_t seconds, bool enabled);

  bool canObjectTriggerAlarm(TrackingObject& object) override;
  std::unique_ptr<ExclusionFilter> clone() const override;
  void updateFilterData(TrackingObject& object) override;

  // Only for applications that compare filters before they replace them.
  bool operator==(const ObjectLifetimeFilter& other) const;

 private:
  std::int64_t minLifetime;  // microseconds; reached is long enough
  bool enabled;
};

// How profiles hold it.
extern const EntryKind OBJECT_LIFETIME_FILTER_KIND;

#endif
