#include "web_server/web_options.h"

#include <cstring>

#include "base/glib_ptr.h"

namespace device {

namespace {

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
  return WebUser{name, readPassword("--password-file", raw.passwordFile)};
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
  if (raw.metricsTokenFile != nullptr) {
    options.metricsToken = readPassword("--metrics-token-file", raw.metricsTokenFile);
  }
  if (raw.folder != nullptr) {
    options.folder = raw.folder;
  }
  return options;
}

bool isLoopback(const std::string& text) {
  const GObjectPtr<GInetAddress> address(g_inet_address_new_from_string(text.c_str()));
  return address && g_inet_address_get_is_loopback(address.get()) != FALSE;
}

bool isEveryAddress(const std::string& text) {
  const GObjectPtr<GInetAddress> address(g_inet_address_new_from_string(text.c_str()));
  return address && g_inet_address_get_is_any(address.get()) != FALSE;
}

}  // namespace device
