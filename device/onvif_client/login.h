#ifndef DEVICE_ONVIF_CLIENT_LOGIN_H
#define DEVICE_ONVIF_CLIENT_LOGIN_H

#include <string>

namespace device::onvif {

// Who calls a camera; an empty name: nobody in particular, for cameras without users.
struct Login {
  std::string user;
  std::string password;

  bool operator==(const Login&) const = default;
};

}  // namespace device::onvif

#endif
