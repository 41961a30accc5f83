#ifndef DEVICE_FLEET_FLEET_OPTIONS_H
#define DEVICE_FLEET_FLEET_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "base/command_line.h"
#include "fleet/history_reader.h"
#include "web_server/web_options.h"

namespace device {

struct FleetOptions {
  WebOptions web;
  std::optional<HistoryAccess> history;  // without: none is shown
  HistoryReader::Bounds historyBounds;   // of each answer; no option sets them
};

// Of the fleet's page. arguments begin with the program's name. Throws OptionError; prints help and
// ends the process for --help.
FleetOptions parseFleetOptions(const std::vector<std::string>& arguments);

}  // namespace device

#endif
