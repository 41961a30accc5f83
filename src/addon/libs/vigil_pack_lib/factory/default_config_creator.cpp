#include "addon/libs/vigil_pack_lib/factory/default_config_creator.h"

#include <syslog.h>

#include "addon/libs/vigil_pack_lib/factory/entry_kinds.h"
#include "events/camera_info.h"

namespace {

constexpr const char* SECOND_CAMERA_MODEL = "Z9901";
constexpr int FIRST_CONFIGURATION_STATUS = 0;

bool logUnless(bool success, const char* message) {
  if (!success) {
    syslog(LOG_ERR, "%s\n", message);
  }
  return success;
}

// Takes the value in any case.
void setMember(json_t* object, const char* key, json_t* value, const char* message) {
  logUnless(json_object_set_new(object, key, value) == 0, message);
}

json_t* createCameras(int count) {
  const bool onlySecondActive =
      CameraInfo::getProdNbr().find(SECOND_CAMERA_MODEL) != std::string::npos;
  const int activeCamera = onlySecondActive ? 2 : 1;
  JsonAutoPtr cameras(json_array());
  for (int id = 1; id <= count; ++id) {
    json_t* camera = json_pack("{s:i, s:b, s:i}", "id", id, "active",
                               static_cast<int>(id == activeCamera), "rotation", 0);
    if (logUnless(camera != nullptr, "Cannot create a camera")) {
      logUnless(json_array_append_new(cameras.get(), camera) == 0,
                "Cannot add a camera to the array");
    }
  }
  return cameras.release();
}

// Null, logged, when one of the entries is missing.
json_t* createEntries(EntryRows rows, const DefaultValues& defaults, const char* message) {
  JsonAutoPtr entries(json_array());
  for (const EntryKind* kind : entryKindsOfNewProfile(rows)) {
    if (json_array_append_new(entries.get(), kind->defaultEntry(defaults).release()) != 0) {
      entries = JsonAutoPtr();
    }
  }
  logUnless(static_cast<bool>(entries), message);
  return entries.release();
}

json_t* createEmptyArray(const char* message) {
  json_t* array = json_array();
  logUnless(array != nullptr, message);
  return array;
}

}  // namespace

DefaultConfigCreator::DefaultConfigCreator(bool withPresets) : withPresets(withPresets) {}

JsonAutoPtr DefaultConfigCreator::create(const DefaultValues& defaults,
                                         const std::string& apiVersion) const {
  JsonAutoPtr document(json_pack("{s:s, s:s, s:s}", "apiVersion", apiVersion.c_str(), "context", "",
                                 "method", "setConfiguration"));
  logUnless(static_cast<bool>(document), "Cannot create the header for the default configuration");

  const int cameraCount = CameraInfo::getNbrOfCameras();
  JsonAutoPtr profiles(json_array());
  for (int camera = 1; camera <= cameraCount; ++camera) {
    json_array_append_new(profiles.get(), createProfile(defaults, camera).release());
  }
  json_t* status = json_integer(FIRST_CONFIGURATION_STATUS);
  logUnless(status != nullptr, "Cannot pack the configuration status");

  JsonAutoPtr params(json_object());
  setMember(params.get(), "cameras", createCameras(cameraCount),
            "Cannot add the cameras to the default configuration");
  setMember(params.get(), "profiles", profiles.release(),
            "Cannot add the profiles to the default configuration");
  setMember(params.get(), "configurationStatus", status,
            "Cannot add the configuration status to the default configuration");
  setMember(document.get(), "params", params.release(),
            "Cannot add the parameters to the default configuration");
  return document;
}

JsonAutoPtr DefaultConfigCreator::createProfile(const DefaultValues& defaults, int camera) const {
  JsonAutoPtr profile(
      json_pack("{s:i, s:i, s:s}", "uid", camera, "camera", camera, "name", "Profile 1"));
  setMember(profile.get(), "triggers",
            createEntries(triggerRows(), defaults, "Cannot create the default triggers array"),
            "Cannot add the triggers to the profile");
  setMember(profile.get(), "filters",
            createEntries(filterRows(), defaults, "Cannot create the default filters array"),
            "Cannot add the filters to the profile");
  if (withPresets) {
    setMember(profile.get(), "presets", createEmptyArray("Cannot create the default presets array"),
              "Cannot add the presets array to the profile");
  }
  setMember(profile.get(), "perspective",
            createEmptyArray("Cannot create the default perspective array"),
            "Cannot add the perspective array to the profile");
  return profile;
}
