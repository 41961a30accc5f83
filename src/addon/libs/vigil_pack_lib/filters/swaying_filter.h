#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_SWAYING_FILTER_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_SWAYING_FILTER_H

#include <cstdint>
#include <string>

#include "addon/libs/vigil_pack_lib/profile/entry_kind.h"
#include "addon/libs/vigil_pack_lib/profile/exclusion_filter.h"

// Holds objects back that only sway around one point: an object passes once it has been further
// from its origin than the limit, and then for the rest of its life. An object that comes back to
// within a fifth of its greatest distance so far begins anew from there.
class SwayingFilter : public ExclusionFilter {
 public:
  // percent of the picture, 3 to 20.
  SwayingFilter(std::int32_t uid, std::int32_t percent, bool enabled);

  bool canObjectTriggerAlarm(TrackingObject& object) override;
  std::unique_ptr<ExclusionFilter> clone() const override;
  void updateFilterData(TrackingObject& object) override;

  // Only for applications that compare filters before they replace them.
  bool operator==(const SwayingFilter& other) const;

 private:
  TrackingObjectExternalData& memoryOf(TrackingObject& object) const;

  bool enabled;
  DataKey dataKey;
  std::int32_t maxSquaredDisplacement;  // squared Q12 units
};

// How profiles hold it.
extern const EntryKind SWAYING_FILTER_KIND;

#endif
