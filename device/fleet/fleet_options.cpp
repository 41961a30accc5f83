#include "fleet/fleet_options.h"

namespace device {

WebOptions parseFleetOptions(const std::vector<std::string>& arguments) {
  OptionText listen;
  OptionText port;
  OptionText user;
  OptionText passwordFile;
  OptionText web;
  RawBrokerOptions broker;
  std::vector<GOptionEntry> entries = {
      {"listen", 0, 0, G_OPTION_ARG_STRING, listen.out(), "Address of the page", "ADDRESS"},
      {"port", 0, 0, G_OPTION_ARG_STRING, port.out(), "Port of the page (0: any free one)", "N"},
      {"user", 0, 0, G_OPTION_ARG_STRING, user.out(), "User whom the page asks for", "NAME"},
      {"password-file", 0, 0, G_OPTION_ARG_FILENAME, passwordFile.out(),
       "File whose first line is the user's password", "FILE"},
      {"web", 0, 0, G_OPTION_ARG_FILENAME, web.out(), "Folder of the page's files", "DIR"},
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
    return options;
  } catch (const WebOptionError& error) {
    throw OptionError(error.what());
  }
}

}  // namespace device
