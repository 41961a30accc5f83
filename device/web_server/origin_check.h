#ifndef DEVICE_WEB_SERVER_ORIGIN_CHECK_H
#define DEVICE_WEB_SERVER_ORIGIN_CHECK_H

#include <cstdint>
#include <optional>
#include <string>

namespace device {

// Tells requests of the device's own page, and of programs, from those that a page from elsewhere
// makes a browser send: a browser names the page's origin, and the host as the page wrote it.
class OriginCheck {
 public:
  // address: what the server listens on, as text without brackets. A server on a loopback address
  // is reached by loopback names only, so that no name of another's can be made to point at it;
  // elsewhere any name will do, as a user is asked for there.
  OriginCheck(std::string ownAddress, std::uint16_t port);

  // host and origin: the values of the headers, null when there is none.
  bool isAllowed(const char* host, const char* origin) const;

 private:
  bool isOwnHost(const std::string& name) const;

  std::string address;
  std::uint16_t port;
  bool anyName;
};

}  // namespace device

#endif
