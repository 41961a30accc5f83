// JSON values as texts.
#ifndef BASE_JSON_TEXT_H
#define BASE_JSON_TEXT_H

#include <jansson.h>

#include <cstddef>
#include <string>

// A value written with Jansson's flags; empty when it cannot be written (null, a number that is not
// finite, or text that is no UTF-8).
std::string toText(const json_t* value, std::size_t flags);

#endif
