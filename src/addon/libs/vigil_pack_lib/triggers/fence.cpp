#include "addon/libs/vigil_pack_lib/triggers/fence.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "addon/libs/vigil_pack_lib/profile/entry_values.h"
#include "addon/libs/vigil_pack_lib/profile/parsed_profile.h"
#include "addon/libs/vigil_pack_lib/profile/shape.h"
#include "config/constants.h"
#include "config/status_exception.h"

namespace {

using enum StatusCode_e;

constexpr const char* TYPE = "fence";
constexpr std::int32_t DEFAULT_INSTANCE = 0;

FenceDirection_e toFenceDirection(const std::string& text) {
  if (text == constants::LEFT_TO_RIGHT) {
    return FenceDirection_e::leftToRight;
  }
  if (text == constants::RIGHT_TO_LEFT) {
    return FenceDirection_e::rightToLeft;
  }
  throwIf(text != constants::BOTH_DIRECTIONS, "Could not get the direction for fence",
          invalidParameter);
  return FenceDirection_e::both;
}

void createOneFenceLine(const json_t* trigger, ParsedProfile& profile) {
  throwIf(profile.triggerCount > static_cast<std::size_t>(profile.boundaries.fencesMax),
          "The configuration contains too many fence triggers", contradiction);
  throwIf(profile.fence.has_value(), "Only one fence per profile is allowed", contradiction);
  const json_t* data = json_object_get(trigger, "data");
  throwIf(data == nullptr, "Could not get the data for fence line", missingParameter);
  const json_t* direction = json_object_get(trigger, "alarmDirection");
  throwIf(direction == nullptr, "Could not get the direction for fence", invalidParameter);
  const char* text = nullptr;
  throwIf(!unpack(direction, "s", &text), "Could not get the direction for fence (Unpack failed)",
          missingParameter);
  const FenceDirection_e fenceDirection = toFenceDirection(text);
  const std::vector<Point> line = createPolyline(data, profile.boundaries);
  profile.fence.emplace(line.front(), line.back(), fenceDirection);
}

JsonAutoPtr packCapability(const DataBoundaries& boundaries, const DefaultValues& defaults) {
  const DefaultRectangle& r = defaults.loiteringAndFence;
  JsonAutoPtr line(json_pack("[[f,f],[f,f]]", r.xMin, r.yMin, r.xMax, r.yMax));
  JsonAutoPtr fence =
      packShape(TYPE, {boundaries.fencesMin, boundaries.fencesMax, DEFAULT_INSTANCE}, boundaries,
                std::move(line));
  json_object_set_new(fence.get(), "defaultAlarmDirection",
                      json_string(defaults.alarmDirection.c_str()));
  return fence;
}

}  // namespace

constinit const EntryKind FENCE_KIND{
    .type = TYPE, .parse = createOneFenceLine, .capability = packCapability};
