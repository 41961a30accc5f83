#ifndef DEVICE_WEB_SERVER_DISCOVERY_H
#define DEVICE_WEB_SERVER_DISCOVERY_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "services/event_table.h"

namespace device {

// Tells a home automation what the site publishes, in the form of Home Assistant's MQTT discovery
// for whole devices: one retained message that names the alarms, the tracker's state and whether it
// follows, each with the topic and the template of its value.
class Discovery {
 public:
  // prefix: first level of the automation's topics; url: of the device's page.
  Discovery(const std::string& prefix, std::string site, std::string url);

  std::string topic() const;

  // For the application's events that are declared now; nothing when none of them is to be told, so
  // that the message is to be cleared. What an earlier message had named and is no more is named
  // without contents: this removes it.
  std::optional<std::string> message(const std::map<std::uint32_t, Event>& declared);

 private:
  const std::string prefix;
  const std::string site;
  const std::string url;
  std::map<std::string, std::string> named;  // platforms of what the messages have named
};

}  // namespace device

#endif
