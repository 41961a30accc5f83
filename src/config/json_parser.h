#ifndef CONFIG_JSON_PARSER_H
#define CONFIG_JSON_PARSER_H

#include <jansson.h>

#include <string>

#include "base/json_auto_ptr.h"

// Decodes a text and keeps the document.
class JsonParser {
 public:
  // Replaces the document; false when the text is no JSON object or array.
  bool decode(const std::string& text);

  bool isValid() const { return static_cast<bool>(document); }
  json_t* get() const { return document.get(); }

  // What was wrong with the text decoded last.
  const std::string& getError() const { return error; }

  // Lets go of the document.
  // Only for other applications of these classes.
  void decref();

  // The member of that name when it is an array (or object), else null. Borrowed.
  static json_t* getArray(const json_t* parent, const char* key);

  // Only for other applications of these classes.
  static json_t* getObject(const json_t* parent, const char* key);

 private:
  JsonAutoPtr document;
  std::string error;
};

#endif
