#ifndef DEVICE_SERVICES_HEAD_REQUESTS_H
#define DEVICE_SERVICES_HEAD_REQUESTS_H

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "head/head_command.h"

// What the head's services make of what they are asked, by whatever way it comes.
namespace device {

inline constexpr int HEAD_CHANNEL = 1;
inline constexpr int FULL_HEAD_SPEED = 100;  // percent

// Why a call is refused; null when it is not.
const char* refusalOf(unsigned channel, unsigned speed = 0);

// One axis of a command; nothing for an unknown kind, or a value that is no finite number.
std::optional<AxisCommand> axisCommand(int kind, double value);

// The parameters of a remote head. A request is the line
// "GET orva-cgi/param.cgi?action=list&group=NAME 1"; the answer is one line: "root.NAME=value",
// "0 0" while the head starts, or an error that names the parameter.
class HeadParameters {
 public:
  using IsReady = std::function<bool()>;

  // What is known, null while the head starts. Names are without "root.".
  using Known = std::function<const std::map<std::string, std::string>*()>;
  explicit HeadParameters(Known known);

  // The same, of what never changes.
  HeadParameters(std::map<std::string, std::string> parameters, IsReady isReady);

  // Both without line feed.
  std::string answer(std::string_view request) const;

 private:
  Known known;
};

}  // namespace device

#endif
