#include "base/json_text.h"

#include "base/allocated.h"

std::string toText(const json_t* value, std::size_t flags) {
  const Allocated<char> text(json_dumps(value, flags));
  return text != nullptr ? text.get() : "";
}
