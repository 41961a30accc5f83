#include "config/json_parser.h"

bool JsonParser::decode(const std::string& text) {
  json_error_t failure{};
  document = JsonAutoPtr(json_loads(text.c_str(), 0, &failure));
  error = isValid() ? "" : failure.text;
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
