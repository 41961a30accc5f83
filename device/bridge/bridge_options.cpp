#include "bridge/bridge_options.h"

#include <cmath>

#include "web_server/web_command_line.h"

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
  WebCommandLine web;
};

void parse(const std::vector<std::string>& arguments, Raw* raw) {
  std::vector<GOptionEntry> entries = {
      {"find", 0, 0, G_OPTION_ARG_NONE, &raw->find,
       "Tell which cameras there are on this machine's networks, and end", nullptr},
      {"settings", 0, 0, G_OPTION_ARG_FILENAME, raw->settings.out(),
       "The cameras and the head; the page's set-up writes it", "FILE"},
      {"credentials", 0, 0, G_OPTION_ARG_FILENAME, raw->credentials.out(),
       "Their users and passwords, in a file that nobody else can read (credentials.json beside "
       "the "
       "settings)",
       "FILE"},
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
      {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
  const std::vector<GOptionEntry> web = raw->web.entries();
  entries.insert(entries.end() - 1, web.begin(), web.end());
  readOptions("Brings cameras and a head that speak ONVIF to the application.", entries, arguments);
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
  options.credentials = raw.credentials.get() != nullptr
                            ? std::filesystem::path(raw.credentials.get())
                            : options.settings.parent_path() / "credentials.json";
  options.daemon = raw.daemon.get() != nullptr ? raw.daemon.get() : "";
  options.restartDaemon = raw.restartDaemon != FALSE;
  options.duration = raw.duration;
  options.usesModule = transport == "module";
  options.log = raw.noLog == FALSE;
  options.quiet = raw.quiet != FALSE;
  options.web = raw.web.read(DEVICE_WEB);
  return options;
}

}  // namespace device::bridge
