#ifndef DEVICE_WEB_SERVER_BROKER_OPTIONS_H
#define DEVICE_WEB_SERVER_BROKER_OPTIONS_H

#include <glib.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace device {

// Where a broker is.
struct BrokerAddress {
  std::string host;
  int port = 1883;

  bool operator==(const BrokerAddress&) const = default;
};

// The hosts of one broker, each as good as the others.
using BrokerHosts = std::vector<BrokerAddress>;

struct BrokerLogin {
  std::string user;
  std::string password;
};

// Files in PEM. The device has a certificate and its key, or neither.
struct BrokerTls {
  std::string ca;  // whoever has signed the broker's certificate
  std::string certificate;
  std::string key;
};

// How the device reaches its brokers. Each of them is told everything.
struct BrokerOptions {
  std::vector<BrokerHosts> brokers = {};
  std::string site = {};  // the device's name among others; empty: it is alone
  std::optional<BrokerLogin> login = {};
  std::optional<BrokerTls> tls = {};
  std::string discovery = {};  // first level of a home automation's topics; empty: it is not told
  std::filesystem::path state = {};  // folder for what outlives the device; empty: nothing does
};

// What stands on the command line, as GOption leaves it; null for what does not.
struct RawBrokerOptions {
  char** brokers = nullptr;
  char* site = nullptr;
  char* user = nullptr;
  char* passwordFile = nullptr;
  char* ca = nullptr;
  char* certificate = nullptr;
  char* key = nullptr;
  char* discovery = nullptr;
  char* state = nullptr;

  RawBrokerOptions() = default;
  RawBrokerOptions(const RawBrokerOptions&) = delete;
  RawBrokerOptions& operator=(const RawBrokerOptions&) = delete;
  ~RawBrokerOptions();

  // Those of GOption's list; it writes here. The latter are for who only reads at a broker.
  std::vector<GOptionEntry> entries();
  std::vector<GOptionEntry> readersEntries();
};

// Checks the options and the files that they name. Throws WebOptionError.
BrokerOptions readBrokerOptions(const RawBrokerOptions& raw);

// Whether a site may be called so: 1 to 32 of A-Z a-z 0-9 _ -.
bool isSiteName(std::string_view name);

// What stands before every topic of the site's: "sites/NAME/", nothing for no name.
std::string topicPrefix(const std::string& site);

}  // namespace device

#endif
