#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_SIZE_FILTER_PERCENT_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_SIZE_FILTER_PERCENT_H

#include <cstdint>

#include "addon/libs/vigil_pack_lib/profile/entry_kind.h"
#include "addon/libs/vigil_pack_lib/profile/exclusion_filter.h"

// Holds objects back that are small in the picture now: one dimension above its minimum suffices to
// pass.
class SizeFilterPercent : public ExclusionFilter {
 public:
  // percent of the picture's width and height, 3 to 100 each.
  SizeFilterPercent(std::int32_t widthPercent, std::int32_t heightPercent, bool enabled);

  bool canObjectTriggerAlarm(TrackingObject& object) override;
  std::unique_ptr<ExclusionFilter> clone() const override;
  void updateFilterData(TrackingObject& object) override;

  bool isEnabled() const { return enabled; }

  // Only for applications that compare filters before they replace them.
  bool operator==(const SizeFilterPercent& other) const;

 private:
  std::int32_t minWidth;   // Q12
  std::int32_t minHeight;  // Q12
  bool enabled;
};

// How profiles hold it.
extern const EntryKind SIZE_FILTER_PERCENT_KIND;

#endif
