#ifndef DEVICE_SERVICES_DEVICE_PATHS_H
#define DEVICE_SERVICES_DEVICE_PATHS_H

#include <string>

namespace device {

// Where a device has its sockets.
struct DevicePaths {
  std::string scenes = "/var/run/strata/scenes";
  std::string subscriber = "/var/run/strata/subscriber";
  std::string ptzFolder = "/var/run/strata/ptz";
  std::string log = "/dev/log";
  std::string application = "/var/run/strata/http/SentrelVideo";  // where it answers requests
};

}  // namespace device

#endif
