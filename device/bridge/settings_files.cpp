#include "bridge/settings_files.h"

#include <glib.h>
#include <sys/types.h>

#include <cstdlib>

#include <system_error>
#include <utility>

#include "base/glib_ptr.h"
#include "web_server/json_values.h"

namespace device::bridge {

namespace {

constexpr char EMPTY[] = "{}";

std::string textOf(const json_t* json) {
  char* text = json_dumps(json, JSON_INDENT(2));
  std::string result = text != nullptr ? std::string(text) + "\n" : EMPTY;
  free(text);
  return result;
}

// No word of what is written stands in the error.
void write(const std::filesystem::path& file, const std::string& text, mode_t mode) {
  ErrorSlot error;
  const auto flags = static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT |
                                                        G_FILE_SET_CONTENTS_DURABLE);
  if (g_file_set_contents_full(file.c_str(), text.data(), static_cast<gssize>(text.size()), flags,
                               static_cast<int>(mode), error.out()) == FALSE) {
    throw SettingsError("Cannot write " + file.string() + ": " + error.message());
  }
}

std::string textOf(const Credentials& credentials) {
  const JsonAutoPtr all(json_object());
  for (const auto& [name, login] : credentials) {
    json_object_set_new(all.get(), name.c_str(),
                        json_pack("{s:o, s:o}", "user", jsonText(login.user), "password",
                                  jsonText(login.password)));
  }
  return textOf(all.get());
}

// Every login that the settings name is there.
void checkLogins(const BridgeSettings& settings, const Credentials& credentials) {
  loginOf(credentials, settings.head.address.login);
  for (const OverviewSettings& camera : settings.cameras) {
    loginOf(credentials, camera.address.login);
  }
}

}  // namespace

SettingsFiles::SettingsFiles(std::filesystem::path settingsFile,
                             std::filesystem::path credentialsFile)
    : settingsFile(std::move(settingsFile)),
      credentialsFile(std::move(credentialsFile)),
      json(json_object()) {
  if (std::filesystem::exists(this->settingsFile)) {
    settings = readSettings(this->settingsFile);
    json = JsonAutoPtr(json_load_file(this->settingsFile.c_str(), JSON_REJECT_DUPLICATES, nullptr));
  }
  if (std::filesystem::exists(this->credentialsFile)) {
    credentials = readCredentials(this->credentialsFile);
  }
  checkLogins(settings, credentials);
}

void SettingsFiles::change(const Edit& edit, const Credentials& added) {
  JsonAutoPtr edited(json_deep_copy(json.get()));
  edit(edited.get());
  const std::string text = textOf(edited.get());
  BridgeSettings next = settingsOf(text, settingsFile.filename().string());
  Credentials all = credentials;
  for (const auto& [name, login] : added) {
    all[name] = login;
  }
  checkLogins(next, all);
  const bool hadCredentials = std::filesystem::exists(credentialsFile);
  if (!added.empty()) {
    write(credentialsFile, textOf(all), CREDENTIALS_MODE);
  }
  try {
    write(settingsFile, text, SETTINGS_MODE);
  } catch (const SettingsError&) {
    if (!added.empty()) {
      takeCredentialsBack(hadCredentials);
    }
    throw;
  }
  settings = std::move(next);
  credentials = std::move(all);
  json = std::move(edited);
}

// They are written first, as settings that name a login which is not there would not be read.
void SettingsFiles::takeCredentialsBack(bool hadCredentials) const {
  if (!hadCredentials) {
    std::error_code ignored;  // one too many does no harm
    std::filesystem::remove(credentialsFile, ignored);
    return;
  }
  try {
    write(credentialsFile, textOf(credentials), CREDENTIALS_MODE);
  } catch (const SettingsError&) {
    // Nothing can be written any more, which the caller is told. The next change writes them anew.
  }
}

}  // namespace device::bridge
