#ifndef DEVICE_FLEET_FLEET_OPTIONS_H
#define DEVICE_FLEET_FLEET_OPTIONS_H

#include <string>
#include <vector>

#include "base/command_line.h"
#include "web_server/web_options.h"

namespace device {

// Of the fleet's page. arguments begin with the program's name. Throws OptionError; prints help and
// ends the process for --help.
WebOptions parseFleetOptions(const std::vector<std::string>& arguments);

}  // namespace device

#endif
