// The system log is the device's.
#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "memory/device.h"

namespace {

void write(int priority, const char* format, va_list arguments) {
  if (memory::device() == nullptr) {
    return;
  }
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  std::string line(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  std::vsnprintf(line.data(), line.size() + 1, format, arguments);
  line.erase(line.find_last_not_of('\n') + 1);
  memory::device()->log(priority, line);
}

}  // namespace

extern "C" {

void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write(priority, format, arguments);
  va_end(arguments);
}

// What syslog becomes in builds with fortified library calls.
void __syslog_chk(int priority, int, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write(priority, format, arguments);
  va_end(arguments);
}

void openlog(const char*, int, int) {}
void closelog() {}

}  // extern "C"
