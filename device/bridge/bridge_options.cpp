#include "bridge/bridge_options.h"

#include <cmath>

namespace device::bridge {

namespace {

// Where GOption leaves what it reads.
struct Raw {
  gboolean find = FALSE;
  OptionText settings;
  OptionText credentials;
  OptionText daemon;
  gboolean restartDaemon = FALSE;
  double duration = 0;
  OptionText transport;
  gboolean noLog = FALSE;
  gboolean quiet = FALSE;
  OptionText listen;
  OptionText port;
  OptionText user;
  OptionText passwordFile;
  OptionText web;
  OptionText metricsTokenFile;
  RawBrokerOptions broker;
};

void parse(const std::vector<std::string>& arguments, Raw* raw) {
  std::vector<GOptionEntry> entries = {
      {"find", 0, 0, G_OPTION_ARG_NONE, &raw->find,
       "Tell which cameras there are on this machine's networks, and end", nullptr},
      {"settings", 0, 0, G_OPTION_ARG_FILENAME, raw->settings.out(), "The cameras and the head",
       "FILE"},
      {"credentials", 0, 0, G_OPTION_ARG_FILENAME, raw->credentials.out(),
       "Their users and passwords, in a file that nobody else can read", "FILE"},
      {"daemon", 0, 0, G_OPTION_ARG_FILENAME, raw->daemon.out(), "Application to start", "PROGRAM"},
      {"restart-daemon", 0, 0, G_OPTION_ARG_NONE, &raw->restartDaemon,
       "Start it again when it ends by itself", nullptr},
      {"duration", 0, 0, G_OPTION_ARG_DOUBLE, &raw->duration, "End after this time (0: never)",
       "SECONDS"},
      {"transport", 0, 0, G_OPTION_ARG_STRING, raw->transport.out(),
       "How scene frames are offered (socket)", "socket|module"},
      {"no-log", 0, 0, G_OPTION_ARG_NONE, &raw->noLog,
       "Leave the system log to the machine, which has one already", nullptr},
      {"quiet", 0, 0, G_OPTION_ARG_NONE, &raw->quiet, "No status and log lines", nullptr},
      {"port", 0, 0, G_OPTION_ARG_STRING, raw->port.out(),
       "Port of the web server (0: any free one)", "N"},
      {"listen", 0, 0, G_OPTION_ARG_STRING, raw->listen.out(), "Address of the web server",
       "ADDRESS"},
      {"user", 0, 0, G_OPTION_ARG_STRING, raw->user.out(), "User whom the web server asks for",
       "NAME"},
      {"password-file", 0, 0, G_OPTION_ARG_FILENAME, raw->passwordFile.out(),
       "File whose first line is the user's password", "FILE"},
      {"web", 0, 0, G_OPTION_ARG_FILENAME, raw->web.out(), "Folder of the page", "DIR"},
      {"metrics-token-file", 0, 0, G_OPTION_ARG_FILENAME, raw->metricsTokenFile.out(),
       "File whose first line lets a reader of the metrics in", "FILE"},
      {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
  const std::vector<GOptionEntry> broker = raw->broker.entries();
  entries.insert(entries.end() - 1, broker.begin(), broker.end());
  readOptions("Brings cameras and a head that speak ONVIF to the application.", entries, arguments);
}

WebOptions webOptionsOf(const Raw& raw) try {
  WebOptions options =
      readWebOptions({.address = raw.listen.get(),
                      .port = raw.port.get(),
                      .user = raw.user.get(),
                      .passwordFile = raw.passwordFile.get(),
                      .folder = raw.web.get() != nullptr ? raw.web.get() : DEVICE_WEB,
                      .metricsTokenFile = raw.metricsTokenFile.get()});
  options.broker = readBrokerOptions(raw.broker);
  return options;
} catch (const WebOptionError& error) {
  throw OptionError(error.what());
}

}  // namespace

BridgeOptions parseBridgeOptions(const std::vector<std::string>& arguments) {
  Raw raw;
  parse(arguments, &raw);
  BridgeOptions options;
  options.find = raw.find != FALSE;
  if (options.find) {
    return options;
  }
  const std::string transport = raw.transport.get() != nullptr ? raw.transport.get() : "socket";
  if (transport != "socket" && transport != "module") {
    throw OptionError("--transport is socket or module");
  }
  if (raw.settings.get() == nullptr) {
    throw OptionError("--settings says which cameras there are");
  }
  if (!std::isfinite(raw.duration) || raw.duration < 0) {
    throw OptionError("--duration is a time of 0 or more");
  }
  options.settings = raw.settings.get();
  if (raw.credentials.get() != nullptr) {
    options.credentials = raw.credentials.get();
  }
  options.daemon = raw.daemon.get() != nullptr ? raw.daemon.get() : "";
  options.restartDaemon = raw.restartDaemon != FALSE;
  options.duration = raw.duration;
  options.usesModule = transport == "module";
  options.log = raw.noLog == FALSE;
  options.quiet = raw.quiet != FALSE;
  options.web = webOptionsOf(raw);
  return options;
}

}  // namespace device::bridge
