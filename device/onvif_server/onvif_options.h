#ifndef DEVICE_ONVIF_SERVER_ONVIF_OPTIONS_H
#define DEVICE_ONVIF_SERVER_ONVIF_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>

#include "web_server/web_options.h"

namespace device::onvif {

// How the device is offered as an ONVIF camera.
struct OnvifOptions {
  std::string address = "127.0.0.1";  // to listen on
  std::uint16_t port = 0;             // 0: any free one
  std::optional<WebUser> user;        // without: everybody, from this machine only
  // What it does wrong on purpose, separated by commas, and may be told to while it runs; without
  // it does right for good.
  std::optional<std::string> faults{};
};

// What stands on the command line; null for what does not.
struct RawOnvifOptions {
  const char* port = nullptr;
  const char* address = nullptr;
  const char* user = nullptr;
  const char* passwordFile = nullptr;
  const char* faults = nullptr;
};

// Nothing when it is not asked for. Reads the password, the first line of its file. Throws
// WebOptionError.
std::optional<OnvifOptions> readOnvifOptions(const RawOnvifOptions& raw);

}  // namespace device::onvif

#endif
