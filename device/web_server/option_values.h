#ifndef DEVICE_WEB_SERVER_OPTION_VALUES_H
#define DEVICE_WEB_SERVER_OPTION_VALUES_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace device {

// Options that cannot be used; what() is for the user.
class WebOptionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

std::optional<std::uint16_t> readPort(std::string_view text);

// The first line of the option's file. Throws WebOptionError when there is none, or an empty one.
std::string readPassword(const std::string& option, const std::string& path);

}  // namespace device

#endif
