#include "addon/libs/vigil_pack_lib/triggers/include_area.h"

#include <cstddef>

#include "addon/libs/vigil_pack_lib/profile/parsed_profile.h"
#include "addon/libs/vigil_pack_lib/profile/shape.h"
#include "config/status_exception.h"

namespace {

using enum StatusCode_e;

constexpr const char* TYPE = "includeArea";
constexpr std::int32_t DEFAULT_INSTANCE = 1;

void createOneIncludeArea(const json_t* trigger, ParsedProfile& profile) {
  throwIf(profile.triggerCount > static_cast<std::size_t>(profile.boundaries.includeAreasMax),
          "The configuration contains too many include area triggers", contradiction);
  throwIf(profile.includeArea.has_value(), "Only one include area per profile is allowed",
          contradiction);
  const json_t* data = json_object_get(trigger, "data");
  throwIf(data == nullptr, "Could not get the data for an include area", missingParameter);
  profile.includeArea = createPolygon(data, profile.boundaries);
}

JsonAutoPtr packCapability(const DataBoundaries& boundaries, const DefaultValues& defaults) {
  return packShape(TYPE, {boundaries.includeAreasMin, boundaries.includeAreasMax, DEFAULT_INSTANCE},
                   boundaries, packRectangle(defaults.includeArea));
}

JsonAutoPtr packDefault(const DefaultValues& defaults) {
  return JsonAutoPtr(
      json_pack("{s:s, s:o}", "type", TYPE, "data", packRectangle(defaults.includeArea).release()));
}

}  // namespace

constinit const EntryKind INCLUDE_AREA_KIND{.type = TYPE,
                                            .parse = createOneIncludeArea,
                                            .capability = packCapability,
                                            .defaultEntry = packDefault};
