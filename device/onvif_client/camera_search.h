#ifndef DEVICE_ONVIF_CLIENT_CAMERA_SEARCH_H
#define DEVICE_ONVIF_CLIENT_CAMERA_SEARCH_H

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace device::onvif {

// A camera that has answered, by what it says of itself before anybody has logged in.
struct FoundCamera {
  std::string endpoint;  // the same for good; what it is known by
  std::string name;
  std::string hardware;
  std::vector<std::string> addresses;  // of its device service, several ways
};

// The question for all cameras of a network.
std::string discoveryProbe(const std::string& messageId);

// Whoever answers that question in a datagram; nobody for any other datagram.
std::vector<FoundCamera> readDiscoveryMatches(std::string_view datagram,
                                              const std::string& messageId);

// Asks three times on all networks of this machine and waits for a while. What cannot be asked is
// passed over.
std::vector<FoundCamera> findCameras(std::chrono::milliseconds patience);

}  // namespace device::onvif

#endif
