#include "web_server/discovery.h"

#include <string_view>
#include <utility>

#include "services/event_service.h"
#include "web_server/broker_options.h"
#include "web_server/event_json.h"
#include "web_server/json_values.h"
#include "web_server/mqtt_publisher.h"

namespace device {

namespace {

constexpr char PRODUCT[] = "SentrelVideo";
constexpr char ALARM_SENSOR[] = "binary_sensor";
constexpr char STATE_SENSOR[] = "sensor";
constexpr std::string_view OWN = "MiruPlatform/SentrelVideo/";

using Texts = std::initializer_list<std::pair<const char*, std::string>>;

json_t* objectOf(const Texts& texts) {
  json_t* object = json_object();
  for (const auto& [key, text] : texts) {
    json_object_set_new(object, key, jsonText(text));
  }
  return object;
}

json_t* switchOf(const std::string& topic, const std::string& name) {
  return objectOf({{"p", ALARM_SENSOR},
                   {"name", name},
                   {"stat_t", topic},
                   {"val_tpl", "{{ value_json.data.active | string | lower }}"},
                   {"pl_on", "true"},
                   {"pl_off", "false"}});
}

json_t* alarmOf(const std::string& topic, const std::string& name) {
  json_t* alarm = switchOf(topic, name);
  json_object_set_new(alarm, "dev_cla", json_string("motion"));
  return alarm;
}

json_t* stateOf(const std::string& topic) {
  json_t* state = objectOf({{"p", STATE_SENSOR},
                            {"name", "Tracker"},
                            {"dev_cla", "enum"},
                            {"ent_cat", "diagnostic"},
                            {"stat_t", topic},
                            {"val_tpl", "{{ value_json.data.value }}"}});
  json_t* values = json_array();
  for (const char* value : {"stopped", "connecting", "autotuning", "running"}) {
    json_array_append_new(values, json_string(value));
  }
  json_object_set_new(state, "ops", values);
  return state;
}

// Null for what is not told.
json_t* componentOf(const Event& event, const std::string& name, const std::string& topic) {
  if (name == "state") {
    return stateOf(topic);
  }
  if (name == "isSentreling") {
    return switchOf(topic, "Following");
  }
  if (!isAlarm(event)) {
    return nullptr;
  }
  const std::string nice = niceName(event.keys);
  return alarmOf(topic, nice.empty() ? name : nice);
}

}  // namespace

Discovery::Discovery(const std::string& prefix, std::string site, std::string url)
    : prefix(prefix), site(std::move(site)), url(std::move(url)) {}

std::string Discovery::topic() const {
  return prefix + "/device/sentrelvideo_" + site + "/config";
}

std::optional<std::string> Discovery::message(const std::map<std::uint32_t, Event>& declared) {
  const std::string id = "sentrelvideo_" + site;
  const JsonAutoPtr components(json_object());
  std::map<std::string, std::string> present;
  for (const auto& [number, event] : declared) {
    const std::string topic = brokerTopic(event);
    if (EventService::isOfDevice(event) || event.stateless || !topic.starts_with(OWN)) {
      continue;
    }
    const std::string name = topic.substr(OWN.size());
    json_t* component = componentOf(event, name, topicPrefix(site) + topic);
    if (component == nullptr) {
      continue;
    }
    json_object_set_new(component, "uniq_id", jsonText(id + "_" + name));
    present[name] = json_string_value(json_object_get(component, "p"));
    json_object_set_new(components.get(), name.c_str(), component);
  }
  if (present.empty()) {
    named.clear();
    return std::nullopt;
  }
  for (const auto& [name, platform] : named) {
    if (!present.contains(name)) {
      json_object_set_new(components.get(), name.c_str(), objectOf({{"p", platform}}));
    }
  }
  named.insert(present.begin(), present.end());

  const JsonAutoPtr message(json_object());
  json_t* device =
      objectOf({{"name", site}, {"mdl", PRODUCT}, {"sw", DEVICE_VERSION}, {"cu", url}});
  json_object_set_new(device, "ids", json_pack("[s]", id.c_str()));
  json_object_set_new(message.get(), "dev", device);
  json_object_set_new(message.get(), "o", objectOf({{"name", PRODUCT}, {"sw", DEVICE_VERSION}}));
  json_object_set_new(message.get(), "avty_t",
                      jsonText(topicPrefix(site) + MqttPublisher::AVAILABILITY));
  json_object_set_new(message.get(), "qos", json_integer(1));
  json_object_set(message.get(), "cmps", components.get());
  return lineOf(message.get());
}

}  // namespace device
