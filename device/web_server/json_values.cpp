#include "web_server/json_values.h"

#include <glib.h>

#include "base/glib_ptr.h"
#include "base/json_text.h"

namespace device {

namespace {

constexpr std::size_t DIGITS = 9;  // of a real number

}  // namespace

std::string lineOf(const json_t* json) {
  const std::string text =
      toText(json, JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(DIGITS));
  return text.empty() ? "null" : text;
}

json_t* jsonText(const std::string& text) {
  const GTextPtr valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
  return json_string(valid.get());
}

}  // namespace device
