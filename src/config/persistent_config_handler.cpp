#include "config/persistent_config_handler.h"

#include <glib.h>
#include <syslog.h>

#include <algorithm>
#include <limits>

#include "config/json_file.h"
#include "config/json_parser.h"

std::string PersistentConfigHandler::load(const std::string& path) {
  gchar* contents = nullptr;
  gsize length = 0;
  GError* error = nullptr;
  if (g_file_get_contents(path.c_str(), &contents, &length, &error)) {
    std::string text(contents, length);
    g_free(contents);
    return text;
  }
  const bool isMissing = g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_NOENT);
  std::string text;
  if (!isMissing) {
    syslog(LOG_ERR, "Failed to read %s (%s)\n", path.c_str(), error->message);
    text = error->message;
  }
  g_clear_error(&error);
  return text;
}

bool PersistentConfigHandler::save(const json_t* document, const std::string& path) {
  const JsonFileResult_e result = writeJsonFile(path, document);
  if (result == JsonFileResult_e::notSerialised) {
    syslog(LOG_ERR, "The document for %s cannot be serialised\n", path.c_str());
  }
  return result == JsonFileResult_e::written;
}

std::int32_t PersistentConfigHandler::getConfigurationStatus(const std::string& path) {
  JsonParser parser;
  json_int_t status = 0;
  if (!parser.decode(load(path)) || json_unpack(json_object_get(parser.get(), "params"), "{s:I}",
                                                "configurationStatus", &status) != 0) {
    return 0;
  }
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(std::clamp<json_int_t>(status, Limits::min(), Limits::max()));
}
