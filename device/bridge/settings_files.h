#ifndef DEVICE_BRIDGE_SETTINGS_FILES_H
#define DEVICE_BRIDGE_SETTINGS_FILES_H

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>

#include "base/json_auto_ptr.h"
#include "bridge/bridge_settings.h"

namespace device::bridge {

// The settings and the credentials on disk, and as they are there. Files are replaced as a whole,
// so that a power failure leaves the former or the new ones.
class SettingsFiles {
 public:
  static constexpr mode_t SETTINGS_MODE = 0644;
  static constexpr mode_t CREDENTIALS_MODE = 0600;

  // Reads both; one that is not there yet is an empty one. Throws SettingsError.
  SettingsFiles(std::filesystem::path settingsFile, std::filesystem::path credentialsFile);

  const BridgeSettings& getSettings() const { return settings; }
  const Credentials& getCredentials() const { return credentials; }

  // As they stand in the file; without passwords.
  const json_t* getJson() const { return json.get(); }

  // Changes the settings' JSON and adds credentials (those of the same name are replaced). Throws
  // SettingsError for what cannot be used or written, and everything is as before.
  using Edit = std::function<void(json_t* root)>;
  void change(const Edit& edit, const Credentials& added = {});

 private:
  void takeCredentialsBack(bool hadCredentials) const;

  std::filesystem::path settingsFile;
  std::filesystem::path credentialsFile;
  JsonAutoPtr json;
  BridgeSettings settings;
  Credentials credentials;
};

}  // namespace device::bridge

#endif
