#ifndef DEVICE_WEB_SERVER_JSON_VALUES_H
#define DEVICE_WEB_SERVER_JSON_VALUES_H

#include <jansson.h>

#include <string>

#include "base/json_auto_ptr.h"

namespace device {

// In one line.
std::string lineOf(const json_t* json);

// A string whose bytes that are no UTF-8 are replaced; a new reference.
json_t* jsonText(const std::string& text);

}  // namespace device

#endif
