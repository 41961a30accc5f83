#include "addon/libs/vigil_pack_lib/filters/exclude_area.h"

#include <cstddef>

#include "addon/libs/vigil_pack_lib/profile/parsed_profile.h"
#include "addon/libs/vigil_pack_lib/profile/shape.h"
#include "config/status_exception.h"

namespace {

using enum StatusCode_e;

constexpr const char* TYPE = "excludeArea";
constexpr std::int32_t DEFAULT_INSTANCE = 0;

void createExcludeArea(const json_t* filter, ParsedProfile& profile) {
  const auto max = static_cast<std::size_t>(profile.boundaries.excludeAreasMax);
  throwIf(profile.excludeAreas.size() >= max, "The configuration contains too many exclude areas",
          invalidParameter);
  const json_t* data = json_object_get(filter, "data");
  throwIf(data == nullptr, "Could not get the data for an exclude area", invalidParameter);
  profile.excludeAreas.push_back(createPolygon(data, profile.boundaries));
}

JsonAutoPtr packCapability(const DataBoundaries& boundaries, const DefaultValues& defaults) {
  return packShape(TYPE, {boundaries.excludeAreasMin, boundaries.excludeAreasMax, DEFAULT_INSTANCE},
                   boundaries, packRectangle(defaults.loiteringAndFence));
}

}  // namespace

constinit const EntryKind EXCLUDE_AREA_KIND{
    .type = TYPE, .parse = createExcludeArea, .capability = packCapability};
