#include "addon/libs/vigil_pack_lib/factory/guard_factory.h"

#include <glib.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "addon/libs/vigil_pack_lib/filters/object_lifetime_filter.h"
#include "addon/libs/vigil_pack_lib/filters/perspective.h"
#include "addon/libs/vigil_pack_lib/filters/perspective_bar_utils.h"
#include "addon/libs/vigil_pack_lib/filters/size_filter_percent.h"
#include "addon/libs/vigil_pack_lib/filters/size_filter_perspective.h"
#include "addon/libs/vigil_pack_lib/filters/swaying_filter.h"
#include "config/constants.h"
#include "config/json_parser.h"
#include "config/preset.h"
#include "config/status_exception.h"
#include "events/camera_info.h"

namespace {

constexpr double SCENE_ONE = 4096.0;  // Q12
constexpr const char* PERSPECTIVE_BAR_TYPE = "bar";
constexpr std::size_t PERSPECTIVE_POINTS = 2;

using enum StatusCode_e;

// jansson reads through a pointer that is not const, but changes nothing.
template <typename... Targets>
bool unpack(const json_t* value, const char* format, Targets... targets) {
  return json_unpack(const_cast<json_t*>(value), format, targets...) == 0;
}

bool isInPicture(double coordinate) {
  return coordinate >= -1.0 && coordinate <= 1.0;
}

std::int16_t toSceneValue(double coordinate) {
  return static_cast<std::int16_t>(std::lround(coordinate * SCENE_ONE));
}

bool isWithin(json_int_t value, json_int_t min, json_int_t max) {
  return value >= min && value <= max;
}

std::vector<Point> createDataVector(const json_t* array, std::int32_t minimum, std::int32_t maximum,
                                    const char* what) {
  const std::size_t count = json_array_size(array);
  const bool tooFew = count < static_cast<std::size_t>(minimum);
  const bool tooMany = count > static_cast<std::size_t>(maximum);
  if (tooFew || tooMany) {
    syslog(LOG_ERR, "%s has %zu vertices\n", what, count);
  }
  throwIf(tooFew, "Too few verticies in a trigger", invalidParameter);
  throwIf(tooMany, "Too many verticies in a trigger", invalidParameter);
  std::vector<Point> points;
  points.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const json_t* vertex = json_array_get(array, i);
    throwIf(vertex == nullptr, "Could not get data for a trigger", missingParameter);
    double x = 0.0;
    double y = 0.0;
    throwIf(!unpack(vertex, "[FF!]", &x, &y), "Could not unpack a point for a trigger",
            missingParameter);
    throwIf(!isInPicture(x) || !isInPicture(y), "Trigger values out of bounds", invalidParameter);
    points.push_back({toSceneValue(x), toSceneValue(y)});
  }
  return points;
}

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

std::string trim(const std::string& text) {
  gchar* copy = g_strstrip(g_strdup(text.c_str()));
  std::string trimmed(copy);
  g_free(copy);
  return trimmed;
}

// A single value with its switch: {"data": ..., "active": ...}. Values are taken whole, so that
// what no 32 bits can hold is out of bounds like any other.
bool unpackSwitched(const json_t* filter, json_int_t& data, bool& active) {
  int activeFlag = 0;
  if (!unpack(filter, "{s:I, s:b}", "data", &data, "active", &activeFlag)) {
    return false;
  }
  active = activeFlag != 0;
  return true;
}

// A pair of values with its switch.
bool unpackSwitched(const json_t* filter, json_int_t& first, json_int_t& second, bool& active) {
  int activeFlag = 0;
  if (!unpack(filter, "{s:[II!], s:b}", "data", &first, &second, "active", &activeFlag)) {
    return false;
  }
  active = activeFlag != 0;
  return true;
}

constexpr json_int_t LARGEST_VALUE = std::numeric_limits<std::int32_t>::max();

// For values that are within 32 bits.
std::int32_t narrow(json_int_t value) {
  return static_cast<std::int32_t>(value);
}

}  // namespace

GuardFactory::GuardFactory(int rotation, const DataBoundaries& boundaries)
    : GuardFactory(rotation, boundaries, DEFAULT_EVENT_DURATION) {}

GuardFactory::GuardFactory(int rotation, const DataBoundaries& boundaries,
                           std::int64_t eventDuration)
    : eventDuration(eventDuration), rotation(rotation), boundaries(boundaries) {}

void GuardFactory::parseJson(const json_t* profile) {
  parseGuardData(profile);
  createTriggers(profile);
  createPerspectiveBars(profile);
  createExclusionFilters(profile);
  createPresets(profile);
  validateConfiguration();
  ok = true;
}

void GuardFactory::parseGuardData(const json_t* profile) {
  const char* text = nullptr;
  json_int_t uidValue = 0;
  json_int_t cameraValue = 0;
  json_int_t duration = eventDuration;
  throwIf(!unpack(profile, "{s:s, s:I, s:I, s?I}", "name", &text, "uid", &uidValue, "camera",
                  &cameraValue, "xinternalEventDuration", &duration),
          "Could not unpack data for the guard", missingParameter);
  throwIf(!std::in_range<std::int32_t>(uidValue) || !std::in_range<std::int32_t>(cameraValue) ||
              !isWithin(duration, -MAX_EVENT_DURATION, MAX_EVENT_DURATION),
          "Incorrect parameter value for the guard", invalidParameter);
  uid = narrow(uidValue);
  camera = narrow(cameraValue);
  eventDuration = duration;
  setName(text);
}

void GuardFactory::setName(const std::string& text) {
  name = trim(text);
  throwIf(!isProfileNameValid(name), "The name of the profile is not valid", invalidParameter);
}

bool GuardFactory::isProfileNameValid(const std::string& profileName) const {
  const glong length = g_utf8_strlen(profileName.c_str(), -1);
  return length >= boundaries.nameLengthMin && length <= boundaries.nameLengthMax &&
         profileName.find_first_of("<>") == std::string::npos;
}

void GuardFactory::createTriggers(const json_t* profile) {
  const json_t* triggers = JsonParser::getArray(profile, "triggers");
  throwIf(triggers == nullptr, "Could not find the 'triggers' tag", missingParameter);
  const std::size_t count = json_array_size(triggers);
  throwIf(count == 0, "Could not find any triggers", contradiction);
  for (std::size_t i = 0; i < count; ++i) {
    const json_t* trigger = json_array_get(triggers, i);
    throwIf(trigger == nullptr, "Could not get the trigger data", missingParameter);
    createOneTrigger(trigger, count);
  }
}

// The limits are compared with the number of all triggers together.
void GuardFactory::createOneTrigger(const json_t* trigger, std::size_t triggerCount) {
  const char* type = nullptr;
  throwIf(!unpack(trigger, "{s:s}", "type", &type), "Could not unpack trigger name",
          missingParameter);
  const auto exceeds = [triggerCount](std::int32_t maximum) {
    return static_cast<std::size_t>(maximum) < triggerCount;
  };
  const std::string kind(type);
  if (kind == "includeArea") {
    throwIf(exceeds(boundaries.includeAreasMax),
            "The configuration contains too many include area triggers", contradiction);
    createOneIncludeArea(trigger);
  } else if (kind == "fence") {
    throwIf(exceeds(boundaries.fencesMax), "The configuration contains too many fence triggers",
            contradiction);
    createOneFenceLine(trigger);
  } else if (kind == "loiteringArea") {
    throwIf(exceeds(boundaries.loiteringAreasMax),
            "The configuration contains too many loitering area triggers", contradiction);
    createOneLoiteringArea(trigger);
  } else {
    throwIf(true, "Unknown trigger " + kind, missingParameter);
  }
}

Polygon GuardFactory::createPolygon(const json_t* vertices) const {
  return Polygon(createDataVector(vertices, boundaries.verticesMin, boundaries.verticesMax,
                                  "An include area"));
}

std::vector<Point> GuardFactory::createPolyline(const json_t* vertices) const {
  return createDataVector(vertices, boundaries.verticesMin, boundaries.verticesMax, "A fence");
}

void GuardFactory::createOneIncludeArea(const json_t* trigger) {
  throwIf(includeArea.has_value(), "Only one include area per profile is allowed", contradiction);
  const json_t* data = json_object_get(trigger, "data");
  throwIf(data == nullptr, "Could not get the data for an include area", missingParameter);
  includeArea = createPolygon(data);
}

void GuardFactory::createOneFenceLine(const json_t* trigger) {
  throwIf(fence.has_value(), "Only one fence per profile is allowed", contradiction);
  const json_t* data = json_object_get(trigger, "data");
  throwIf(data == nullptr, "Could not get the data for fence line", missingParameter);
  const json_t* direction = json_object_get(trigger, "alarmDirection");
  throwIf(direction == nullptr, "Could not get the direction for fence", invalidParameter);
  const char* text = nullptr;
  throwIf(!unpack(direction, "s", &text), "Could not get the direction for fence (Unpack failed)",
          missingParameter);
  const FenceDirection_e fenceDirection = toFenceDirection(text);
  const std::vector<Point> line = createPolyline(data);
  fence.emplace(line.front(), line.back(), fenceDirection);
}

void GuardFactory::createOneLoiteringArea(const json_t* trigger) {
  throwIf(loiteringArea.has_value(), "Only one loitering area per profile is allowed",
          contradiction);
  const json_t* data = json_object_get(trigger, "data");
  throwIf(data == nullptr, "Could not get the data for a loitering area", missingParameter);
  const json_t* conditions = JsonParser::getArray(trigger, "conditions");
  throwIf(conditions == nullptr, "Could not get the conditions for a loitering area",
          missingParameter);
  LoiteringArea area{createPolygon(data), {}};
  for (std::size_t i = 0; i < json_array_size(conditions); ++i) {
    const json_t* condition = json_array_get(conditions, i);
    throwIf(condition == nullptr, "Could not get data for a condition", missingParameter);
    area.conditions.push_back(createOneCondition(condition));
  }
  loiteringArea = std::move(area);
}

LoiteringCondition GuardFactory::createOneCondition(const json_t* condition) const {
  const char* type = nullptr;
  throwIf(!unpack(condition, "{s:s}", "type", &type), "Could not unpack trigger condition name",
          missingParameter);
  LoiteringCondition result{type, {}, false};
  const auto& limits = boundaries.conditionParameters;
  json_int_t first = 0;
  if (result.type == "individual") {
    throwIf(!unpackSwitched(condition, first, result.active),
            "Could not unpack an individual condition", missingParameter);
    throwIf(!isWithin(first, limits[1], limits[0]),
            "Incorrect parameter value for the individual condition", invalidParameter);
    result.parameters = {narrow(first)};
  } else if (result.type == "group") {
    throwIf(!unpackSwitched(condition, first, result.active), "Could not unpack a group condition",
            missingParameter);
    throwIf(!isWithin(first, limits[3], limits[2]),
            "Incorrect parameter value for the group condition", invalidParameter);
    result.parameters = {narrow(first)};
  } else if (result.type == "objectStopped") {
    const json_t* data = json_object_get(condition, "data");
    throwIf(json_is_array(data) && json_array_size(data) != 2,
            "Wrong number of params for the objectStopped condition.", invalidParameter);
    json_int_t second = 0;
    throwIf(!unpackSwitched(condition, first, second, result.active),
            "Could not unpack an object stopped condition", missingParameter);
    throwIf(!isWithin(first, limits[5], limits[4]) || !isWithin(second, limits[7], limits[6]),
            "Incorrect parameter value for object stopped condition", invalidParameter);
    result.parameters = {narrow(first), narrow(second)};
  } else {
    throwIf(true, "Unknown trigger condition: " + result.type, invalidParameter);
  }
  return result;
}

void GuardFactory::createExclusionFilters(const json_t* profile) {
  const json_t* array = JsonParser::getArray(profile, "filters");
  throwIf(array == nullptr, "Could not find the 'filters' tag", missingParameter);
  for (std::size_t i = 0; i < json_array_size(array); ++i) {
    const json_t* filter = json_array_get(array, i);
    throwIf(filter == nullptr, "Could not get the exclusion filters", missingParameter);
    createOneExclusionFilter(filter);
  }
}

void GuardFactory::createOneExclusionFilter(const json_t* filter) {
  using Creator = void (GuardFactory::*)(const json_t*);
  struct Kind {
    const char* type;
    Creator create;
  };
  static constexpr std::array KINDS{
      Kind{"sizePercentage", &GuardFactory::createSizeFilterPercent},
      Kind{"sizePerspective", &GuardFactory::createSizeFilterPerspective},
      Kind{"timeShortLivedLimit", &GuardFactory::createObjectLifetimeFilter},
      Kind{"distanceSwayingObject", &GuardFactory::createSwayingFilter},
      Kind{"excludeArea", &GuardFactory::createExcludeArea}};

  const char* type = nullptr;
  throwIf(!unpack(filter, "{s:s}", "type", &type), "Could not unpack exclusion filter name",
          missingParameter);
  for (const Kind& kind : KINDS) {
    if (std::string(type) == kind.type) {
      (this->*kind.create)(filter);
      return;
    }
  }
  throwIf(true, std::string("Unknown exclusion filter: ") + type, invalidParameter);
}

void GuardFactory::createExcludeArea(const json_t* filter) {
  throwIf(excludeAreas.size() >= static_cast<std::size_t>(boundaries.excludeAreasMax),
          "The configuration contains too many exclude areas", invalidParameter);
  const json_t* data = json_object_get(filter, "data");
  throwIf(data == nullptr, "Could not get the data for an exclude area", invalidParameter);
  excludeAreas.push_back(createPolygon(data));
}

void GuardFactory::createSizeFilterPercent(const json_t* filter) {
  json_int_t width = 0;
  json_int_t height = 0;
  bool active = false;
  throwIf(!unpackSwitched(filter, width, height, active), "Could not unpack a size filter percent",
          missingParameter);
  throwIf(!isWithin(width, boundaries.sizePercentWidthMin, boundaries.sizePercentWidthMax) ||
              !isWithin(height, boundaries.sizePercentHeightMin, boundaries.sizePercentHeightMax),
          "Incorrect parameter value for size filter percent", invalidParameter);
  filters.push_back(std::make_unique<SizeFilterPercent>(narrow(width), narrow(height), active));
}

void GuardFactory::createSizeFilterPerspective(const json_t* filter) {
  // Without bars the cross-check refuses an active filter with a message of its own.
  if (!perspectiveBars.empty()) {
    perspectiveBarUtils::validatePerspectiveBars(perspectiveBars, rotation);
  }
  json_int_t width = 0;
  json_int_t height = 0;
  bool active = false;
  throwIf(!unpackSwitched(filter, width, height, active),
          "Could not unpack a size filter perspective", missingParameter);
  throwIf(!isWithin(width, 0, LARGEST_VALUE) || !isWithin(height, 0, LARGEST_VALUE),
          "Incorrect parameter value for size filter perspective", invalidParameter);
  filters.push_back(std::make_unique<SizeFilterPerspective>(uid, width, height,
                                                            Perspective(perspectiveBars), active));
}

void GuardFactory::createObjectLifetimeFilter(const json_t* filter) {
  json_int_t seconds = 0;
  bool active = false;
  throwIf(!unpackSwitched(filter, seconds, active), "Could not unpack an object lifetime filter",
          missingParameter);
  throwIf(!isWithin(seconds, boundaries.shortLivedMin, boundaries.shortLivedMax),
          "Incorrect parameter value for object lifetime filter", invalidParameter);
  filters.push_back(std::make_unique<ObjectLifetimeFilter>(narrow(seconds), active));
}

void GuardFactory::createSwayingFilter(const json_t* filter) {
  json_int_t percent = 0;
  bool active = false;
  throwIf(!unpackSwitched(filter, percent, active), "Could not unpack a swaying filter",
          missingParameter);
  throwIf(!isWithin(percent, boundaries.swayingPercentMin, boundaries.swayingPercentMax),
          "Incorrect parameter value for swaying filter percent", invalidParameter);
  filters.push_back(std::make_unique<SwayingFilter>(uid, narrow(percent), active));
}

void GuardFactory::createPresets(const json_t* profile) {
  const json_t* array = JsonParser::getArray(profile, "presets");
  const std::size_t count = json_array_size(array);
  throwIf(count > 0 && !CameraInfo::isMechanicalPTZ(),
          "This device is a non-ptz device and the configuration should not contain any presets",
          contradiction);
  throwIf(count > static_cast<std::size_t>(boundaries.presetsPerProfileMax),
          "The configuration contains too many presets", contradiction);
  for (std::size_t i = 0; i < count; ++i) {
    const json_t* entry = json_array_get(array, i);
    throwIf(entry == nullptr, "Could not parse the preset", missingParameter);
    json_int_t number = 0;
    throwIf(!unpack(entry, "I", &number), "Could not unpack preset number", missingParameter);
    throwIf(!isWithin(number, PRESET_NOT_BOUND, std::numeric_limits<std::int16_t>::max()),
            "Could not unpack preset number", invalidParameter);
    presets.push_back(static_cast<std::int16_t>(number));
  }
}

std::int32_t GuardFactory::getPreset() const {
  return presets.empty() ? std::int32_t{PRESET_NOT_BOUND} : presets.front();
}

void GuardFactory::createPerspectiveBars(const json_t* profile) {
  const json_t* array = JsonParser::getArray(profile, "perspective");
  for (std::size_t i = 0; i < json_array_size(array); ++i) {
    const json_t* bar = json_array_get(array, i);
    throwIf(bar == nullptr, "Could not get the perspective bar", missingParameter);
    createOnePerspectiveBar(bar);
  }
}

void GuardFactory::createOnePerspectiveBar(const json_t* bar) {
  const char* type = nullptr;
  json_int_t height = 0;
  throwIf(!unpack(bar, "{s:s, s:I}", "type", &type, "height", &height),
          "Could not unpack a perspective bar", missingParameter);
  using Height = std::numeric_limits<std::int32_t>;
  throwIf(!isWithin(height, Height::min(), Height::max()), "Could not unpack a perspective bar",
          invalidParameter);
  const json_t* data = json_object_get(bar, "data");
  throwIf(data == nullptr, "Could not get the data for a perspective bar", invalidParameter);
  throwIf(std::string(type) != PERSPECTIVE_BAR_TYPE, "Unknown type of perspective.",
          invalidParameter);
  createPerspectivePoints(data, static_cast<std::int32_t>(height));
}

// A bar is measured along the upward direction of the picture: y, or x when it is turned sideways.
void GuardFactory::createPerspectivePoints(const json_t* points, std::int32_t height) {
  throwIf(json_array_size(points) != PERSPECTIVE_POINTS, "A perspective bar should have two points",
          invalidParameter);
  const bool isSideways = rotation == 90 || rotation == 270;
  std::array<std::int32_t, PERSPECTIVE_POINTS> values{};
  for (std::size_t i = 0; i < PERSPECTIVE_POINTS; ++i) {
    const json_t* point = json_array_get(points, i);
    throwIf(point == nullptr, "Could not get data for a perspective bar", missingParameter);
    double x = 0.0;
    double y = 0.0;
    throwIf(!unpack(point, "[FF!]", &x, &y), "Could not unpack a point for a perspective bar",
            invalidParameter);
    if (!isInPicture(x) || !isInPicture(y)) {
      syslog(LOG_ERR, "Perspective parameter is out of bounds: x=%f y=%f\n", x, y);
      throwIf(true, "Incorrect perspective point value", invalidParameter);
    }
    values[i] = toSceneValue(isSideways ? x : y);
  }
  perspectiveBars.emplace_back(values[0], values[1], height);
}

template <typename Filter>
bool GuardFactory::hasActiveFilter() const {
  return std::ranges::any_of(filters, [](const auto& filter) {
    const auto* candidate = dynamic_cast<const Filter*>(filter.get());
    return candidate != nullptr && candidate->isEnabled();
  });
}

void GuardFactory::validateConfiguration() {
  const bool perspective = hasActiveFilter<SizeFilterPerspective>();
  throwIf(perspective && hasActiveFilter<SizeFilterPercent>(),
          "Only one type of size filter can be active", contradiction);
  throwIf(perspective && perspectiveBars.size() < 2,
          "A valid perspective is required too use the size perspective filter", contradiction);
}

void GuardFactory::addFiltersTo(Guard& guard) const {
  for (const auto& filter : filters) {
    guard.addExclusionFilter(filter->clone());
  }
}
