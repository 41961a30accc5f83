#include "onvif_server/event_operations.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "device_onvif/call.h"
#include "device_services/private_bus.h"
#include "onvif/time_text.h"

namespace device::onvif {
namespace {

using Texts = std::vector<std::string>;

constexpr std::int64_t SECOND = 1000000;

EventKey topic(const char* level, const char* value) {
  return {.name = level, .nameSpace = "tns1", .value = std::string(value)};
}

EventKeys motionAlarm(int camera, bool state) {
  return {topic("topic0", "VideoSource"),
          topic("topic1", "MotionAlarm"),
          {.name = "Source", .value = camera, .isSource = true},
          {.name = "State", .value = state, .isData = true}};
}

EventKeys profileAlarm(const char* name, bool active) {
  return {topic("topic0", "MiruPlatform"),
          topic("topic1", "SentrelVideo"),
          topic("topic2", name),
          {.name = "active", .value = active, .isData = true}};
}

class EventOperationsTest : public testing::Test {
 protected:
  EventOperationsTest() { onvif.addTo(operations); }

  std::string subscribe(const std::string& content = "") {
    const std::string address =
        call(operations, ns::EVENTS, "CreatePullPointSubscription", content).at("Address").text();
    EXPECT_EQ("http://camera:80/onvif/event_service/", address.substr(0, address.rfind('/') + 1));
    return address.substr(std::string("http://camera:80").size());
  }

  // "topic operation name=value..." of each message that waits.
  Texts pull(const std::string& path, int most = 100) {
    return textsOf(call(
        operations, ns::EVENTS, "PullMessages",
        "<Timeout>PT0S</Timeout><MessageLimit>" + std::to_string(most) + "</MessageLimit>", path));
  }

  // Microseconds that a new point is given.
  std::int64_t lifetime(const std::string& content) {
    const CallAnswer answer = call(operations, ns::EVENTS, "CreatePullPointSubscription", content);
    const auto begin = readDateTime(answer.at("CurrentTime").text());
    const auto end = readDateTime(answer.at("TerminationTime").text());
    return end.value_or(0) - begin.value_or(0);
  }

  static Texts textsOf(const CallAnswer& answer) {
    Texts texts;
    for (int i = 0; i < answer.count("NotificationMessage"); ++i) {
      const CallAnswer each = answer.at("NotificationMessage", i);
      const CallAnswer message = each.at("Message").at("Message");
      std::string text = each.at("Topic").text() + ' ' + message.attribute("PropertyOperation");
      for (int k = 0; k < message.count("SimpleItem"); ++k) {
        const CallAnswer item = message.at("SimpleItem", k);
        text += ' ' + item.attribute("Name") + '=' + item.attribute("Value");
      }
      texts.push_back(text);
    }
    return texts;
  }

  DbusDaemon bus;
  GObjectPtr<GDBusConnection> connection = connectToSystemBus();
  EventService events{connection.get()};
  std::int64_t now = 1000 * SECOND;
  EventOperations onvif{events, [this] { return now; }};
  Operations operations;
};

TEST_F(EventOperationsTest, AlarmIsToldAsItIsAndAsItChanges) {
  const std::uint32_t id = events.declare(motionAlarm(2, false), false);
  const std::string point = subscribe();
  EXPECT_EQ(Texts{"tns1:VideoSource/MotionAlarm Initialized Source=source_overview2 State=false"},
            pull(point));
  events.send(id, {{.name = "State", .value = true, .isData = true}});
  EXPECT_EQ(Texts{"tns1:VideoSource/MotionAlarm Changed Source=source_overview2 State=true"},
            pull(point));
  EXPECT_EQ(Texts{}, pull(point));
}

TEST_F(EventOperationsTest, AlarmOfAProfileHasItsOwnNameAndOneThatClientsKnow) {
  const std::uint32_t id = events.declare(profileAlarm("Camera1Profile3", false), false);
  const std::string point = subscribe();
  pull(point);
  events.send(id, {{.name = "active", .value = true, .isData = true}});
  EXPECT_EQ((Texts{"sv:SentrelVideo/Camera1Profile3 Changed active=true",
                   "tns1:RuleEngine/CellMotionDetector/Motion Changed "
                   "VideoSourceConfigurationToken=picture_overview1 "
                   "VideoAnalyticsConfigurationToken=analytics_overview1 Rule=Camera1Profile3 "
                   "IsMotion=true"}),
            pull(point));
}

TEST_F(EventOperationsTest, RulesAreTheProfilesThatMayRaiseAnAlarm) {
  events.declare(profileAlarm("Camera1Profile3", false), false);
  events.declare(profileAlarm("Camera1Profile1", true), false);
  events.declare(profileAlarm("Camera2Profile1", true), false);
  events.declare(profileAlarm("Camera1ProfileANY", true), false);
  EXPECT_EQ((Texts{"Camera1Profile1", "Camera1Profile3"}), onvif.rulesOf("analytics_overview1"));
  EXPECT_EQ(Texts{}, onvif.rulesOf("analytics_head"));
}

TEST_F(EventOperationsTest, AlarmsOfCamerasAndDeviceHaveTheirOwnNamesAlone) {
  events.declare(profileAlarm("Camera1ProfileANY", true), false);
  events.declare(profileAlarm("CameraANY", true), false);
  EXPECT_EQ((Texts{"sv:SentrelVideo/Camera1ProfileANY Initialized active=true",
                   "sv:SentrelVideo/CameraANY Initialized active=true"}),
            pull(subscribe()));
}

TEST_F(EventOperationsTest, MessagesThatPassAndInnerOnesAreNotTold) {
  EventKeys drawing = profileAlarm("xinternal_data", true);
  const std::string point = subscribe();
  const std::uint32_t id = events.declare(drawing, true);
  events.send(id, {});
  EXPECT_EQ(Texts{}, pull(point));
}

TEST_F(EventOperationsTest, PresetsAreReachedAndLeft) {
  EventKeys keys = {topic("topic0", "PTZController"),
                    topic("topic1", "PTZPresets"),
                    {.name = "PresetToken", .value = -1, .isSource = true},
                    {.name = "on_preset", .value = false, .isData = true}};
  const std::uint32_t id = events.declare(keys, false);
  const std::string point = subscribe();
  EXPECT_EQ(Texts{}, pull(point));
  events.send(id, {{.name = "PresetToken", .value = 4}, {.name = "on_preset", .value = true}});
  events.send(id, {{.name = "on_preset", .value = false}});
  EXPECT_EQ((Texts{"tns1:PTZController/PTZPresets/Reached none PTZConfigurationToken=head_ptz "
                   "PresetToken=4 PresetName=Preset 4",
                   "tns1:PTZController/PTZPresets/Left none PTZConfigurationToken=head_ptz "
                   "PresetToken=4 PresetName=Preset 4"}),
            pull(point));
}

TEST_F(EventOperationsTest, PresetHasTheNameThatClientsGaveIt) {
  onvif.namePresets([](int preset) { return "gate " + std::to_string(preset); });
  const std::uint32_t id = events.declare({topic("topic0", "PTZController"),
                                           topic("topic1", "PTZPresets"),
                                           {.name = "PresetToken", .value = -1, .isSource = true},
                                           {.name = "on_preset", .value = false, .isData = true}},
                                          false);
  const std::string point = subscribe();
  events.send(id, {{.name = "PresetToken", .value = 4}, {.name = "on_preset", .value = true}});
  EXPECT_EQ((Texts{"tns1:PTZController/PTZPresets/Reached none PTZConfigurationToken=head_ptz "
                   "PresetToken=4 PresetName=gate 4"}),
            pull(point));
}

TEST_F(EventOperationsTest, EventsGoOnWhenTheOperationsHaveGone) {
  int told = 0;
  {
    EventOperations brief(events);
    brief.observe([&](const auto&) { ++told; });
    events.declare(profileAlarm("Camera1Profile1", false), false);
  }
  const std::uint32_t id = events.declare(motionAlarm(1, false), false);
  events.send(id, {{.name = "State", .value = true, .isData = true}});
  EXPECT_EQ(0, told);  // its own events are not told as new ones
}

TEST_F(EventOperationsTest, EventThatGoesWithItsClientIsDeletedUnlessItLivesOn) {
  const std::string point = subscribe();
  const auto declare = [&](BusClient& client) {
    GVariant* keys = toVariant(profileAlarm("Camera1Profile1", true));
    ASSERT_TRUE(client.call("Declare", g_variant_new("(@a(ssavusss)b)", keys, FALSE)).ok());
  };
  BusClient first("com.orva.EventService", "/com/orva/EventService");
  declare(first);
  EXPECT_EQ(2U, pull(point).size());
  {
    BusClient second("com.orva.EventService", "/com/orva/EventService");
    declare(second);
    pull(point);
  }
  ASSERT_TRUE(iterateUntil([&] { return events.getTable().getEvents().size() == 1; }));
  EXPECT_EQ(Texts{}, pull(point));
  first.leave();
  ASSERT_TRUE(iterateUntil([&] { return events.getTable().getEvents().empty(); }));
  const Texts gone = pull(point);
  ASSERT_EQ(2U, gone.size());
  EXPECT_EQ("sv:SentrelVideo/Camera1Profile1 Deleted active=true", gone[0]);
}

TEST_F(EventOperationsTest, FilterChoosesTopics) {
  events.declare(motionAlarm(1, true), false);
  events.declare(profileAlarm("Camera1Profile1", true), false);
  const std::string point = subscribe(
      "<Filter><wsnt:TopicExpression xmlns:q=\"http://www.onvif.org/ver10/topics\" Dialect=\""
      "http://www.onvif.org/ver10/tev/topicExpression/ConcreteSet\">q:VideoSource//.</"
      "wsnt:TopicExpression></Filter>");
  EXPECT_EQ(Texts{"tns1:VideoSource/MotionAlarm Initialized Source=source_overview1 State=true"},
            pull(point));
}

TEST_F(EventOperationsTest, SynchronizationTellsThePresentStateAgain) {
  events.declare(motionAlarm(1, true), false);
  const std::string point = subscribe();
  pull(point);
  call(operations, ns::EVENTS, "SetSynchronizationPoint", "", point);
  EXPECT_EQ(1U, pull(point).size());
}

// Its network goes, and it subscribes anew before the former point's time is over.
TEST_F(EventOperationsTest, WhoComesBackEarlyIsToldThePresentStateLast) {
  const std::uint32_t id = events.declare(motionAlarm(1, false), false);
  const auto alarm = [](const std::string& operation, const std::string& state) {
    return "tns1:VideoSource/MotionAlarm " + operation + " Source=source_overview1 State=" + state;
  };
  subscribe();
  now += 5 * SECOND;
  events.send(id, {{.name = "State", .value = true, .isData = true}});
  now += 15 * SECOND;
  const std::string point = subscribe();
  EXPECT_EQ(Texts{alarm("Initialized", "true")}, pull(point));
  now += 10 * SECOND;
  events.send(id, {{.name = "State", .value = false, .isData = true}});
  EXPECT_EQ(Texts{alarm("Changed", "false")}, pull(point));
  now += 30 * SECOND;
  EXPECT_EQ((Texts{alarm("Changed", "true"), alarm("Initialized", "false")}), pull(point));
}

TEST_F(EventOperationsTest, PointIsRenewedAndGivenUp) {
  const std::string point = subscribe("<InitialTerminationTime>PT10S</InitialTerminationTime>");
  const CallAnswer renewed = call(operations, ns::NOTIFICATION, "Renew",
                                  "<TerminationTime>PT600S</TerminationTime>", point);
  EXPECT_EQ("RenewResponse", renewed.name());
  call(operations, ns::NOTIFICATION, "Unsubscribe", "", point);
  EXPECT_EQ(0U, onvif.pullPoints());
  for (const char* name : {"Renew", "Unsubscribe"}) {
    EXPECT_EQ("ter:NoEntity", faultOf(operations, ns::NOTIFICATION, name, "", point));
  }
  EXPECT_EQ("ter:NoEntity",
            faultOf(operations, ns::EVENTS, "PullMessages",
                    "<Timeout>PT0S</Timeout><MessageLimit>1</MessageLimit>", point));
  EXPECT_EQ("ter:NoEntity", faultOf(operations, ns::EVENTS, "SetSynchronizationPoint", "", point));
}

TEST_F(EventOperationsTest, TimesAreLengthsOrMomentsToCome) {
  for (const char* time : {"PT0S", "-PT1S", "2020-01-01T00:00:00Z", "soon"}) {
    EXPECT_EQ("ter:InvalidTerminationTime",
              faultOf(operations, ns::EVENTS, "CreatePullPointSubscription",
                      std::string("<InitialTerminationTime>") + time + "</InitialTerminationTime>"))
        << time;
  }
}

TEST_F(EventOperationsTest, PointHasAMinuteUnlessToldOtherwiseAndAnHourAtMost) {
  const auto until = [](const std::string& time) {
    return "<InitialTerminationTime>" + time + "</InitialTerminationTime>";
  };
  EXPECT_EQ(60 * SECOND, lifetime(""));
  EXPECT_EQ(7 * SECOND, lifetime(until("PT7S")));
  EXPECT_EQ(3600 * SECOND, lifetime(until("PT1H")));
  EXPECT_EQ(3600 * SECOND, lifetime(until("PT1H1S")));
  EXPECT_EQ(3600 * SECOND, lifetime(until("2999-01-01T00:00:00Z")));
}

TEST_F(EventOperationsTest, OneAnswerHas256MessagesAtMost) {
  const std::uint32_t id = events.declare(motionAlarm(1, false), false);
  const std::string point = subscribe();
  pull(point);
  for (int i = 0; i < 300; ++i) {
    events.send(id, {{.name = "State", .value = i % 2 == 0, .isData = true}});
  }
  EXPECT_EQ(256U, pull(point, 1000).size());
  EXPECT_EQ(44U, pull(point, 1000).size());
}

TEST_F(EventOperationsTest, PullWaitsForHalfAMinuteAtMost) {
  const std::string point = subscribe();
  bool isAnswered = false;
  const Operations::Operation* operation = operations.find({ns::EVENTS, "PullMessages"});
  const XmlDocument request(std::string("<PullMessages xmlns=\"") + ns::EVENTS +
                            "\"><Timeout>PT1H</Timeout><MessageLimit>5</MessageLimit>"
                            "</PullMessages>");
  operation->serve({request.root(), "camera:80", point},
                   {[&](const Tag&, const auto&) { isAnswered = true; }, [] { return true; }});
  now += 30 * SECOND - 1;
  onvif.update();
  EXPECT_FALSE(isAnswered);
  ++now;
  onvif.update();
  EXPECT_TRUE(isAnswered);
}

TEST_F(EventOperationsTest, PointsAreSoManyAndNoMore) {
  for (std::size_t i = 0; i < PullPointLimits().points; ++i) {
    subscribe();
  }
  for (int i = 0; i < 200; ++i) {
    EXPECT_EQ("ter:Action", faultOf(operations, ns::EVENTS, "CreatePullPointSubscription"));
  }
  EXPECT_EQ(PullPointLimits().points, onvif.pullPoints());
}

TEST_F(EventOperationsTest, PullIsAnsweredByTheEvent) {
  const std::uint32_t id = events.declare(motionAlarm(1, false), false);
  const std::string point = subscribe();
  pull(point);
  const Operations::Operation* operation = operations.find({ns::EVENTS, "PullMessages"});
  const XmlDocument request(std::string("<PullMessages xmlns=\"") + ns::EVENTS +
                            "\"><Timeout>PT20S</Timeout><MessageLimit>5</MessageLimit>"
                            "</PullMessages>");
  Texts told;
  operation->serve(
      {request.root(), "camera:80", point},
      {[&](const Tag& tag, const auto&) { told = textsOf(CallAnswer(tag.document())); },
       [] { return true; }});
  EXPECT_EQ(Texts{}, told);
  events.send(id, {{.name = "State", .value = true, .isData = true}});
  EXPECT_EQ(1U, told.size());
}

TEST_F(EventOperationsTest, SecondPullIsRefusedWhileTheFirstOneWaits) {
  const std::string point = subscribe();
  const std::string content = "<Timeout>PT20S</Timeout><MessageLimit>5</MessageLimit>";
  EXPECT_FALSE(tryCall(operations, ns::EVENTS, "PullMessages", content, point));
  EXPECT_EQ("ter:Action", faultOf(operations, ns::EVENTS, "PullMessages", content, point));
}

TEST_F(EventOperationsTest, PullNeedsATimeAndALimit) {
  const std::string point = subscribe();
  for (const char* content : {"", "<Timeout>PT1S</Timeout>", "<MessageLimit>1</MessageLimit>",
                              "<Timeout>1</Timeout><MessageLimit>1</MessageLimit>",
                              "<Timeout>PT1S</Timeout><MessageLimit>0</MessageLimit>",
                              "<Timeout>PT1S</Timeout><MessageLimit>many</MessageLimit>"}) {
    EXPECT_EQ("ter:InvalidArgs", faultOf(operations, ns::EVENTS, "PullMessages", content, point))
        << content;
  }
}

TEST_F(EventOperationsTest, PropertiesNameTheTopics) {
  const CallAnswer set = call(operations, ns::EVENTS, "GetEventProperties").at("TopicSet");
  EXPECT_EQ("true", set.at("MotionAlarm").at("MessageDescription").attribute("IsProperty"));
  EXPECT_EQ(1, set.at("CellMotionDetector").count("Motion"));
  EXPECT_EQ(1, set.at("PTZPresets").count("Reached"));
}

TEST_F(EventOperationsTest, TopicsOfProfilesAreThoseThatThereAre) {
  const auto set = [&] {
    return call(operations, ns::EVENTS, "GetEventProperties").at("TopicSet");
  };
  EXPECT_EQ(0, set().count("Camera1Profile1"));
  events.declare(profileAlarm("Camera1Profile1", false), false);
  events.declare(profileAlarm("Camera1ProfileANY", false), false);
  events.declare(profileAlarm("Camera2 Profile<", false), false);  // no name of an element
  EXPECT_EQ(1, set().count("Camera1Profile1"));
  EXPECT_EQ(1, set().count("Camera1ProfileANY"));
  EXPECT_EQ("true", set().at("Camera1ProfileANY").at("MessageDescription").attribute("IsProperty"));
}

}  // namespace
}  // namespace device::onvif
