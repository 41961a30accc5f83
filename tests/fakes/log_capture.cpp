#include "fakes/log_capture.h"

#include <syslog.h>

#include <algorithm>
#include <cstdarg>
#include <utility>

#include "base/mutex.h"
#include "base/text.h"

namespace {

struct Log {
  Mutex mutex;  // guards all below
  std::vector<LogLine> lines;
  std::string identity;
  int options = 0;
  int facility = 0;
  int openCount = 0;
  int closeCount = 0;
};

// Never destroyed: threads may log until the very end.
Log& theLog() {
  static Log* s_log = new Log;
  return *s_log;
}

void keep(int priority, const char* format, va_list arguments) {
  std::string text = text::formattedList(format, arguments);
  const LockGuard lock(theLog().mutex);
  theLog().lines.push_back({priority, std::move(text)});
}

}  // namespace

extern "C" {

void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  keep(priority, format, arguments);
  va_end(arguments);
}

// What syslog becomes in builds with fortified library calls.
void __syslog_chk(int priority, int, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  keep(priority, format, arguments);
  va_end(arguments);
}

void vsyslog(int priority, const char* format, va_list arguments) {
  keep(priority, format, arguments);
}

void openlog(const char* identity, int options, int facility) {
  const LockGuard lock(theLog().mutex);
  theLog().identity = identity != nullptr ? identity : "";
  theLog().options = options;
  theLog().facility = facility;
  ++theLog().openCount;
}

void closelog() {
  const LockGuard lock(theLog().mutex);
  ++theLog().closeCount;
}

}  // extern "C"

std::vector<LogLine> LogCapture::lines() {
  const LockGuard lock(theLog().mutex);
  return theLog().lines;
}

void LogCapture::clear() {
  const LockGuard lock(theLog().mutex);
  theLog().lines.clear();
  theLog().identity.clear();
  theLog().options = 0;
  theLog().facility = 0;
  theLog().openCount = 0;
  theLog().closeCount = 0;
}

int LogCapture::count(const std::string& text) {
  const std::vector<LogLine> all = lines();
  return static_cast<int>(std::count_if(
      all.begin(), all.end(), [&text](const LogLine& line) { return line.text == text; }));
}

int LogCapture::count(int priority, const std::string& text) {
  const std::vector<LogLine> all = lines();
  return static_cast<int>(std::count_if(all.begin(), all.end(), [&](const LogLine& line) {
    return line.priority == priority && line.text == text;
  }));
}

std::string LogCapture::identity() {
  const LockGuard lock(theLog().mutex);
  return theLog().identity;
}

int LogCapture::options() {
  const LockGuard lock(theLog().mutex);
  return theLog().options;
}

int LogCapture::facility() {
  const LockGuard lock(theLog().mutex);
  return theLog().facility;
}

int LogCapture::openCount() {
  const LockGuard lock(theLog().mutex);
  return theLog().openCount;
}

int LogCapture::closeCount() {
  const LockGuard lock(theLog().mutex);
  return theLog().closeCount;
}
