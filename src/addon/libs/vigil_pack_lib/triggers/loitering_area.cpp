#include "addon/libs/vigil_pack_lib/triggers/loitering_area.h"

#include <cstddef>
#include <string>
#include <utility>

#include "addon/libs/vigil_pack_lib/profile/entry_values.h"
#include "addon/libs/vigil_pack_lib/profile/parsed_profile.h"
#include "addon/libs/vigil_pack_lib/profile/shape.h"
#include "config/json_parser.h"
#include "config/status_exception.h"

namespace {

using enum StatusCode_e;

constexpr const char* TYPE = "loiteringArea";
constexpr std::int32_t DEFAULT_INSTANCE = 0;

LoiteringCondition createIndividualCondition(const json_t* condition,
                                             const DataBoundaries& boundaries) {
  const auto value = unpackSwitched(condition);
  throwIf(!value, "Could not unpack an individual condition", missingParameter);
  const auto& limits = boundaries.conditionParameters;
  throwIf(!isWithin(value->data, limits[1], limits[0]),
          "Incorrect parameter value for the individual condition", invalidParameter);
  return {"individual", {narrow(value->data)}, value->active};
}

LoiteringCondition createGroupCondition(const json_t* condition, const DataBoundaries& boundaries) {
  const auto value = unpackSwitched(condition);
  throwIf(!value, "Could not unpack a group condition", missingParameter);
  const auto& limits = boundaries.conditionParameters;
  throwIf(!isWithin(value->data, limits[3], limits[2]),
          "Incorrect parameter value for the group condition", invalidParameter);
  return {"group", {narrow(value->data)}, value->active};
}

LoiteringCondition createObjectStoppedCondition(const json_t* condition,
                                                const DataBoundaries& boundaries) {
  const json_t* data = json_object_get(condition, "data");
  throwIf(json_is_array(data) && json_array_size(data) != 2,
          "Wrong number of params for the objectStopped condition.", invalidParameter);
  const auto values = unpackSwitchedPair(condition);
  throwIf(!values, "Could not unpack an object stopped condition", missingParameter);
  const auto& limits = boundaries.conditionParameters;
  throwIf(!isWithin(values->first, limits[5], limits[4]) ||
              !isWithin(values->second, limits[7], limits[6]),
          "Incorrect parameter value for object stopped condition", invalidParameter);
  return {"objectStopped", {narrow(values->first), narrow(values->second)}, values->active};
}

LoiteringCondition createOneCondition(const json_t* condition, const DataBoundaries& boundaries) {
  const char* text = nullptr;
  throwIf(!unpack(condition, "{s:s}", "type", &text), "Could not unpack trigger condition name",
          missingParameter);
  const std::string type(text);
  if (type == "individual") {
    return createIndividualCondition(condition, boundaries);
  }
  if (type == "group") {
    return createGroupCondition(condition, boundaries);
  }
  throwIf(type != "objectStopped", "Unknown trigger condition: " + type, invalidParameter);
  return createObjectStoppedCondition(condition, boundaries);
}

void createOneLoiteringArea(const json_t* trigger, ParsedProfile& profile) {
  throwIf(profile.triggerCount > static_cast<std::size_t>(profile.boundaries.loiteringAreasMax),
          "The configuration contains too many loitering area triggers", contradiction);
  throwIf(profile.loiteringArea.has_value(), "Only one loitering area per profile is allowed",
          contradiction);
  const json_t* data = json_object_get(trigger, "data");
  throwIf(data == nullptr, "Could not get the data for a loitering area", missingParameter);
  const json_t* conditions = JsonParser::getArray(trigger, "conditions");
  throwIf(conditions == nullptr, "Could not get the conditions for a loitering area",
          missingParameter);
  LoiteringArea area{createPolygon(data, profile.boundaries), {}};
  for (std::size_t i = 0; i < json_array_size(conditions); ++i) {
    const json_t* condition = json_array_get(conditions, i);
    throwIf(condition == nullptr, "Could not get data for a condition", missingParameter);
    area.conditions.push_back(createOneCondition(condition, profile.boundaries));
  }
  profile.loiteringArea = std::move(area);
}

JsonAutoPtr packCondition(const char* type, bool active, std::int32_t value, std::int32_t max,
                          std::int32_t min) {
  return JsonAutoPtr(json_pack("{s:s, s:b, s:i, s:i, s:i}", "type", type, "defaultActive",
                               static_cast<int>(active), "default", value, "max", max, "min", min));
}

JsonAutoPtr packConditions(const DataBoundaries& boundaries, const DefaultValues& defaults) {
  const auto& limits = boundaries.conditionParameters;
  JsonAutoPtr conditions(json_array());
  json_array_append_new(conditions.get(),
                        packCondition("individual", defaults.individualConditionActive,
                                      defaults.individualCondition, limits[0], limits[1])
                            .release());
  json_array_append_new(conditions.get(),
                        packCondition("group", defaults.groupConditionActive,
                                      defaults.groupCondition, limits[2], limits[3])
                            .release());
  return conditions;
}

JsonAutoPtr packCapability(const DataBoundaries& boundaries, const DefaultValues& defaults) {
  JsonAutoPtr area = packShape(
      TYPE, {boundaries.loiteringAreasMin, boundaries.loiteringAreasMax, DEFAULT_INSTANCE},
      boundaries, packRectangle(defaults.loiteringAndFence));
  json_object_set_new(area.get(), "conditions", packConditions(boundaries, defaults).release());
  return area;
}

}  // namespace

constinit const EntryKind LOITERING_AREA_KIND{
    .type = TYPE, .parse = createOneLoiteringArea, .capability = packCapability};
