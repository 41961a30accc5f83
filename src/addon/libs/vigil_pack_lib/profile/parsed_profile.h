#ifndef ADDON_LIBS_VIGIL_PACK_LIB_PROFILE_PARSED_PROFILE_H
#define ADDON_LIBS_VIGIL_PACK_LIB_PROFILE_PARSED_PROFILE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "addon/libs/vigil_pack_lib/profile/exclusion_filter.h"
#include "addon/libs/vigil_pack_lib/profile/loitering_condition.h"
#include "addon/libs/vigil_pack_lib/profile/perspective_bar.h"
#include "config/data_boundaries.h"
#include "geometry/polygon.h"
#include "geometry/segment.h"

// One profile of the configuration document as far as it has been read: first its own values, then
// triggers, perspective, filters and presets, in this order.
struct ParsedProfile {
  // rotation of the profile's camera in degrees; eventDuration when the profile does not say one.
  // The boundaries must outlive the profile.
  ParsedProfile(int rotation, const DataBoundaries& boundaries, std::int64_t eventDuration)
      : eventDuration(eventDuration), rotation(rotation), boundaries(boundaries) {}

  std::string name;
  std::int32_t uid = -1;
  std::int32_t camera = 0;
  std::int64_t eventDuration;    // microseconds
  std::size_t triggerCount = 0;  // of all kinds together, those that are still to be read included
  std::optional<Polygon> includeArea;
  std::optional<Segment> fence;
  std::optional<LoiteringArea> loiteringArea;
  std::vector<Polygon> excludeAreas;
  std::vector<std::unique_ptr<ExclusionFilter>> filters;
  std::vector<std::int16_t> presets;
  std::vector<PerspectiveBar> perspectiveBars;
  const int rotation;
  const DataBoundaries& boundaries;
};

#endif
