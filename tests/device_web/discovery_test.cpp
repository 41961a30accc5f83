#include "web_server/discovery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jansson.h>

#include <map>
#include <set>
#include <string>

#include "base/json_auto_ptr.h"
#include "web_server/event_json.h"

namespace device {
namespace {

using testing::UnorderedElementsAre;

class DiscoveryTest : public testing::Test {
 protected:
  void declare(std::uint32_t id, const std::string& name, const std::string& nice = "",
               bool stateless = false) {
    declared[id] = {.id = id,
                    .owner = ":1.1",
                    .stateless = stateless,
                    .keys = {{"topic0", "t", std::string("MiruPlatform"), false, false, "", "", ""},
                             {"topic1", "t", std::string("SentrelVideo"), false, false, "", "", ""},
                             {"topic2", "t", name, false, false, "", "", nice}},
                    .time = 0};
  }

  // Keeps the message for the others.
  void tell() {
    const std::optional<std::string> text = discovery.message(declared);
    ASSERT_TRUE(text);
    message = JsonAutoPtr(json_loads(text->c_str(), 0, nullptr));
  }

  json_t* component(const char* name) const {
    return json_object_get(json_object_get(message.get(), "cmps"), name);
  }

  static std::map<std::string, std::string> textsOf(json_t* object) {
    std::map<std::string, std::string> texts;
    const char* key = nullptr;
    json_t* value = nullptr;
    json_object_foreach(object, key, value) {
      const char* text = json_string_value(value);
      texts[key] = text != nullptr ? text : "?";
    }
    return texts;
  }

  std::set<std::string> componentNames() const {
    std::set<std::string> names;
    for (const auto& [name, value] : textsOf(json_object_get(message.get(), "cmps"))) {
      names.insert(name);
    }
    return names;
  }

  Discovery discovery{"homeassistant", "north", "http://10.0.0.9:8080/"};
  std::map<std::uint32_t, Event> declared;
  JsonAutoPtr message;
};

TEST_F(DiscoveryTest, MessageStandsWhereTheAutomationLooks) {
  EXPECT_EQ("homeassistant/device/sentrelvideo_north/config", discovery.topic());
}

TEST_F(DiscoveryTest, OneDeviceASiteWithItsAvailability) {
  declare(1, "state");
  tell();
  json_t* device = json_object_get(message.get(), "dev");
  EXPECT_STREQ("sentrelvideo_north",
               json_string_value(json_array_get(json_object_get(device, "ids"), 0)));
  EXPECT_STREQ("north", json_string_value(json_object_get(device, "name")));
  EXPECT_STREQ("http://10.0.0.9:8080/", json_string_value(json_object_get(device, "cu")));
  EXPECT_STREQ("SentrelVideo",
               json_string_value(json_object_get(json_object_get(message.get(), "o"), "name")));
  EXPECT_STREQ("sites/north/SentrelVideo/device",
               json_string_value(json_object_get(message.get(), "avty_t")));
  EXPECT_EQ(1, json_integer_value(json_object_get(message.get(), "qos")));
}

TEST_F(DiscoveryTest, AlarmIsABinarySensor) {
  declare(4, "Camera1Profile7", "SentrelVideo (Gate)");
  tell();
  EXPECT_THAT(textsOf(component("Camera1Profile7")),
              UnorderedElementsAre(
                  std::pair("p", "binary_sensor"), std::pair("name", "SentrelVideo (Gate)"),
                  std::pair("uniq_id", "sentrelvideo_north_Camera1Profile7"),
                  std::pair("dev_cla", "motion"),
                  std::pair("stat_t", "sites/north/MiruPlatform/SentrelVideo/Camera1Profile7"),
                  std::pair("val_tpl", "{{ value_json.data.active | string | lower }}"),
                  std::pair("pl_on", "true"), std::pair("pl_off", "false")));
  EXPECT_EQ("sites/north/" + brokerTopic(declared[4]),
            textsOf(component("Camera1Profile7")).at("stat_t"));
}

TEST_F(DiscoveryTest, StateIsASensorOfFourValuesAndFollowingABinarySensor) {
  declare(1, "state");
  declare(2, "isSentreling");
  tell();
  const auto state = textsOf(component("state"));
  EXPECT_EQ("sensor", state.at("p"));
  EXPECT_EQ("enum", state.at("dev_cla"));
  EXPECT_EQ("{{ value_json.data.value }}", state.at("val_tpl"));
  EXPECT_EQ("sites/north/MiruPlatform/SentrelVideo/state", state.at("stat_t"));
  EXPECT_EQ(4u, json_array_size(json_object_get(component("state"), "ops")));
  EXPECT_EQ("binary_sensor", textsOf(component("isSentreling")).at("p"));
  EXPECT_EQ(0u, textsOf(component("isSentreling")).count("dev_cla"));
}

TEST_F(DiscoveryTest, OtherEventsAreNotNamed) {
  declare(1, "state");
  declare(2, "xinternal_data", "", true);
  declare(3, "something");
  declare(4, "CameraANY");
  declared[4].owner = "device";
  declare(5, "CameraANY");
  declared[5].keys[1].value = std::string("Other");
  tell();
  EXPECT_THAT(componentNames(), UnorderedElementsAre("state"));
}

TEST_F(DiscoveryTest, WhatIsGoneIsNamedWithoutContents) {
  declare(1, "state");
  declare(2, "Camera1Profile1");
  tell();
  declared.erase(2);
  for (int i = 0; i < 2; ++i) {  // the message is told again, too
    tell();
    EXPECT_THAT(textsOf(component("Camera1Profile1")),
                UnorderedElementsAre(std::pair("p", "binary_sensor")));
    EXPECT_EQ("sensor", textsOf(component("state")).at("p"));
  }
  declare(3, "Camera1Profile1");
  tell();
  EXPECT_EQ(1u, textsOf(component("Camera1Profile1")).count("uniq_id"));
}

TEST_F(DiscoveryTest, WithoutEventsThereIsNoMessage) {
  declare(1, "state");
  tell();
  declared.clear();
  EXPECT_FALSE(discovery.message(declared));
  declare(2, "isSentreling");
  tell();
  EXPECT_THAT(componentNames(), UnorderedElementsAre("isSentreling"));
}

}  // namespace
}  // namespace device
