#ifndef DEVICE_WEB_SERVER_JSON_PTR_H
#define DEVICE_WEB_SERVER_JSON_PTR_H

#include <jansson.h>

#include <memory>
#include <string>

namespace device {

struct JsonDeleter {
  void operator()(json_t* json) const { json_decref(json); }
};
using JsonPtr = std::unique_ptr<json_t, JsonDeleter>;

// In one line.
std::string toText(const json_t* json);

// A string whose bytes that are no UTF-8 are replaced; a new reference.
json_t* jsonText(const std::string& text);

}  // namespace device

#endif
