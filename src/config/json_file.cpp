#include "config/json_file.h"

#include <confutils.h>
#include <glib.h>
#include <syslog.h>

#include <cstdlib>
#include <memory>

#include "config/constants.h"

namespace {

struct Free {
  void operator()(char* text) const { std::free(text); }
};

}  // namespace

std::optional<std::string> writeJsonFile(const std::string& path, const json_t* document) {
  const std::unique_ptr<char, Free> text(json_dumps(document, constants::JSON_DUMP_FLAGS));
  if (text == nullptr) {
    return "the document cannot be serialised";
  }
  GError* error = nullptr;
  if (confutils_set_file_contents_with_sync(path.c_str(), text.get(), -1, &error)) {
    return std::nullopt;
  }
  const std::string reason = error != nullptr ? error->message : "unknown error";
  g_clear_error(&error);
  syslog(LOG_ERR, "Failed to write %s to disk (%s)\n", path.c_str(), reason.c_str());
  return reason;
}
