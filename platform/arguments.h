// What callers of the device's libraries hand over, and how it is refused.
#ifndef PLATFORM_ARGUMENTS_H
#define PLATFORM_ARGUMENTS_H

#include <gio/gio.h>

namespace arguments {

// FALSE, with *error set when error is not null.
inline gboolean refuse(GError** error, const char* message) {
  g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_INVALID_ARGUMENT, message);
  return FALSE;
}

inline const char* orEmpty(const char* text) {
  return text == nullptr ? "" : text;
}

// The bus carries valid UTF-8 only and ends the connection otherwise.
inline bool isText(const char* text) {
  return text != nullptr && g_utf8_validate(text, -1, nullptr);
}

inline bool isTextOrNull(const char* text) {
  return isText(orEmpty(text));
}

}  // namespace arguments

#endif
