#ifndef DEVICE_WEB_SERVER_WEB_OPTIONS_H
#define DEVICE_WEB_SERVER_WEB_OPTIONS_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "web_server/broker_options.h"
#include "web_server/option_values.h"

namespace device {

// Who may use the web server.
struct WebUser {
  std::string name;
  std::string password;
};

// How the device is reached over the network.
struct WebOptions {
  std::string address = "127.0.0.1";  // to listen on
  std::optional<std::uint16_t> port;  // 0: any free one; without: the usual one, else a free one
  std::optional<WebUser> user;        // without: everybody, from this machine only
  std::filesystem::path folder;       // of the page
  // For whoever reads the metrics without being the user.
  std::optional<std::string> metricsToken = {};
  BrokerOptions broker;  // to whom the events are published
};

// What stands on the command line; null for what does not.
struct RawWebOptions {
  const char* address = nullptr;
  const char* port = nullptr;
  const char* user = nullptr;
  const char* passwordFile = nullptr;
  const char* folder = nullptr;
  const char* metricsTokenFile = nullptr;
};

// Checks the options and reads the password, the first line of its file. Throws WebOptionError.
WebOptions readWebOptions(const RawWebOptions& raw);

// True for the addresses of 127.0.0.0/8 and for ::1, as text without brackets.
bool isLoopback(const std::string& address);

// True for 0.0.0.0 and ::, which stand for all addresses of the machine: nobody is reached there.
bool isEveryAddress(const std::string& address);

}  // namespace device

#endif
