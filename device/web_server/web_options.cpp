#include "web_server/web_options.h"

#include <cstring>
#include <fstream>
#include <limits>
#include <string_view>

#include "base/glib_ptr.h"
#include "base/text.h"

namespace device {

namespace {

std::optional<std::uint16_t> readPort(std::string_view text) {
  return text::toNumber<std::uint16_t>(text);
}

std::string readAddress(const char* text) {
  if (std::strcmp(text, "localhost") == 0) {
    return "127.0.0.1";
  }
  const GObjectPtr<GInetAddress> address(g_inet_address_new_from_string(text));
  if (!address) {
    throw WebOptionError(std::string("--listen is an IP address, not ") + text);
  }
  const GTextPtr normal(g_inet_address_to_string(address.get()));
  return normal.get();
}

std::string readPassword(const std::string& path) {
  std::ifstream file(path);
  std::string password;
  if (!file || !std::getline(file, password)) {
    throw WebOptionError("--password-file: cannot read a password from " + path);
  }
  if (password.ends_with('\r')) {
    password.pop_back();
  }
  if (password.empty()) {
    throw WebOptionError("--password-file: the first line of " + path + " is empty");
  }
  return password;
}

std::optional<WebUser> readUser(const RawWebOptions& raw) {
  if (raw.user == nullptr && raw.passwordFile == nullptr) {
    return std::nullopt;
  }
  if (raw.user == nullptr) {
    throw WebOptionError("--password-file needs --user");
  }
  if (raw.passwordFile == nullptr) {
    throw WebOptionError("--user needs --password-file");
  }
  const std::string name = raw.user;
  if (name.empty() || name.find_first_of(":\"\\") != std::string::npos) {
    throw WebOptionError("--user is a name without colon, quote and backslash");
  }
  return WebUser{name, readPassword(raw.passwordFile)};
}

// HOST, HOST:PORT, [ADDRESS]:PORT; an address with several colons and no brackets has no port.
BrokerAddress readBroker(const std::string& text) {
  BrokerAddress broker;
  std::string_view rest = text;
  if (rest.starts_with('[')) {
    const std::size_t end = rest.find(']');
    if (end != std::string_view::npos) {
      broker.host = rest.substr(1, end - 1);
      rest.remove_prefix(end + 1);
    }
  } else {
    const std::size_t colon = rest.find(':');
    const bool single = colon != std::string_view::npos && rest.rfind(':') == colon;
    broker.host = rest.substr(0, single ? colon : rest.size());
    rest.remove_prefix(broker.host.size());
  }
  const std::optional<std::uint16_t> port =
      rest.empty() ? std::uint16_t{1883}
                   : (rest.starts_with(':') ? readPort(rest.substr(1)) : std::nullopt);
  if (broker.host.empty() || !port || *port == 0) {
    throw WebOptionError("--mqtt is HOST or HOST:PORT, not " + text);
  }
  broker.port = *port;
  return broker;
}

}  // namespace

WebOptions readWebOptions(const RawWebOptions& raw) {
  WebOptions options;
  if (raw.address != nullptr) {
    options.address = readAddress(raw.address);
  }
  if (raw.port != nullptr) {
    options.port = readPort(raw.port);
    if (!options.port) {
      throw WebOptionError("--port is a number from 0 to 65535");
    }
  }
  options.user = readUser(raw);
  if (!isLoopback(options.address) && !options.user) {
    throw WebOptionError("--listen " + options.address +
                         " opens the device to the network: it needs --user and --password-file");
  }
  if (raw.folder != nullptr) {
    options.folder = raw.folder;
  }
  if (raw.broker != nullptr) {
    options.broker = readBroker(raw.broker);
  }
  return options;
}

bool isLoopback(const std::string& text) {
  const GObjectPtr<GInetAddress> address(g_inet_address_new_from_string(text.c_str()));
  return address && g_inet_address_get_is_loopback(address.get()) != FALSE;
}

}  // namespace device
