#ifndef DEVICE_BRIDGE_BRIDGE_SETTINGS_H
#define DEVICE_BRIDGE_BRIDGE_SETTINGS_H

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "bridge/head_map.h"
#include "bridge/scene_maker.h"
#include "onvif_client/login.h"
#include "onvif_client/metadata_document.h"

namespace device::bridge {

// Settings that cannot be used; what() names the file, the place in it and what is wrong.
class SettingsError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Where a camera is and how it is entered.
struct CameraAddress {
  std::string device;   // of the device service
  std::string login;    // name of an entry of the credentials; empty: without a user
  std::string profile;  // token; empty: the first one that fits

  bool operator==(const CameraAddress&) const = default;
};

struct HeadSettings {
  CameraAddress address;
  HeadTold told;
  bool believesMoves = true;        // what the head says of its motion
  bool heedsTimeout = true;         // it stops by itself when its time is over
  bool usesMetadata = true;         // of the head's profile, for its status
  std::string product;              // for the application; empty: what the camera calls itself
  std::optional<double> statusAge;  // seconds, for the application

  bool operator==(const HeadSettings&) const = default;
};

struct OverviewSettings {
  CameraAddress address;
  std::string name;
  onvif::PixelSize picture{1920, 1080};
  double horizontalFov = 0;  // degrees
  double verticalFov = 0;
  double pan = 0;  // mounting, in the head's angles
  double tilt = 0;
  double roll = 0;
  double offsetX = 0;  // metres from the head
  double offsetY = 0;
  double distortion = 0;  // of the lens, as the parameters of the application have it
  SceneWishes wishes;
  onvif::PixelSize pixels;      // of coordinates that the camera tells in pixels
  std::int64_t leastDelay = 0;  // microseconds
};

struct BridgeSettings {
  HeadSettings head;
  std::vector<OverviewSettings> cameras;  // up to 4
  double mastHeight = 5;                  // metres
  std::string following = "predictive";
  std::map<std::string, std::string> parameters;  // further ones of the application, by full name

  bool hasHead() const { return !head.address.device.empty(); }

  // What has to be set up before anybody can be followed, for the user; empty when nothing has.
  std::string whatIsMissing() const;
};

// Reads a settings file, the form of which is in settings.schema.json; head and cameras may be
// missing as long as they are not set up. Throws SettingsError.
BridgeSettings readSettings(const std::filesystem::path& file);
BridgeSettings settingsOf(const std::string& json, const std::string& file);

// The users and passwords of the cameras, by name: {"NAME": {"user": "...", "password": "..."}}.
// The file must be readable by its owner alone. Throws SettingsError, without any word of the
// file's.
using Credentials = std::map<std::string, onvif::Login>;
Credentials readCredentials(const std::filesystem::path& file);

// Throws SettingsError for a name that is not there; an empty name is nobody.
onvif::Login loginOf(const Credentials& credentials, const std::string& name);

}  // namespace device::bridge

#endif
