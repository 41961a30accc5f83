#include "camera/configuration_parser.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <utility>

#include "config/json_parser.h"
#include "events/camera_info.h"

namespace {

using enum StatusCode_e;

constexpr std::array<json_int_t, 4> ROTATIONS{0, 90, 180, 270};

}  // namespace

int ConfigurationParserBase::parse(const std::string& text, const DataBoundaries& boundaries) {
  clear();
  try {
    parseDocument(decode(text).get(), boundaries);
  } catch (const StatusException& problem) {
    syslog(LOG_ERR, "%s\n", problem.what());
    parseStatus = problem.getStatus();
  }
  return static_cast<int>(parseStatus);
}

void ConfigurationParserBase::parseDocument(const json_t* document,
                                            const DataBoundaries& boundaries) {
  clear();
  try {
    const json_t* params = getParams(document);
    createCameras(params);
    createGuardFactories(params, boundaries);
    checkParsedData(boundaries);
  } catch (const StatusException& problem) {
    clear();
    parseStatus = problem.getStatus();
    throw;
  }
}

void ConfigurationParserBase::clear() {
  cameras.clear();
  factories.clear();
  parseStatus = ok;
}

JsonAutoPtr ConfigurationParserBase::decode(const std::string& text) {
  JsonParser parser;
  const bool isDecoded = parser.decode(text);
  throwIf(!isDecoded, "Unable to decode Json: " + parser.getError(), malformed);
  return JsonAutoPtr(json_incref(parser.get()));
}

const json_t* ConfigurationParserBase::getParams(const json_t* document) {
  const json_t* params = json_object_get(document, "params");
  throwIf(params == nullptr, "Could not get 'params': ", missingParameter);
  return params;
}

void ConfigurationParserBase::createCameras(const json_t* params) {
  const json_t* array = JsonParser::getArray(params, "cameras");
  throwIf(array == nullptr, "Could not get 'cameras': ", missingParameter);
  const int cameraCount = CameraInfo::getNbrOfCameras();
  throwIf(json_array_size(array) > static_cast<std::size_t>(std::max(cameraCount, 0)),
          "The configuration contains more cameras than device supports", invalidParameter);
  for (std::size_t i = 0; i < json_array_size(array); ++i) {
    json_t* element = json_array_get(array, i);
    throwIf(element == nullptr, "Could not get data for a camera", missingParameter);
    int active = 0;
    json_int_t id = 0;
    json_int_t rotation = 0;
    throwIf(json_unpack(element, "{s:b, s:I, s:I}", "active", &active, "id", &id, "rotation",
                        &rotation) != 0,
            "Could not unpack data for the camera", missingParameter);
    checkCgiCamera(id, rotation, cameraCount);
    cameras.push_back(
        {static_cast<std::int32_t>(id), static_cast<std::int32_t>(rotation), active != 0});
  }
  throwIf(cameras.empty(), "No cameras found", missingParameter);
}

void ConfigurationParserBase::checkCgiCamera(json_int_t id, json_int_t rotation,
                                             int cameraCount) const {
  throwIf(std::ranges::find(ROTATIONS, rotation) == ROTATIONS.end(),
          "Invalid rotation parameter in configuration file", invalidParameter);
  throwIf(id < 0 || id > cameraCount, "Invalid camera id parameter in configuration file",
          invalidParameter);
  throwIf(findCamera(id) != nullptr, "Duplicate cameras found", contradiction);
}

const ConfigurationParserBase::ParsedCamera* ConfigurationParserBase::findCamera(
    json_int_t id) const {
  const auto found = std::ranges::find(cameras, id, &ParsedCamera::id);
  return found == cameras.end() ? nullptr : &*found;
}

void ConfigurationParserBase::createGuardFactories(const json_t* params,
                                                   const DataBoundaries& boundaries) {
  const json_t* array = JsonParser::getArray(params, "profiles");
  throwIf(array == nullptr, "Could not get 'profiles': ", missingParameter);
  for (std::size_t i = 0; i < json_array_size(array); ++i) {
    const json_t* profile = json_array_get(array, i);
    throwIf(profile == nullptr, "Could not get data for a profile", missingParameter);
    const ParsedCamera* camera = findCamera(parseCameraId(profile));
    throwIf(camera == nullptr, "Found invalid rotation for a camera", contradiction);
    auto factory = createGuardFactory(profile, camera->rotation, boundaries);
    throwIf(!factory->isOk(), "A guard factory is not ok", missingParameter);
    factories.push_back(std::move(factory));
  }
}

json_int_t ConfigurationParserBase::parseCameraId(const json_t* profile) {
  json_int_t id = 0;
  throwIf(json_unpack(const_cast<json_t*>(profile), "{s:I}", "camera", &id) != 0,
          "Missing camera id paramter", missingParameter);
  return id;
}

void ConfigurationParserBase::checkParsedData(const DataBoundaries& boundaries) const {
  throwIf(!areAllProfileUidsUnique(), "Found profiles with the same uid", contradiction);
  throwIf(!areAllProfileCamerasKnown(), "Found a profile that has an unknown camera",
          contradiction);
  throwIf(doesAnyCameraHaveTooManyProfiles(boundaries.getMaxNumberProfilesPerCamera()),
          "A camera has too many profiles attached to it", contradiction);
}

bool ConfigurationParserBase::areAllProfileUidsUnique() const {
  std::set<std::int32_t> uids;
  return std::ranges::all_of(
      factories, [&uids](const auto& factory) { return uids.insert(factory->getUid()).second; });
}

bool ConfigurationParserBase::areAllProfileCamerasKnown() const {
  return std::ranges::all_of(factories, [this](const auto& factory) {
    return findCamera(factory->getCamera()) != nullptr;
  });
}

bool ConfigurationParserBase::doesAnyCameraHaveTooManyProfiles(std::int32_t maximum) const {
  std::map<std::int32_t, std::int32_t> counts;
  return std::ranges::any_of(factories, [&counts, maximum](const auto& factory) {
    return ++counts[factory->getCamera()] > maximum;
  });
}

CameraConfigurationContainer ConfigurationParserBase::createConfigurations() const {
  CameraConfigurationContainer configurations;
  for (const ParsedCamera& camera : cameras) {
    if (!camera.active) {
      continue;
    }
    CameraConfiguration::Guards guards;
    for (const auto& factory : factories) {
      if (factory->getCamera() == camera.id) {
        guards.push_back(factory->createGuard());
      }
    }
    configurations.insert(CameraConfiguration(camera.id, camera.rotation, std::move(guards)));
  }
  return configurations;
}
