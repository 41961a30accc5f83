#include "fleet/fleet_options.h"

#include <sstream>

#include "web_server/option_values.h"

namespace device {

namespace {

// "PORT PASSWORD", as script/fleet makes it.
std::optional<HistoryAccess> readHistory(const char* path) {
  if (path == nullptr) {
    return std::nullopt;
  }
  std::istringstream line(readPassword("--history", path));
  std::string port;
  HistoryAccess access;
  line >> port >> access.password;
  const std::optional<std::uint16_t> number = readPort(port);
  if (!number || *number == 0 || access.password.empty()) {
    throw WebOptionError(std::string("--history: ").append(path) + " has no port and password");
  }
  access.port = *number;
  return access;
}

}  // namespace

FleetOptions parseFleetOptions(const std::vector<std::string>& arguments) {
  OptionText listen;
  OptionText port;
  OptionText user;
  OptionText passwordFile;
  OptionText web;
  OptionText history;
  RawBrokerOptions broker;
  std::vector<GOptionEntry> entries = {
      {"listen", 0, 0, G_OPTION_ARG_STRING, listen.out(), "Address of the page", "ADDRESS"},
      {"port", 0, 0, G_OPTION_ARG_STRING, port.out(), "Port of the page (0: any free one)", "N"},
      {"user", 0, 0, G_OPTION_ARG_STRING, user.out(), "User whom the page asks for", "NAME"},
      {"password-file", 0, 0, G_OPTION_ARG_FILENAME, passwordFile.out(),
       "File whose first line is the user's password", "FILE"},
      {"web", 0, 0, G_OPTION_ARG_FILENAME, web.out(), "Folder of the page's files", "DIR"},
      {"history", 0, 0, G_OPTION_ARG_FILENAME, history.out(),
       "File with port and password of who reads the history at the node of this machine", "FILE"},
      {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
  const std::vector<GOptionEntry> atBroker = broker.readersEntries();
  entries.insert(entries.begin(), atBroker.begin(), atBroker.end());
  readOptions("One page of all sites that publish to a broker.", entries, arguments);
  try {
    WebOptions options = readWebOptions({.address = listen.get(),
                                         .port = port.get(),
                                         .user = user.get(),
                                         .passwordFile = passwordFile.get(),
                                         .folder = web.get() != nullptr ? web.get() : FLEET_WEB});
    options.broker = readBrokerOptions(broker);
    if (options.broker.brokers.empty()) {
      throw OptionError("--mqtt names the broker to listen to");
    }
    return {.web = options, .history = readHistory(history.get()), .historyBounds = {}};
  } catch (const WebOptionError& error) {
    throw OptionError(error.what());
  }
}

}  // namespace device
