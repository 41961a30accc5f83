#include "base/json_text.h"

#include <utility>

#include "base/allocated.h"

std::string toText(const json_t* value, std::size_t flags) {
  const Allocated<char> text(json_dumps(value, flags));
  return text != nullptr ? text.get() : "";
}

JsonRead readJson(const std::string& text) {
  json_error_t error{};
  JsonAutoPtr document(json_loads(text.c_str(), 0, &error));
  std::string reason = document ? "" : error.text;
  return {std::move(document), std::move(reason)};
}
