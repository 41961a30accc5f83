#include "web_server/web_command_line.h"

namespace device {

std::vector<GOptionEntry> WebCommandLine::entries() {
  std::vector<GOptionEntry> all = {
      {"port", 0, 0, G_OPTION_ARG_STRING, port.out(), "Port of the web server (0: any free one)",
       "N"},
      {"listen", 0, 0, G_OPTION_ARG_STRING, listen.out(), "Address of the web server", "ADDRESS"},
      {"user", 0, 0, G_OPTION_ARG_STRING, user.out(), "User whom the web server asks for", "NAME"},
      {"password-file", 0, 0, G_OPTION_ARG_FILENAME, passwordFile.out(),
       "File whose first line is the user's password", "FILE"},
      {"metrics-token-file", 0, 0, G_OPTION_ARG_FILENAME, metricsTokenFile.out(),
       "File whose first line lets a reader of the metrics in", "FILE"},
      {"web", 0, 0, G_OPTION_ARG_FILENAME, web.out(), "Folder of the page", "DIR"}};
  const std::vector<GOptionEntry> ofBroker = broker.entries();
  all.insert(all.end(), ofBroker.begin(), ofBroker.end());
  return all;
}

WebOptions WebCommandLine::read(const char* usualFolder) const try {
  WebOptions options = readWebOptions({.address = listen.get(),
                                       .port = port.get(),
                                       .user = user.get(),
                                       .passwordFile = passwordFile.get(),
                                       .folder = web.get() != nullptr ? web.get() : usualFolder,
                                       .metricsTokenFile = metricsTokenFile.get()});
  options.broker = readBrokerOptions(broker);
  return options;
} catch (const WebOptionError& error) {
  throw OptionError(error.what());
}

}  // namespace device
