#include "config/persistent_config_handler.h"

#include <confutils.h>
#include <glib.h>
#include <syslog.h>

#include <algorithm>
#include <limits>
#include <optional>

#include "base/glib_ptr.h"
#include "config/json_file.h"
#include "config/json_parser.h"

namespace {

// Nothing, with the error, when the file cannot be read.
std::optional<std::string> readFile(const std::string& path, ErrorSlot& error) {
  gchar* contents = nullptr;
  gsize length = 0;
  if (!g_file_get_contents(path.c_str(), &contents, &length, error.out())) {
    return std::nullopt;
  }
  const GTextPtr owned(contents);
  return std::string(contents, length);
}

bool writeFile(const std::string& path, const std::string& text, ErrorSlot& error) {
  return confutils_set_file_contents_with_sync(path.c_str(), text.data(),
                                               static_cast<gssize>(text.size()), error.out());
}

}  // namespace

std::string PersistentConfigHandler::load(const std::string& path) {
  ErrorSlot error;
  if (const std::optional<std::string> text = readFile(path, error)) {
    return *text;
  }
  if (g_error_matches(error.get(), G_FILE_ERROR, G_FILE_ERROR_NOENT)) {
    return {};
  }
  syslog(LOG_ERR, "Failed to read %s (%s)\n", path.c_str(), error.message().c_str());
  return error.message();
}

bool PersistentConfigHandler::keepAside(const std::string& path) {
  const std::string asidePath = path + ".refused";
  ErrorSlot error;
  const std::optional<std::string> text = readFile(path, error);
  // Every start meets the same document again until somebody sets another one.
  ErrorSlot ignored;
  const bool isKept =
      text && (readFile(asidePath, ignored) == text || writeFile(asidePath, *text, error));
  if (isKept) {
    syslog(LOG_ERR, "The configuration in %s was refused, a copy is kept in %s\n", path.c_str(),
           asidePath.c_str());
  } else {
    syslog(LOG_ERR, "The configuration in %s was refused, no copy could be kept in %s (%s)\n",
           path.c_str(), asidePath.c_str(), error.message().c_str());
  }
  return isKept;
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
