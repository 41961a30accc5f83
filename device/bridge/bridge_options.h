#ifndef DEVICE_BRIDGE_BRIDGE_OPTIONS_H
#define DEVICE_BRIDGE_BRIDGE_OPTIONS_H

#include <filesystem>
#include <string>
#include <vector>

#include "base/command_line.h"
#include "web_server/web_options.h"

namespace device::bridge {

// What the user asked for on the command line. Passwords are never there.
struct BridgeOptions {
  bool find = false;  // only tell which cameras there are
  std::filesystem::path settings;
  std::filesystem::path credentials;
  std::string daemon;  // program to start, empty for none
  bool restartDaemon = false;
  double duration = 0;      // seconds, 0 for no end
  bool usesModule = false;  // scene frames by the subscriber module instead of the socket
  bool log = true;          // be the system log, too
  bool quiet = false;
  WebOptions web;
};

// arguments begin with the program's name. Throws OptionError; prints help and ends the process for
// --help.
BridgeOptions parseBridgeOptions(const std::vector<std::string>& arguments);

}  // namespace device::bridge

#endif
