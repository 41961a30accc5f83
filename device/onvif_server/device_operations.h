#ifndef DEVICE_ONVIF_SERVER_DEVICE_OPERATIONS_H
#define DEVICE_ONVIF_SERVER_DEVICE_OPERATIONS_H

#include <string>
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
  explicit DeviceOperations(DeviceIdentity identity) : identity(std::move(identity)) {}

  void addTo(Operations& operations);

 private:
  Tag information() const;
  Tag scopes() const;

  DeviceIdentity identity;
};

}  // namespace device::onvif

#endif
