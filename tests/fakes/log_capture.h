#ifndef TESTS_FAKES_LOG_CAPTURE_H
#define TESTS_FAKES_LOG_CAPTURE_H

#include <string>
#include <vector>

struct LogLine {
  int priority;      // LOG_ERR, LOG_WARNING, ...
  std::string text;  // formatted, with its line feeds
};

// Everything that is sent to syslog in the test program is kept (syslog() itself is replaced at
// link time). Thread-safe.
class LogCapture {
 public:
  LogCapture() { clear(); }

  static std::vector<LogLine> lines();
  static void clear();

  // Number of lines with exactly that text (and priority).
  static int count(const std::string& text);
  static int count(int priority, const std::string& text);
  static bool has(const std::string& text) { return count(text) > 0; }

  // What was given to openlog last, and how often openlog and closelog were called.
  static std::string identity();
  static int options();
  static int facility();
  static int openCount();
  static int closeCount();
};

#endif
