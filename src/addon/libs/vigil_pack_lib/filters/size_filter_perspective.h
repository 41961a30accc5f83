#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_SIZE_FILTER_PERSPECTIVE_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_SIZE_FILTER_PERSPECTIVE_H

#include <cstdint>
#include <string>

#include "addon/libs/vigil_pack_lib/filters/perspective.h"
#include "addon/libs/vigil_pack_lib/filters/perspective_filter_external_data.h"
#include "addon/libs/vigil_pack_lib/profile/entry_kind.h"
#include "addon/libs/vigil_pack_lib/profile/exclusion_filter.h"

// Holds objects back that have never been large enough in the real world: one dimension above its
// minimum suffices to pass. Records the largest sizes also while it is not active.
class SizeFilterPerspective : public ExclusionFilter {
 public:
  // Minimum sizes in the perspective's real-world units.
  SizeFilterPerspective(std::int32_t uid, std::int32_t minWidth, std::int32_t minHeight,
                        const Perspective& perspective, bool enabled);

  bool canObjectTriggerAlarm(TrackingObject& object) override;
  std::unique_ptr<ExclusionFilter> clone() const override;
  void updateFilterData(TrackingObject& object) override;

  bool isEnabled() const { return enabled; }

  // Only for applications that compare filters before they replace them.
  bool operator==(const SizeFilterPerspective& other) const;

 private:
  PerspectiveFilterExternalData& memoryOf(TrackingObject& object) const;

  DataKey dataKey;
  std::int32_t minWidth;
  std::int32_t minHeight;
  Perspective perspective;
  bool enabled;
};

// How profiles hold it.
extern const EntryKind SIZE_FILTER_PERSPECTIVE_KIND;

#endif
