#ifndef DEVICE_ONVIF_SERVER_NOTIFICATION_H
#define DEVICE_ONVIF_SERVER_NOTIFICATION_H

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "onvif/tag.h"
#include "onvif/topic.h"
#include "services/event_table.h"

namespace device::onvif {

// What a message tells of a property; anything else just happens.
enum class PropertyOperation { none, initialized, changed, deleted };

struct Item {
  std::string name;
  std::string value;

  bool operator==(const Item&) const = default;
};

// One event as clients are told it. A property is known by its topic and its source.
struct Notification {
  Topic topic;
  std::vector<Item> source;
  std::vector<Item> data;
  PropertyOperation operation = PropertyOperation::none;
  std::int64_t time = 0;  // microseconds since 1970
};

bool isSameProperty(const Notification& one, const Notification& other);

// The element wsnt:NotificationMessage.
Tag notificationTag(const Notification& notification);

// The device's events as topics of the standard and, below "sv:SentrelVideo", under their own
// names: none or several for one event.
using PresetName = std::function<std::string(int preset)>;
std::vector<Notification> notificationsOf(const Event& event, PropertyOperation operation,
                                          const PresetName& presetName = {});

// The rule whose alarm it is, if it is one of this configuration of analytics.
std::optional<std::string> ruleOf(const Notification& notification, const std::string& analytics);

// The element tt:Messages: what the alarm of a rule tells.
Tag ruleMessagesTag();

// The element wstop:TopicSet with all that notificationsOf() makes. profiles: the names of the
// profiles' own events, which come and go with their profiles.
Tag topicSetTag(const std::set<std::string>& profiles);

// The name of an own event of a profile, or of all of a camera: "Camera1Profile2",
// "Camera1ProfileANY".
std::optional<std::string> profileNameOf(const Notification& notification);

}  // namespace device::onvif

#endif
