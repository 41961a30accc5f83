#include "web_server/json_ptr.h"

#include <glib.h>

#include <cstdlib>

#include "services/glib_ptr.h"

namespace device {

namespace {

constexpr std::size_t DIGITS = 9;  // of a real number

}  // namespace

std::string toText(const json_t* json) {
  struct Free {
    void operator()(char* text) const { std::free(text); }
  };
  const std::unique_ptr<char, Free> text(
      json_dumps(json, JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(DIGITS)));
  return text ? text.get() : "null";
}

json_t* jsonText(const std::string& text) {
  const GCharPtr valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
  return json_string(valid.get());
}

}  // namespace device
