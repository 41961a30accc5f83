#include "web_server/option_values.h"

#include <fstream>

#include "base/text.h"

namespace device {

std::optional<std::uint16_t> readPort(std::string_view text) {
  return text::toNumber<std::uint16_t>(text);
}

std::string readPassword(const std::string& option, const std::string& path) {
  std::ifstream file(path);
  std::string password;
  if (!file || !std::getline(file, password)) {
    throw WebOptionError(option + ": cannot read a password from " + path);
  }
  if (password.ends_with('\r')) {
    password.pop_back();
  }
  if (password.empty()) {
    throw WebOptionError(option + ": the first line of " + path + " is empty");
  }
  return password;
}

}  // namespace device
