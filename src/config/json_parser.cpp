#include "config/json_parser.h"

#include <utility>

#include "base/json_text.h"

bool JsonParser::decode(const std::string& text) {
  JsonRead read = readJson(text);
  document = std::move(read.document);
  error = std::move(read.error);
  return isValid();
}

void JsonParser::decref() {
  document.free();
}

json_t* JsonParser::getArray(const json_t* parent, const char* key) {
  json_t* value = json_object_get(parent, key);
  return json_is_array(value) ? value : nullptr;
}

json_t* JsonParser::getObject(const json_t* parent, const char* key) {
  json_t* value = json_object_get(parent, key);
  return json_is_object(value) ? value : nullptr;
}
