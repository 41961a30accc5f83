#include "config/json_file.h"

#include <confutils.h>
#include <glib.h>
#include <syslog.h>

#include "base/glib_ptr.h"
#include "base/json_auto_ptr.h"
#include "base/json_text.h"
#include "config/constants.h"

namespace {

// To be asked, although the document was readable: rounding the largest reals up to their fourth
// digit gives numbers beyond all reals, which no reader takes.
bool isReadable(const std::string& text) {
  return static_cast<bool>(JsonAutoPtr(json_loads(text.c_str(), 0, nullptr)));
}

}  // namespace

JsonFileResult_e writeJsonFile(const std::string& path, const json_t* document) {
  const std::string text = toText(document, constants::JSON_DUMP_FLAGS);
  if (!isReadable(text)) {
    return JsonFileResult_e::notSerialised;
  }
  ErrorSlot error;
  if (confutils_set_file_contents_with_sync(path.c_str(), text.c_str(), -1, error.out())) {
    return JsonFileResult_e::written;
  }
  syslog(LOG_ERR, "Failed to write %s to disk (%s)\n", path.c_str(), error.message().c_str());
  return JsonFileResult_e::notWritten;
}
