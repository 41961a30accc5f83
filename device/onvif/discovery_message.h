#ifndef DEVICE_ONVIF_DISCOVERY_MESSAGE_H
#define DEVICE_ONVIF_DISCOVERY_MESSAGE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "onvif/xml.h"

namespace device::onvif {

// WS-Discovery over UDP.
constexpr char DISCOVERY_GROUP[] = "239.255.255.250";
constexpr std::uint16_t DISCOVERY_PORT = 3702;

// Who looks for whom.
struct DiscoveryQuestion {
  std::string messageId;
  bool isResolve = false;           // asks for one device by its address
  std::vector<XmlName> types;       // all have to be the device's; none: any
  std::vector<std::string> scopes;  // the same
  bool areScopesCompared = true;    // false: by a rule that is not known here
  std::string address;              // of a Resolve
};

// What a device says of itself.
struct DiscoveryDevice {
  std::string address;  // "urn:uuid:...", the same for good
  std::vector<std::string> scopes;
  std::string xaddrs;  // where its services are, separated by blanks
};

// Nothing for what is neither a Probe nor a Resolve.
std::optional<DiscoveryQuestion> readDiscoveryQuestion(std::string_view datagram);

bool isMeant(const DiscoveryQuestion& question, const DiscoveryDevice& device);

// The number of a message counts up while a device lives; its instance (the time of its start)
// tells that it counts anew.
struct DiscoverySequence {
  std::int64_t instance = 0;
  unsigned number = 0;
};

std::string discoveryAnswer(const DiscoveryQuestion& question, const DiscoveryDevice& device,
                            const DiscoverySequence& sequence);
std::string discoveryHello(const DiscoveryDevice& device, const DiscoverySequence& sequence);
std::string discoveryBye(const DiscoveryDevice& device, const DiscoverySequence& sequence);

}  // namespace device::onvif

#endif
