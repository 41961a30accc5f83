#include "addon/libs/vigil_pack_lib/factory/guard_factory.h"

#include <glib.h>
#include <syslog.h>

#include <array>
#include <limits>
#include <utility>

#include "addon/libs/vigil_pack_lib/factory/entry_kinds.h"
#include "addon/libs/vigil_pack_lib/profile/entry_values.h"
#include "addon/libs/vigil_pack_lib/profile/shape.h"
#include "base/text.h"
#include "config/json_parser.h"
#include "config/preset.h"
#include "config/status_exception.h"
#include "events/camera_info.h"

namespace {

constexpr const char* PERSPECTIVE_BAR_TYPE = "bar";
constexpr std::size_t PERSPECTIVE_POINTS = 2;

using enum StatusCode_e;

constexpr std::string_view BLANKS = " \t\n\f\r";

}  // namespace

GuardFactory::GuardFactory(int rotation, const DataBoundaries& boundaries)
    : GuardFactory(rotation, boundaries, DEFAULT_EVENT_DURATION) {}

GuardFactory::GuardFactory(int rotation, const DataBoundaries& boundaries,
                           std::int64_t eventDuration)
    : ParsedProfile(rotation, boundaries, eventDuration) {}

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
  name = text::trimmed(text.c_str(), BLANKS);
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
  triggerCount = json_array_size(triggers);
  throwIf(triggerCount == 0, "Could not find any triggers", contradiction);
  for (std::size_t i = 0; i < triggerCount; ++i) {
    const json_t* trigger = json_array_get(triggers, i);
    throwIf(trigger == nullptr, "Could not get the trigger data", missingParameter);
    createOneTrigger(trigger);
  }
}

void GuardFactory::createOneTrigger(const json_t* trigger) {
  const char* type = nullptr;
  throwIf(!unpack(trigger, "{s:s}", "type", &type), "Could not unpack trigger name",
          missingParameter);
  const EntryKind* kind = findEntryKind(triggerRows(), type);
  throwIf(kind == nullptr, std::string("Unknown trigger ") + type, missingParameter);
  kind->parse(trigger, *this);
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
  const char* type = nullptr;
  throwIf(!unpack(filter, "{s:s}", "type", &type), "Could not unpack exclusion filter name",
          missingParameter);
  const EntryKind* kind = findEntryKind(filterRows(), type);
  throwIf(kind == nullptr, std::string("Unknown exclusion filter: ") + type, invalidParameter);
  kind->parse(filter, *this);
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

void GuardFactory::validateConfiguration() {
  for (const EntryRows rows : {triggerRows(), filterRows()}) {
    for (const EntryRow& row : rows) {
      if (row.kind->validate != nullptr) {
        row.kind->validate(*this);
      }
    }
  }
}

void GuardFactory::addFiltersTo(Guard& guard) const {
  for (const auto& filter : filters) {
    guard.addExclusionFilter(filter->clone());
  }
}
