// JSON values as texts, and texts as JSON values.
#ifndef BASE_JSON_TEXT_H
#define BASE_JSON_TEXT_H

#include <jansson.h>

#include <cstddef>
#include <string>

#include "base/json_auto_ptr.h"

// A value written with Jansson's flags; empty when it cannot be written (null, a number that is not
// finite, or text that is no UTF-8).
std::string toText(const json_t* value, std::size_t flags);

// A text as it was read.
struct JsonRead {
  JsonAutoPtr document;  // null when the text is no JSON object or array
  std::string error;     // what is wrong with it then
};

// Up to the text's first zero byte.
JsonRead readJson(const std::string& text);

#endif
