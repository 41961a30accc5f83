#include "web_server/broker_options.h"

#include <algorithm>
#include <string_view>

#include "web_server/option_values.h"
#include "web_server/tls_files.h"

namespace device {

namespace {

constexpr int PLAIN_PORT = 1883;
constexpr int TLS_PORT = 8883;
constexpr std::size_t LONGEST_SITE = 32;
constexpr std::string_view SITE_CHARACTERS =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";

// HOST, HOST:PORT, [ADDRESS]:PORT; an address with several colons and no brackets has no port.
BrokerAddress readHost(const std::string& text, int usualPort) {
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
  if (broker.host.empty()) {
    throw WebOptionError("--mqtt is HOST or HOST:PORT, not " + text);
  }
  if (rest.empty()) {
    broker.port = usualPort;
    return broker;
  }
  const std::optional<std::uint16_t> port =
      rest.starts_with(':') ? readPort(rest.substr(1)) : std::nullopt;
  if (!port || *port == 0) {
    throw WebOptionError("--mqtt is HOST or HOST:PORT, not " + text);
  }
  broker.port = *port;
  return broker;
}

BrokerHosts readHosts(const std::string& list, int usualPort) {
  BrokerHosts hosts;
  std::size_t start = 0;
  while (start <= list.size()) {
    const std::size_t end = std::min(list.find(',', start), list.size());
    hosts.push_back(readHost(list.substr(start, end - start), usualPort));
    start = end + 1;
  }
  return hosts;
}

// The same host twice would be the same client twice: the broker ends one for the other.
void refuseTwins(const std::vector<BrokerHosts>& brokers) {
  BrokerHosts all;
  for (const BrokerHosts& hosts : brokers) {
    for (const BrokerAddress& host : hosts) {
      if (std::ranges::find(all, host) != all.end()) {
        throw WebOptionError("--mqtt names " + host.host + " port " + std::to_string(host.port) +
                             " twice");
      }
      all.push_back(host);
    }
  }
}

std::vector<BrokerHosts> readBrokers(const RawBrokerOptions& raw) {
  std::vector<BrokerHosts> brokers;
  const int usualPort = raw.ca != nullptr ? TLS_PORT : PLAIN_PORT;
  for (char** list = raw.brokers; list != nullptr && *list != nullptr; ++list) {
    brokers.push_back(readHosts(*list, usualPort));
  }
  refuseTwins(brokers);
  return brokers;
}

std::string readSite(const std::string& name) {
  if (!isSiteName(name)) {
    throw WebOptionError("--site is a name of 1 to " + std::to_string(LONGEST_SITE) +
                         " letters, digits, _ and -, not \"" + name + "\"");
  }
  return name;
}

void requireOther(const char* given, const char* other, const std::string& name,
                  const std::string& otherName) {
  if (given != nullptr && other == nullptr) {
    throw WebOptionError(name + " needs " + otherName);
  }
}

std::optional<BrokerLogin> readLogin(const RawBrokerOptions& raw) {
  requireOther(raw.user, raw.passwordFile, "--mqtt-user", "--mqtt-password-file");
  requireOther(raw.passwordFile, raw.user, "--mqtt-password-file", "--mqtt-user");
  if (raw.user == nullptr) {
    return std::nullopt;
  }
  if (*raw.user == '\0') {
    throw WebOptionError("--mqtt-user is a name");
  }
  return BrokerLogin{raw.user, readPassword("--mqtt-password-file", raw.passwordFile)};
}

std::optional<BrokerTls> readTls(const RawBrokerOptions& raw) {
  requireOther(raw.certificate, raw.key, "--mqtt-cert", "--mqtt-key");
  requireOther(raw.key, raw.certificate, "--mqtt-key", "--mqtt-cert");
  requireOther(raw.certificate, raw.ca, "--mqtt-cert", "--mqtt-ca");
  if (raw.ca == nullptr) {
    return std::nullopt;
  }
  BrokerTls tls{.ca = raw.ca, .certificate = "", .key = ""};
  checkCaFile("--mqtt-ca", tls.ca);
  if (raw.certificate != nullptr) {
    tls.certificate = raw.certificate;
    tls.key = raw.key;
    checkCertificateFiles("--mqtt-cert", tls.certificate, "--mqtt-key", tls.key);
  }
  return tls;
}

std::string readDiscovery(const RawBrokerOptions& raw) {
  requireOther(raw.discovery, raw.site, "--mqtt-discovery", "--site");
  const std::string prefix = raw.discovery;
  if (prefix.empty() || prefix.find_first_of("+#") != std::string::npos ||
      prefix.starts_with('/') || prefix.ends_with('/')) {
    throw WebOptionError("--mqtt-discovery is the beginning of a topic, not \"" + prefix + "\"");
  }
  return prefix;
}

void requireBroker(const RawBrokerOptions& raw) {
  const char* broker = raw.brokers != nullptr ? *raw.brokers : nullptr;
  requireOther(raw.site, broker, "--site", "--mqtt");
  requireOther(raw.user, broker, "--mqtt-user", "--mqtt");
  requireOther(raw.passwordFile, broker, "--mqtt-password-file", "--mqtt");
  requireOther(raw.ca, broker, "--mqtt-ca", "--mqtt");
  requireOther(raw.certificate, broker, "--mqtt-cert", "--mqtt");
  requireOther(raw.key, broker, "--mqtt-key", "--mqtt");
  requireOther(raw.discovery, broker, "--mqtt-discovery", "--mqtt");
}

}  // namespace

RawBrokerOptions::~RawBrokerOptions() {
  g_strfreev(brokers);
  for (char* text : {site, user, passwordFile, ca, certificate, key, discovery, state}) {
    g_free(text);
  }
}

std::vector<GOptionEntry> RawBrokerOptions::entries() {
  return {
      {"mqtt", 0, 0, G_OPTION_ARG_STRING_ARRAY, &brokers,
       "Broker to which events are published, by its hosts; given twice: two brokers",
       "HOST[:PORT][,...]"},
      {"site", 0, 0, G_OPTION_ARG_STRING, &site, "Name of the device among others at a broker",
       "NAME"},
      {"mqtt-user", 0, 0, G_OPTION_ARG_STRING, &user, "User at the broker", "NAME"},
      {"mqtt-password-file", 0, 0, G_OPTION_ARG_FILENAME, &passwordFile,
       "File whose first line is that user's password", "FILE"},
      {"mqtt-ca", 0, 0, G_OPTION_ARG_FILENAME, &ca,
       "Whose signature the broker's certificate has to bear; switches TLS on", "FILE"},
      {"mqtt-cert", 0, 0, G_OPTION_ARG_FILENAME, &certificate,
       "The device's own certificate for the broker", "FILE"},
      {"mqtt-key", 0, 0, G_OPTION_ARG_FILENAME, &key, "The key of that certificate", "FILE"},
      {"mqtt-discovery", 0, 0, G_OPTION_ARG_STRING, &discovery,
       "Announce the site to a home automation below this topic (homeassistant)", "PREFIX"},
      {"state", 0, 0, G_OPTION_ARG_FILENAME, &state,
       "Folder for alarms that wait for a broker; without, they do not outlive the device", "DIR"}};
}

std::vector<GOptionEntry> RawBrokerOptions::readersEntries() {
  std::vector<GOptionEntry> chosen = entries();
  std::erase_if(chosen, [](const GOptionEntry& entry) {
    const std::string_view name = entry.long_name;
    return !name.starts_with("mqtt") || name == "mqtt-discovery";
  });
  return chosen;
}

BrokerOptions readBrokerOptions(const RawBrokerOptions& raw) {
  requireBroker(raw);
  BrokerOptions options;
  options.brokers = readBrokers(raw);
  if (raw.site != nullptr) {
    options.site = readSite(raw.site);
  }
  options.login = readLogin(raw);
  options.tls = readTls(raw);
  if (raw.discovery != nullptr) {
    options.discovery = readDiscovery(raw);
  }
  if (raw.state != nullptr) {
    options.state = raw.state;
  }
  return options;
}

bool isSiteName(std::string_view name) {
  return !name.empty() && name.size() <= LONGEST_SITE &&
         name.find_first_not_of(SITE_CHARACTERS) == std::string_view::npos;
}

std::string topicPrefix(const std::string& site) {
  return site.empty() ? "" : "sites/" + site + "/";
}

}  // namespace device
