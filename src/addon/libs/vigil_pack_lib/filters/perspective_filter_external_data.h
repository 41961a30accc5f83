#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_PERSPECTIVE_FILTER_EXTERNAL_DATA_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FILTERS_PERSPECTIVE_FILTER_EXTERNAL_DATA_H

#include <string_view>

#include "scene/tracking_object_external_data.h"

// The largest real-world size of an object so far; of two objects that become one the larger
// counts.
class PerspectiveFilterExternalData : public TrackingObjectExternalData {
 public:
  static constexpr const char* MAX_HEIGHT = "maxRealWorldHeight";
  static constexpr const char* MAX_WIDTH = "maxRealWorldWidth";

  // Both sizes 0.
  PerspectiveFilterExternalData();

  std::unique_ptr<TrackingObjectExternalData> clone() const override;
  void merge(const TrackingObjectExternalData& other) override;

  // Stores the value when it is larger than the one under the key.
  void raise(std::string_view key, std::int32_t value);
};

#endif
