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
  // Of its device service, several ways: those that answer first. The last one is the host that
  // sent the answer, where none has told it.
  std::vector<std::string> addresses;
};

// The question for all cameras of a network.
std::string discoveryProbe(const std::string& messageId);

// Whoever answers that question in a datagram; nobody for any other datagram. sender: the numeric
// address that the datagram came from, empty where it is not known.
std::vector<FoundCamera> readDiscoveryMatches(std::string_view datagram,
                                              const std::string& messageId,
                                              const std::string& sender = "");

// Tries all addresses at once and puts those first that take a connection, in the order in which
// they are told. Where none does all stay as they are. Waits for so long at most.
void sortByAnswer(std::vector<FoundCamera>* cameras, std::chrono::milliseconds patience);

// Asks three times on all networks of this machine and waits for a while, which tries the
// addresses, too. What cannot be asked is
// passed over.
std::vector<FoundCamera> findCameras(std::chrono::milliseconds patience);

}  // namespace device::onvif

#endif
