// The system log is the device's.
#include <syslog.h>

#include <cstdarg>
#include <string>

#include "base/text.h"
#include "memory/device.h"

namespace {

void write(int priority, const char* format, va_list arguments) {
  if (memory::device() == nullptr) {
    return;
  }
  std::string line = text::formattedList(format, arguments);
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
