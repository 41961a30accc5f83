#include "services/syslog_server.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include "base/text.h"

namespace device {

namespace {

constexpr std::array<const char*, 8> SEVERITIES = {"emerg",   "alert",  "crit", "err",
                                                   "warning", "notice", "info", "debug"};
constexpr std::size_t TIME_LENGTH = 16;  // "Mmm dd hh:mm:ss "
constexpr std::size_t MAX_MESSAGE = 8192;

// Removes "<PRIORITY>" and returns the severity, notice when there is none.
int takeSeverity(std::string_view* text) {
  constexpr int NOTICE = 5;
  if (!text->starts_with('<')) {
    return NOTICE;
  }
  const auto priority = text::leadingNumber<int>(text->substr(1));
  if (!priority || !priority->rest.starts_with('>')) {
    return NOTICE;
  }
  *text = priority->rest.substr(1);
  return priority->value & 7;
}

void skipTime(std::string_view* text) {
  if (text->size() < TIME_LENGTH) {
    return;
  }
  const bool time = (*text)[3] == ' ' && (*text)[6] == ' ' && (*text)[9] == ':' &&
                    (*text)[12] == ':' && (*text)[15] == ' ';
  if (time) {
    text->remove_prefix(TIME_LENGTH);
  }
}

// Removes "IDENT[PID]: " or "IDENT: " and returns the name.
std::string takeIdent(std::string_view* text) {
  const std::size_t colon = text->find(": ");
  if (colon == std::string_view::npos) {
    return "";
  }
  std::string_view ident = text->substr(0, colon);
  ident = ident.substr(0, ident.find('['));
  const auto isBlank = [](unsigned char c) { return std::isspace(c) != 0; };
  if (ident.empty() || std::ranges::any_of(ident, isBlank)) {
    return "";
  }
  text->remove_prefix(colon + 2);
  return std::string(ident);
}

}  // namespace

const char* severityName(int severity) {
  return SEVERITIES[static_cast<std::size_t>(std::clamp(severity, 0, 7))];
}

SyslogLine parseSyslog(std::string_view message) {
  SyslogLine line;
  line.severity = takeSeverity(&message);
  skipTime(&message);
  line.ident = takeIdent(&message);
  while (message.ends_with('\n') || message.ends_with('\0')) {
    message.remove_suffix(1);
  }
  line.text = message;
  return line;
}

SyslogServer::SyslogServer(std::string socketPath, Callback callback)
    : path(std::move(socketPath)),
      callback(std::move(callback)),
      socket(bindLocalSocket(path, G_SOCKET_TYPE_DATAGRAM)),
      source(watchSocket(socket.get(), G_IO_IN, readable, this)) {}

SyslogServer::~SyslogServer() {
  unlink(path.c_str());
}

void SyslogServer::drain() {
  std::array<char, MAX_MESSAGE> buffer;
  ssize_t count = 0;
  while ((count = recv(g_socket_get_fd(socket.get()), buffer.data(), buffer.size(),
                       MSG_DONTWAIT)) >= 0) {
    callback(parseSyslog({buffer.data(), static_cast<std::size_t>(count)}));
  }
}

gboolean SyslogServer::readable(GSocket*, GIOCondition, gpointer self) {
  static_cast<SyslogServer*>(self)->drain();
  return G_SOURCE_CONTINUE;
}

}  // namespace device
