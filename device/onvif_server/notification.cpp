#include "onvif_server/notification.h"

#include <glib.h>

#include <algorithm>
#include <map>

#include "base/text.h"
#include "onvif/namespaces.h"
#include "onvif/time_text.h"

namespace device::onvif {
namespace {

constexpr char ANY_PROFILE[] = "ProfileANY";
constexpr char TOKEN[] = "tt:ReferenceToken";
constexpr char FLAG[] = "xs:boolean";

struct ValueToText {
  std::string operator()(std::int32_t value) const {
    return textOf(static_cast<std::int64_t>(value));
  }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(double value) const { return textOf(value); }
  std::string operator()(const std::string& value) const { return value; }
};

std::string topicOf(const Event& event, const char* level) {
  return valueOf<std::string>(event.keys, level).value_or("");
}

// The texts of a key, whatever its type; nothing when it has no value.
std::optional<std::string> valueText(const Event& event, const std::string& name) {
  for (const EventKey& key : event.keys) {
    if (key.name == name && key.value) {
      return std::visit(ValueToText(), *key.value);
    }
  }
  return std::nullopt;
}

std::string overview(const std::string& prefix, int camera) {
  return prefix + "_overview" + std::to_string(camera);
}

Notification make(Topic topic, std::vector<Item> source, std::vector<Item> data,
                  PropertyOperation operation, const Event& event) {
  return {std::move(topic), std::move(source), std::move(data), operation,
          event.time > 0 ? event.time : g_get_real_time()};
}

std::vector<Notification> motionAlarm(const Event& event, PropertyOperation operation) {
  const auto camera = valueOf<std::int32_t>(event.keys, "Source");
  const auto state = valueText(event, "State");
  if (!camera || !state) {
    return {};
  }
  return {make({ns::TOPICS, {"VideoSource", "MotionAlarm"}},
               {{"Source", overview("source", *camera)}}, {{"State", *state}}, operation, event)};
}

Topic ruleTopic() {
  return {ns::TOPICS, {"RuleEngine", "CellMotionDetector", "Motion"}};
}

// The camera's number of "Camera1Profile2".
std::optional<int> cameraOfProfile(std::string_view name) {
  constexpr std::string_view CAMERA = "Camera";
  if (!name.starts_with(CAMERA) || name.ends_with(ANY_PROFILE) ||
      name.find("Profile") == std::string_view::npos) {
    return std::nullopt;
  }
  name.remove_prefix(CAMERA.size());
  const auto camera = text::leadingNumber<int>(name);
  return camera && camera->rest.starts_with("Profile") ? std::optional(camera->value)
                                                       : std::nullopt;
}

std::vector<Notification> ownEvent(const Event& event, PropertyOperation operation) {
  const std::string name = topicOf(event, "topic2");
  const auto active = valueText(event, "active");
  const auto value = valueText(event, "value");
  std::vector<Notification> result;
  if (active || value) {
    const Item item = active ? Item{"active", *active} : Item{"value", *value};
    result.push_back(make({ns::OWN_TOPICS, {"SentrelVideo", name}}, {}, {item}, operation, event));
  }
  const auto camera = cameraOfProfile(name);
  if (camera && active) {
    result.push_back(make(ruleTopic(),
                          {{"VideoSourceConfigurationToken", overview("picture", *camera)},
                           {"VideoAnalyticsConfigurationToken", overview("analytics", *camera)},
                           {"Rule", name}},
                          {{"IsMotion", *active}}, operation, event));
  }
  return result;
}

// No property: a preset is reached, or left.
std::vector<Notification> preset(const Event& event, PropertyOperation operation,
                                 const PresetName& presetName) {
  const auto token = valueOf<std::int32_t>(event.keys, "PresetToken");
  const auto reached = valueOf<bool>(event.keys, "on_preset");
  if (operation != PropertyOperation::changed || !token || *token < 1 || !reached) {
    return {};
  }
  const std::string number = std::to_string(*token);
  return {make({ns::TOPICS, {"PTZController", "PTZPresets", *reached ? "Reached" : "Left"}},
               {{"PTZConfigurationToken", "head_ptz"}},
               {{"PresetToken", number},
                {"PresetName", presetName ? presetName(*token) : "Preset " + number}},
               PropertyOperation::none, event)};
}

const char* nameOf(PropertyOperation operation) {
  switch (operation) {
    case PropertyOperation::initialized:
      return "Initialized";
    case PropertyOperation::deleted:
      return "Deleted";
    default:
      return "Changed";
  }
}

Tag itemsTag(const std::string& name, const std::vector<Item>& items) {
  Tag tag(name);
  for (const Item& item : items) {
    tag.add(Tag("tt:SimpleItem", Attribute("Name", item.name), Attribute("Value", item.value)));
  }
  return tag;
}

std::string prefixOf(const std::string& nameSpace) {
  return nameSpace == ns::OWN_TOPICS ? "sv" : "tns1";
}

// Each item's value is its type.
Tag descriptionsTag(const std::string& name, const std::vector<Item>& items) {
  Tag tag(name);
  for (const Item& item : items) {
    tag.add(Tag("tt:SimpleItemDescription", Attribute("Name", item.name),
                Attribute("Type", item.value)));
  }
  return tag;
}

Tag messageTag(const std::string& name, bool isProperty, const std::vector<Item>& source,
               const std::vector<Item>& data) {
  return Tag(name, Attribute("xmlns:xs", "http://www.w3.org/2001/XMLSchema"),
             Attribute("xmlns:tt", ns::SCHEMA), Attribute("IsProperty", isProperty),
             descriptionsTag("tt:Source", source), descriptionsTag("tt:Data", data));
}

Tag described(const std::string& name, Tag message) {
  return Tag(name, Attribute("wstop:topic", true), std::move(message));
}

Tag described(const std::string& name, bool isProperty, const std::vector<Item>& source,
              const std::vector<Item>& data) {
  return described(name, messageTag("tt:MessageDescription", isProperty, source, data));
}

Tag ruleMessage(const std::string& name) {
  return messageTag(name, true,
                    {{"VideoSourceConfigurationToken", TOKEN},
                     {"VideoAnalyticsConfigurationToken", TOKEN},
                     {"Rule", "xs:string"}},
                    {{"IsMotion", FLAG}});
}

}  // namespace

bool isSameProperty(const Notification& one, const Notification& other) {
  return one.topic == other.topic && one.source == other.source;
}

Tag notificationTag(const Notification& notification) {
  const Topic& topic = notification.topic;
  const std::string prefix = prefixOf(topic.nameSpace);
  std::string path;
  for (const std::string& level : topic.path) {
    path += (path.empty() ? "" : "/") + level;
  }
  Tag message("tt:Message", Attribute("UtcTime", dateTimeText(notification.time)));
  if (notification.operation != PropertyOperation::none) {
    message.add(Attribute("PropertyOperation", nameOf(notification.operation)));
  }
  message.add(itemsTag("tt:Source", notification.source));
  message.add(itemsTag("tt:Data", notification.data));
  return Tag("wsnt:NotificationMessage",
             Tag("wsnt:Topic", Attribute("xmlns:" + prefix, topic.nameSpace),
                 Attribute("Dialect", TopicFilter::CONCRETE_SET), prefix + ":" + path),
             Tag("wsnt:Message", std::move(message)));
}

std::vector<Notification> notificationsOf(const Event& event, PropertyOperation operation,
                                          const PresetName& presetName) {
  const std::string kind = topicOf(event, "topic0");
  const std::string second = topicOf(event, "topic1");
  if (kind == "VideoSource" && second == "MotionAlarm") {
    return motionAlarm(event, operation);
  }
  if (second == "SentrelVideo" && !event.stateless) {
    return ownEvent(event, operation);
  }
  if (kind == "PTZController" && second == "PTZPresets") {
    return preset(event, operation, presetName);
  }
  return {};
}

std::optional<std::string> ruleOf(const Notification& notification, const std::string& analytics) {
  if (notification.topic != ruleTopic()) {
    return std::nullopt;
  }
  const auto valueOfItem = [&](const char* name) {
    const auto item = std::ranges::find(notification.source, name, &Item::name);
    return item != notification.source.end() ? item->value : std::string();
  };
  return valueOfItem("VideoAnalyticsConfigurationToken") == analytics
             ? std::optional(valueOfItem("Rule"))
             : std::nullopt;
}

Tag ruleMessagesTag() {
  return std::move(ruleMessage("tt:Messages")
                       .add(Tag("tt:ParentTopic", Attribute("xmlns:tns1", ns::TOPICS),
                                "tns1:RuleEngine/CellMotionDetector/Motion")));
}

std::optional<std::string> profileNameOf(const Notification& notification) {
  constexpr std::string_view START = "Camera";
  const Topic& topic = notification.topic;
  if (topic.nameSpace != ns::OWN_TOPICS || topic.path.size() != 2) {
    return std::nullopt;
  }
  const std::string& name = topic.path.back();
  const bool isPlain = std::ranges::all_of(name, [](char c) { return g_ascii_isalnum(c) != 0; });
  const bool isOfProfile = name.starts_with(START) && name.find("Profile") != std::string::npos;
  return isPlain && isOfProfile ? std::optional(name) : std::nullopt;
}

Tag topicSetTag(const std::set<std::string>& profiles) {
  const std::vector<Item> presetSource = {{"PTZConfigurationToken", TOKEN}};
  const std::vector<Item> presetData = {{"PresetToken", TOKEN}, {"PresetName", "tt:Name"}};
  Tag own("sv:SentrelVideo", described("state", true, {}, {{"value", "xs:string"}}),
          described("isSentreling", true, {}, {{"active", FLAG}}),
          described("CameraANY", true, {}, {{"active", FLAG}}));
  for (const std::string& profile : profiles) {
    own.add(described(profile, true, {}, {{"active", FLAG}}));
  }
  return Tag("wstop:TopicSet",
             Tag("tns1:VideoSource",
                 described("MotionAlarm", true, {{"Source", TOKEN}}, {{"State", FLAG}})),
             Tag("tns1:RuleEngine", Tag("CellMotionDetector",
                                        described("Motion", ruleMessage("tt:MessageDescription")))),
             Tag("tns1:PTZController",
                 Tag("PTZPresets", described("Reached", false, presetSource, presetData),
                     described("Left", false, presetSource, presetData))),
             std::move(own));
}

}  // namespace device::onvif
