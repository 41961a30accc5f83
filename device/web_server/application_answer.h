#ifndef DEVICE_WEB_SERVER_APPLICATION_ANSWER_H
#define DEVICE_WEB_SERVER_APPLICATION_ANSWER_H

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace device {

// What an application wrote: header lines, an empty line, a body.
struct ApplicationAnswer {
  unsigned status = 200;                                     // of the line "Status: CODE TEXT"
  std::vector<std::pair<std::string, std::string>> headers;  // all others
  std::string body;
};

// Nothing for what is no such answer. Headers about the connection and the body's length are left
// out, as they are the web server's own.
std::optional<ApplicationAnswer> parseApplicationAnswer(std::string_view text);

}  // namespace device

#endif
