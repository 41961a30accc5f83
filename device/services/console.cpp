#include "services/console.h"

#include <iostream>
#include <stdexcept>

#include "base/text.h"

namespace device {

namespace {

std::string logLine(double time, const SyslogLine& line) {
  return text::formatted("%8.3f s  %-7s  ", time, severityName(line.severity)) + line.ident + ": " +
         line.text;
}

}  // namespace

std::string statusLine(const Status& status) {
  const std::string state = status.state.empty() ? "-" : status.state;
  std::string line = text::formatted("%6.1f s  %-10s  ", status.time, state.c_str());
  line += status.target
              ? text::formatted("target %6.1f %5.1f", status.target->pan, status.target->tilt)
              : text::formatted("target %6s %5s", "-", "-");
  line += text::formatted("  head %6.1f %5.1f x%.1f", status.head.pan, status.head.tilt,
                          status.multiplier);
  line += status.target
              ? text::formatted("  error %5.1f",
                                angleBetween(*status.target, {status.head.pan, status.head.tilt}))
              : text::formatted("  error %5s", "-");
  return line + text::formatted("  objects %d", status.objects);
}

void Console::openLog(const std::filesystem::path& path) {
  std::filesystem::create_directories(path.parent_path());
  file.open(path);
  if (!file) {
    throw std::runtime_error("Cannot write " + path.string());
  }
}

void Console::status(const Status& status) {
  if (!quiet) {
    message(statusLine(status));
  }
}

void Console::log(double time, const SyslogLine& line) {
  const std::string text = logLine(time, line);
  if (file.is_open()) {
    file << text << std::endl;
  }
  if (!quiet) {
    message(text);
  }
}

void Console::message(const std::string& text) {
  std::cout << text << std::endl;
}

}  // namespace device
