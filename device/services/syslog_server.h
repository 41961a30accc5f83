#ifndef DEVICE_SERVICES_SYSLOG_SERVER_H
#define DEVICE_SERVICES_SYSLOG_SERVER_H

#include <functional>
#include <string>
#include <string_view>

#include "services/local_socket.h"

namespace device {

struct SyslogLine {
  int severity = 5;   // 0 emergency to 7 debug
  std::string ident;  // the sender's name, empty when it gave none
  std::string text;   // without line feeds at its end
};

// "err", "warning" and so on.
const char* severityName(int severity);

// One message as the C library's syslog() sends it, "<PRIORITY>Mmm dd hh:mm:ss IDENT[PID]: TEXT";
// what does not follow that form is text.
SyslogLine parseSyslog(std::string_view message);

// The system log's socket: hands every message to the callback, from the main loop. Throws
// std::runtime_error when the socket cannot be opened; removes it at the end.
class SyslogServer {
 public:
  using Callback = std::function<void(const SyslogLine& line)>;

  SyslogServer(std::string socketPath, Callback callback);
  SyslogServer(const SyslogServer&) = delete;
  SyslogServer& operator=(const SyslogServer&) = delete;
  ~SyslogServer();

  // Hands over what has arrived so far; for the last words of a process that has ended.
  void drain();

 private:
  static gboolean readable(GSocket* socket, GIOCondition condition, gpointer self);

  std::string path;
  Callback callback;
  GObjectPtr<GSocket> socket;
  GSourcePtr source;
};

}  // namespace device

#endif
