#include "fuzz/configuration_rules.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>

namespace fuzz {
namespace {

using Json = const json_t*;

Json member(Json object, const char* key) {
  return json_object_get(object, key);
}

std::vector<Json> elementsOf(Json array) {
  std::vector<Json> elements;
  for (std::size_t i = 0; i < json_array_size(array); ++i) {
    elements.push_back(json_array_get(array, i));
  }
  return elements;
}

bool isInteger(Json value, json_int_t low, json_int_t high) {
  return json_is_integer(value) && json_integer_value(value) >= low &&
         json_integer_value(value) <= high;
}

constexpr json_int_t DAY = 86'400'000'000;  // microseconds

bool is32Bit(Json value) {
  return isInteger(value, INT32_MIN, INT32_MAX);
}

std::int32_t integerOf(Json value) {
  return static_cast<std::int32_t>(json_integer_value(value));
}

std::optional<std::string> textOf(Json value) {
  if (!json_is_string(value)) {
    return std::nullopt;
  }
  return std::string(json_string_value(value));
}

// ---- Cameras ----

bool isCamera(Json camera, const DeviceFacts& device) {
  constexpr json_int_t ROTATIONS[] = {0, 90, 180, 270};
  return json_is_boolean(member(camera, "active")) && json_is_integer(member(camera, "rotation")) &&
         std::ranges::count(ROTATIONS, json_integer_value(member(camera, "rotation"))) == 1 &&
         isInteger(member(camera, "id"), 0, device.cameras);
}

bool areCameras(Json cameras, const DeviceFacts& device) {
  const std::vector<Json> all = elementsOf(cameras);
  std::set<std::int32_t> ids;
  for (const Json camera : all) {
    if (!isCamera(camera, device) || !ids.insert(integerOf(member(camera, "id"))).second) {
      return false;
    }
  }
  return !all.empty() && all.size() <= static_cast<std::size_t>(device.cameras);
}

// ---- Profiles ----

bool isBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

std::string trimmed(const std::string& text) {
  std::size_t first = 0;
  std::size_t last = text.size();
  while (first < last && isBlank(text[first])) {
    ++first;
  }
  while (last > first && isBlank(text[last - 1])) {
    --last;
  }
  return text.substr(first, last - first);
}

// 1 to 15 characters, of which those of several bytes count once.
bool isName(Json value) {
  const auto text = textOf(value);
  if (!text) {
    return false;
  }
  const std::string name = trimmed(*text);
  const auto characters = std::ranges::count_if(
      name, [](char c) { return (static_cast<unsigned char>(c) & 0xc0U) != 0x80U; });
  return characters >= 1 && characters <= 15 && name.find_first_of("<>") == std::string::npos;
}

bool isVertex(Json point) {
  const auto isCoordinate = [](Json value) {
    return json_is_number(value) && json_number_value(value) >= -1.0 &&
           json_number_value(value) <= 1.0;
  };
  return json_array_size(point) == 2 && std::ranges::all_of(elementsOf(point), isCoordinate);
}

bool isArea(Json data) {
  const std::size_t count = json_array_size(data);
  return count >= 3 && count <= 20 && std::ranges::all_of(elementsOf(data), isVertex);
}

// One include area and nothing else.
bool areTriggers(Json triggers) {
  return json_array_size(triggers) == 1 &&
         textOf(member(json_array_get(triggers, 0), "type")) == "includeArea" &&
         isArea(member(json_array_get(triggers, 0), "data"));
}

bool isPair(Json data, json_int_t low, json_int_t high) {
  return json_array_size(data) == 2 && isInteger(json_array_get(data, 0), low, high) &&
         isInteger(json_array_get(data, 1), low, high);
}

bool isFilter(Json filter) {
  const std::string type = textOf(member(filter, "type")).value_or("");
  const Json data = member(filter, "data");
  if (type == "excludeArea") {
    return isArea(data);
  }
  if (!json_is_boolean(member(filter, "active"))) {
    return false;
  }
  if (type == "sizePercentage") {
    return isPair(data, 3, 100);
  }
  if (type == "timeShortLivedLimit") {
    return isInteger(data, 1, 5);
  }
  if (type == "distanceSwayingObject") {
    return isInteger(data, 3, 20);
  }
  // There is no perspective that it could use.
  return type == "sizePerspective" && isPair(data, 0, INT32_MAX) &&
         json_is_false(member(filter, "active"));
}

bool areFilters(Json filters) {
  const std::vector<Json> all = elementsOf(filters);
  const auto excluded = std::ranges::count_if(
      all, [](Json filter) { return textOf(member(filter, "type")) == "excludeArea"; });
  return json_is_array(filters) && std::ranges::all_of(all, isFilter) && excluded <= 3;
}

// What is no list holds no presets.
bool arePresets(Json presets, const DeviceFacts& device) {
  const std::size_t count = json_array_size(presets);
  return count == 0 ||
         (count == 1 && device.hasPresets && isInteger(json_array_get(presets, 0), -2, INT16_MAX));
}

bool isProfile(Json profile, const DeviceFacts& device) {
  const Json duration = member(profile, "xinternalEventDuration");
  const Json perspective = member(profile, "perspective");
  const bool hasPerspective =
      perspective != nullptr && (!json_is_array(perspective) || json_array_size(perspective) > 0);
  return isName(member(profile, "name")) && is32Bit(member(profile, "uid")) &&
         is32Bit(member(profile, "camera")) && is32Bit(member(profile, "priority")) &&
         (duration == nullptr || isInteger(duration, -DAY, DAY)) && !hasPerspective &&
         areTriggers(member(profile, "triggers")) && areFilters(member(profile, "filters")) &&
         arePresets(member(profile, "presets"), device);
}

bool areProfiles(Json profiles, Json cameras, const DeviceFacts& device) {
  std::set<std::int32_t> ids;
  for (const Json camera : elementsOf(cameras)) {
    ids.insert(integerOf(member(camera, "id")));
  }
  std::set<std::int32_t> uids;
  std::map<std::int32_t, int> counts;
  for (const Json profile : elementsOf(profiles)) {
    if (!isProfile(profile, device)) {
      return false;
    }
    const std::int32_t camera = integerOf(member(profile, "camera"));
    if (!uids.insert(integerOf(member(profile, "uid"))).second || !ids.contains(camera) ||
        ++counts[camera] > device.profilesPerCamera) {
      return false;
    }
  }
  return json_is_array(profiles);
}

}  // namespace

JsonAutoPtr decode(const std::string& text) {
  return JsonAutoPtr(json_loads(text.c_str(), 0, nullptr));
}

bool isAcceptable(const json_t* document, const DeviceFacts& device) {
  const Json params = member(document, "params");
  return areCameras(member(params, "cameras"), device) &&
         areProfiles(member(params, "profiles"), member(params, "cameras"), device);
}

std::vector<CameraFacts> activeCamerasOf(const json_t* document) {
  std::vector<CameraFacts> cameras;
  for (const Json camera : elementsOf(member(member(document, "params"), "cameras"))) {
    if (!json_is_true(member(camera, "active"))) {
      continue;
    }
    cameras.push_back({integerOf(member(camera, "id")), integerOf(member(camera, "rotation"))});
  }
  return cameras;
}

std::vector<ProfileFacts> profilesOf(const json_t* document) {
  std::vector<ProfileFacts> profiles;
  for (const Json profile : elementsOf(member(member(document, "params"), "profiles"))) {
    profiles.push_back({.uid = integerOf(member(profile, "uid")),
                        .camera = integerOf(member(profile, "camera")),
                        .priority = integerOf(member(profile, "priority")),
                        .name = trimmed(textOf(member(profile, "name")).value_or(""))});
  }
  return profiles;
}

}  // namespace fuzz
