#include "web_server/event_json.h"

#include <gtest/gtest.h>

namespace device {
namespace {

EventKey topic(const std::string& name, const std::string& value, const std::string& nice = "") {
  return {name, "tns", value, false, false, "", "", nice};
}

EventKey dataKey(const std::string& name, EventValue value) {
  return {.name = name, .value = std::move(value), .isData = true};
}

EventKey sourceKey(const std::string& name, EventValue value) {
  return {.name = name, .value = std::move(value), .isSource = true};
}

Event event(EventKeys keys, bool stateless = false) {
  // 2026-01-01T12:00:00.123456 UTC
  return {.id = 7,
          .owner = ":1.1",
          .stateless = stateless,
          .keys = std::move(keys),
          .time = 1767268800123456};
}

TEST(EventJsonTest, TopicsDataSourceAndTimeAreTold) {
  EXPECT_EQ(
      R"({"id":7,"topics":{"topic0":"A","topic1":"B","topic2":"C"},)"
      R"("data":{"active":true,"count":-3,"level":0.5,"text":"x\"y"},"source":{"Source":2},)"
      R"("stateful":true,"time":"2026-01-01T12:00:00.123Z","nice":"of C","start":"S","seq":5})",
      eventJson(event({topic("topic0", "A"), topic("topic1", "B", "of B"),
                       topic("topic2", "C", "of C"), dataKey("active", true), dataKey("count", -3),
                       EventKey{.name = "level", .value = 0.5},
                       dataKey("text", std::string("x\"y")), sourceKey("Source", 2)}),
                {"S", 5}));
}

TEST(EventJsonTest, MissingTopicsAndValuesAreNoFault) {
  EventKey empty = dataKey("value", 0);
  empty.value.reset();
  EXPECT_EQ(
      R"({"id":7,"topics":{"topic0":"A","topic1":"B"},"data":{"value":null},"source":{},)"
      R"("stateful":false,"time":"2026-01-01T12:00:00.123Z","nice":"of B","start":"","seq":1})",
      eventJson(event({topic("topic0", "A"), topic("topic1", "B", "of B"), empty}, true), {"", 1}));
}

TEST(EventJsonTest, KeyMarkedAsBothIsInBoth) {
  const std::string json =
      eventJson(event({{.name = "a", .value = 1, .isSource = true, .isData = true}}), {});
  EXPECT_NE(std::string::npos, json.find(R"("data":{"a":1},"source":{"a":1})"));
}

TEST(EventJsonTest, UndeclaredEventIsNamedByItsTopics) {
  EXPECT_EQ(R"({"id":7,"topics":{"topic0":"A"}})",
            undeclaredJson(event({topic("topic0", "A"), dataKey("active", true)})));
}

TEST(EventJsonTest, TimesAreOfUtcAndCutToMilliseconds) {
  EXPECT_EQ("1970-01-01T00:00:00.000Z", isoTime(0));
  EXPECT_EQ("1970-01-01T00:00:01.999Z", isoTime(1999999));
  EXPECT_EQ("2024-02-29T23:59:59.001Z", isoTime(1709251199001000));
}

TEST(EventJsonTest, BrokersTopicHasALevelForEachTopicAndSource) {
  EXPECT_EQ("A/B/C", brokerTopic(event({topic("topic2", "C"), topic("topic0", "A"),
                                        topic("topic1", "B"), dataKey("active", true)})));
  EXPECT_EQ("A/C", brokerTopic(event({topic("topic0", "A"), topic("topic2", "C")})));
  EXPECT_EQ(
      "A/B/3",
      brokerTopic(event({topic("topic0", "A"), topic("topic1", "B"), sourceKey("Source", 3)})));
  EXPECT_EQ("_/a_b_c", brokerTopic(event({topic("topic0", "#"), topic("topic1", "a/b+c")})));
}

TEST(EventJsonTest, AlarmsAreToldFromOtherEvents) {
  const auto isAlarmOf = [](const std::string& top, const std::string& middle,
                            const std::string& last) {
    return isAlarm(event({topic("topic0", top), topic("topic1", middle), topic("topic2", last)}));
  };
  for (const std::string last : {"Camera1Profile7", "Camera1ProfileANY", "CameraANY"}) {
    EXPECT_TRUE(isAlarmOf("MiruPlatform", "SentrelVideo", last)) << last;
    EXPECT_FALSE(isAlarmOf("MiruPlatform", "Other", last)) << last;
  }
  EXPECT_FALSE(isAlarmOf("MiruPlatform", "SentrelVideo", "state"));
  EXPECT_FALSE(isAlarmOf("MiruPlatform", "SentrelVideo", "isSentreling"));
  EXPECT_TRUE(isAlarm(event({topic("topic0", "VideoSource"), topic("topic1", "MotionAlarm")})));
  EXPECT_FALSE(isAlarm(event({topic("topic0", "VideoSource"), topic("topic1", "Other")})));
  EXPECT_FALSE(isAlarm(event({})));
}

TEST(EventJsonTest, PlainTopicHasNothingThatEndsAConnection) {
  EXPECT_EQ("A/b_c_d_e/_f_g", plainTopic("A/b.c d*e/>f\tg"));
}

}  // namespace
}  // namespace device
