#ifndef DEVICE_ONVIF_SERVER_DEVICE_OPERATIONS_H
#define DEVICE_ONVIF_SERVER_DEVICE_OPERATIONS_H

#include <glib.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "onvif_server/operations.h"

namespace device::onvif {

// Who the device is.
struct DeviceIdentity {
  std::string model;
  std::string version;
  std::string serial;
  std::string address;  // of discovery: "urn:uuid:..."
};

// "onvif://www.onvif.org/..."; what a name cannot hold in a URI is escaped.
std::vector<std::string> scopesOf(const DeviceIdentity& identity);

// The device service: who it is, what time it is, and where its other services are.
class DeviceOperations {
 public:
  // Microseconds since 1970.
  using WallClock = std::function<std::int64_t()>;

  explicit DeviceOperations(DeviceIdentity identity, WallClock clock = g_get_real_time)
      : identity(std::move(identity)), clock(std::move(clock)) {}

  void addTo(Operations& operations);

 private:
  Tag systemDateAndTime() const;
  Tag information() const;
  Tag scopes() const;

  DeviceIdentity identity;
  WallClock clock;
};

}  // namespace device::onvif

#endif
