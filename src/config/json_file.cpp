#include "config/json_file.h"

#include <confutils.h>
#include <glib.h>
#include <syslog.h>

#include <cstdlib>
#include <memory>

#include "base/json_auto_ptr.h"
#include "config/constants.h"

namespace {

struct Free {
  void operator()(char* text) const { std::free(text); }
};

// Rounding the largest reals up gives numbers beyond all reals, which no reader takes.
bool isReadable(const char* text) {
  return static_cast<bool>(JsonAutoPtr(json_loads(text, 0, nullptr)));
}

}  // namespace

JsonFileResult_e writeJsonFile(const std::string& path, const json_t* document) {
  const std::unique_ptr<char, Free> text(json_dumps(document, constants::JSON_DUMP_FLAGS));
  if (text == nullptr || !isReadable(text.get())) {
    return JsonFileResult_e::notSerialised;
  }
  GError* error = nullptr;
  if (confutils_set_file_contents_with_sync(path.c_str(), text.get(), -1, &error)) {
    return JsonFileResult_e::written;
  }
  syslog(LOG_ERR, "Failed to write %s to disk (%s)\n", path.c_str(),
         error != nullptr ? error->message : "unknown error");
  g_clear_error(&error);
  return JsonFileResult_e::notWritten;
}
