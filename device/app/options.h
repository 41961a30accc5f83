#ifndef DEVICE_APP_OPTIONS_H
#define DEVICE_APP_OPTIONS_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "base/command_line.h"
#include "onvif_server/onvif_options.h"
#include "web_server/web_options.h"

namespace device {

// What the user asked for on the command line.
struct Options {
  std::string model = "default";  // a name within models, or a file
  std::filesystem::path models;
  std::optional<std::filesystem::path> tracks;  // the product's own people without
  bool asRecorded = false;                      // no rests are added to the tracks
  std::string scene;                            // where people walk; empty: what the model says
  std::string transport;                        // "socket" or "module"; empty: what the model says
  std::string following = "predictive";         // the application's way, or "specified"
  bool log = true;                              // the device is the system log, too
  double duration = 0;                          // seconds, 0 for no end
  std::uint64_t seed = 1;
  std::optional<std::filesystem::path> report;
  std::optional<double> scoreFrom;  // seconds; the tracker's first running without
  std::string daemon;               // program to start, empty for none
  bool restartDaemon = false;       // when it ends by itself
  std::optional<double> headBoot;   // seconds; what the model says without
  int framesPerSecond = 10;
  bool quiet = false;  // no status and log lines
  WebOptions web;
  std::optional<onvif::OnvifOptions> onvif;  // without: the device is no ONVIF camera
};

using ::OptionError;

// arguments begin with the program's name. Throws OptionError; prints help and ends the process for
// --help.
Options parseOptions(const std::vector<std::string>& arguments);

}  // namespace device

#endif
