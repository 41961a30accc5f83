#ifndef DEVICE_SERVICES_CONSOLE_H
#define DEVICE_SERVICES_CONSOLE_H

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "head/head.h"
#include "services/syslog_server.h"
#include "world/direction.h"

namespace device {

// What one status line tells.
struct Status {
  double time = 0;  // seconds since the start
  std::string state;
  std::optional<Direction> target;
  HeadStatus head;
  double multiplier = 1;  // of the head's zoom
  int objects = 0;
};

// "12.0 s  running  target 12.3 -8.1  head 11.9 -8.0 x3.2  error 0.4  objects 3", in columns.
std::string statusLine(const Status& status);

// What the user sees of a run, on standard output; log lines go to a file as well.
class Console {
 public:
  explicit Console(bool quiet) : quiet(quiet) {}

  // Keeps the log lines in a file, whose folder is made; throws std::runtime_error.
  void openLog(const std::filesystem::path& path);

  void status(const Status& status);
  void log(double time, const SyslogLine& line);

  // Shown even when quiet.
  void message(const std::string& text);

 private:
  bool quiet;
  std::ofstream file;
};

}  // namespace device

#endif
