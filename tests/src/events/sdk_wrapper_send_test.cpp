#include <glib.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <cstdint>
#include <string>
#include <vector>

#include "events/sdk_wrapper.h"
#include "src/events/wrapper_test_base.h"

namespace {

using FakeEvents::Sent;
using FakeEvents::Value;

class SdkWrapperSendTest : public InitializedWrapperTest {
 protected:
  static Sent onlySent() {
    const std::vector<Sent> all = FakeEvents::sent();
    EXPECT_EQ(all.size(), 1U);
    return all.empty() ? Sent{} : all.front();
  }

  // The message about a failed send of the one declaration.
  static std::string couldNotSend(const std::string& what) {
    return "Could not send " + what + " (id " +
           std::to_string(FakeEvents::declarations().at(0).id) + ")\n";
  }

  // Fails that many sends of the event "name".
  static void failToSend(int count) {
    FakeEvents::failSends(count);
    for (int i = 0; i < count; ++i) {
      EXPECT_FALSE(sdk_wrapper_event_send("name", 1, nullptr, nullptr));
    }
  }
};

using SdkWrapperSendBeforeInitTest = WrapperTest;

TEST_F(SdkWrapperSendBeforeInitTest, NothingCanBeSent) {
  EXPECT_FALSE(sdk_wrapper_event_send("name", 1, nullptr, nullptr));
  EXPECT_EQ(log.count("Cannot send event name. Handler is not initialized\n"), 1);
}

TEST_F(SdkWrapperSendBeforeInitTest, NoMotionAlarmCanBeSent) {
  EXPECT_FALSE(sdk_wrapper_onvif_motion_alarm_event_send("motion", 1, nullptr));
  EXPECT_EQ(log.count("Cannot send ONVIF Motion Alarm event. Handler is not initialized\n"), 1);
}

TEST_F(SdkWrapperSendTest, AnUnknownEventIsNotSent) {
  EXPECT_FALSE(sdk_wrapper_event_send("name", 1, nullptr, nullptr));
  EXPECT_EQ(log.count("Cannot send event name.  Event is not registered\n"), 1);
}

TEST_F(SdkWrapperSendTest, AnUnknownMotionAlarmIsNotSent) {
  EXPECT_FALSE(sdk_wrapper_onvif_motion_alarm_event_send("motion", 1, nullptr));
  EXPECT_EQ(log.count("Cannot send ONVIF Motion Alarm event.  Event is not registered\n"), 1);
}

TEST_F(SdkWrapperSendTest, AStatefulEventCarriesItsValue) {
  sdk_wrapper_event_add("name", "Topic", "Nice", SDK_EVENT_STATEFUL);
  EXPECT_TRUE(sdk_wrapper_event_send("name", 1, nullptr, nullptr));
  EXPECT_TRUE(sdk_wrapper_event_send("name", 0, nullptr, nullptr));
  const std::vector<Sent> sent = FakeEvents::sent();
  ASSERT_EQ(sent.size(), 2U);
  for (const Sent& event : sent) {
    EXPECT_EQ(event.declaration, FakeEvents::declarations()[0].id);
    EXPECT_EQ(event.keys.size(), 1U);
    EXPECT_EQ(event.keys.at("active").nameSpace, "");
  }
  EXPECT_EQ(sent[0].keys.at("active").value, Value(true));
  EXPECT_EQ(sent[1].keys.at("active").value, Value(false));
  EXPECT_EQ(FakeEvents::setsAlive(), 0);
}

TEST_F(SdkWrapperSendTest, AStatelessEventCarriesNoValue) {
  sdk_wrapper_event_add("name", "Topic", "Nice", 0);
  EXPECT_TRUE(sdk_wrapper_event_send("name", 1, nullptr, nullptr));
  EXPECT_TRUE(onlySent().keys.empty());
}

TEST_F(SdkWrapperSendTest, DataIsSentUnderTheDataKey) {
  sdk_wrapper_event_add("name", "Topic", "Nice", 0, "svgframe");
  EXPECT_TRUE(sdk_wrapper_event_send("name", 1, "<svg/>", nullptr));
  EXPECT_EQ(onlySent().keys.size(), 1U);
  EXPECT_EQ(onlySent().keys.at("svgframe").value, Value("<svg/>"));
  EXPECT_EQ(onlySent().keys.at("svgframe").nameSpace, "");
}

TEST_F(SdkWrapperSendTest, EmptyDataIsSentToo) {
  sdk_wrapper_event_add("name", "Topic", "Nice", 0, "svgframe");
  EXPECT_TRUE(sdk_wrapper_event_send("name", 1, "", nullptr));
  EXPECT_EQ(onlySent().keys.at("svgframe").value, Value(""));
}

TEST_F(SdkWrapperSendTest, DataOfALongKeyIsSentUnderTheCutKey) {
  sdk_wrapper_event_add("name", "Topic", "Nice", 0, std::string(300, 'k'));
  EXPECT_TRUE(sdk_wrapper_event_send("name", 1, "data", nullptr));
  EXPECT_TRUE(onlySent().keys.contains(std::string(127, 'k')));
}

TEST_F(SdkWrapperSendTest, DataWithoutADataKeyIsLeftOut) {
  sdk_wrapper_event_add("name", "Topic", "Nice", 0);
  EXPECT_TRUE(sdk_wrapper_event_send("name", 1, "data", nullptr));
  EXPECT_TRUE(onlySent().keys.empty());
}

TEST_F(SdkWrapperSendTest, ADataKeyWithoutDataIsLeftOut) {
  sdk_wrapper_event_add("name", "Topic", "Nice", 0, "key");
  EXPECT_TRUE(sdk_wrapper_event_send("name", 1, nullptr, nullptr));
  EXPECT_TRUE(onlySent().keys.empty());
}

TEST_F(SdkWrapperSendTest, WithoutATimeItIsNow) {
  sdk_wrapper_event_add("name", "Topic", "Nice", 0);
  const std::int64_t before = g_get_real_time();
  sdk_wrapper_event_send("name", 1, nullptr, nullptr);
  EXPECT_GE(onlySent().time, before);
  EXPECT_LE(onlySent().time, g_get_real_time());
}

TEST_F(SdkWrapperSendTest, ATimeOfZeroStaysZero) {
  sdk_wrapper_event_add("name", "Topic", "Nice", 0);
  const std::int64_t zero = 0;
  sdk_wrapper_event_send("name", 1, nullptr, &zero);
  EXPECT_EQ(onlySent().time, 0);
}

TEST_F(SdkWrapperSendTest, AMonotonicTimeBecomesWallClockTime) {
  sdk_wrapper_event_add("name", "Topic", "Nice", 0);
  constexpr std::int64_t AGE = 7'000'000;
  const std::int64_t time = clock.now() - AGE;
  const std::int64_t before = g_get_real_time();
  sdk_wrapper_event_send("name", 1, nullptr, &time);
  EXPECT_GE(onlySent().time, before - AGE);
  EXPECT_LE(onlySent().time, g_get_real_time() - AGE);
}

TEST_F(SdkWrapperSendTest, AKeyThatCannotBeAddedFailsTheSend) {
  sdk_wrapper_event_add("name", "Topic", "Nice", SDK_EVENT_STATEFUL);
  FakeEvents::failAdds(1);
  EXPECT_FALSE(sdk_wrapper_event_send("name", 1, nullptr, nullptr));
  EXPECT_EQ(log.count("Could not send event name.  Internal error\n"), 1);
  EXPECT_TRUE(FakeEvents::sent().empty());
  EXPECT_EQ(FakeEvents::setsAlive(), 0);
}

TEST_F(SdkWrapperSendTest, ADataKeyThatCannotBeAddedFailsTheSend) {
  sdk_wrapper_event_add("name", "Topic", "Nice", 0, "key");
  FakeEvents::failAdds(1);
  EXPECT_FALSE(sdk_wrapper_event_send("name", 1, "data", nullptr));
  EXPECT_EQ(log.count("Could not send event name.  Internal error\n"), 1);
}

TEST_F(SdkWrapperSendTest, AnEventThatIsNotQuietFailsWithAnError) {
  sdk_wrapper_event_add("name", "Topic", "Nice", SDK_EVENT_STATEFUL);
  failToSend(2);
  EXPECT_EQ(log.count(LOG_ERR, couldNotSend("event name")), 2);
}

TEST_F(SdkWrapperSendTest, AQuietEventFailsFiveTimesForInformationAndThenWithAnError) {
  sdk_wrapper_event_add("name", "Topic", "Nice", SDK_EVENT_QUIET);
  failToSend(5);
  EXPECT_EQ(log.count(LOG_INFO, couldNotSend("event name")), 5);
  EXPECT_EQ(log.lines().size(), 5U);
  failToSend(2);
  EXPECT_EQ(log.count(LOG_INFO, couldNotSend("event name")), 5);
  EXPECT_EQ(log.count(LOG_ERR, couldNotSend("event name")), 2);
}

TEST_F(SdkWrapperSendTest, ASuccessResetsTheCountOfFailures) {
  sdk_wrapper_event_add("name", "Topic", "Nice", SDK_EVENT_QUIET);
  failToSend(6);
  EXPECT_TRUE(sdk_wrapper_event_send("name", 1, nullptr, nullptr));
  log.clear();
  failToSend(5);
  EXPECT_EQ(log.count(LOG_INFO, couldNotSend("event name")), 5);
  failToSend(1);
  EXPECT_EQ(log.count(LOG_ERR, couldNotSend("event name")), 1);
}

TEST_F(SdkWrapperSendTest, AMotionAlarmCarriesSourceAndState) {
  sdk_wrapper_event_add_onvif_motion_alarm_event("motion", 3, 0);
  EXPECT_TRUE(sdk_wrapper_onvif_motion_alarm_event_send("motion", 1, nullptr));
  EXPECT_EQ(onlySent().keys.size(), 2U);
  EXPECT_EQ(onlySent().keys.at("Source").value, Value(3));
  EXPECT_EQ(onlySent().keys.at("State").value, Value(true));
  EXPECT_EQ(FakeEvents::setsAlive(), 0);
}

TEST_F(SdkWrapperSendTest, AMotionAlarmEndsWithTheStateFalse) {
  sdk_wrapper_event_add_onvif_motion_alarm_event("motion", 3, 0);
  EXPECT_TRUE(sdk_wrapper_onvif_motion_alarm_event_send("motion", 0, nullptr));
  EXPECT_EQ(onlySent().keys.at("State").value, Value(false));
}

TEST_F(SdkWrapperSendTest, AMotionAlarmTakesTimesAsOtherEventsDo) {
  sdk_wrapper_event_add_onvif_motion_alarm_event("motion", 3, 0);
  const std::int64_t zero = 0;
  const std::int64_t past = clock.now() - 5'000'000;
  const std::int64_t before = g_get_real_time();
  sdk_wrapper_onvif_motion_alarm_event_send("motion", 1, &zero);
  sdk_wrapper_onvif_motion_alarm_event_send("motion", 1, &past);
  sdk_wrapper_onvif_motion_alarm_event_send("motion", 1, nullptr);
  const std::int64_t after = g_get_real_time();
  const std::vector<Sent> sent = FakeEvents::sent();
  ASSERT_EQ(sent.size(), 3U);
  EXPECT_EQ(sent[0].time, 0);
  EXPECT_GE(sent[1].time, before - 5'000'000);
  EXPECT_LE(sent[1].time, after - 5'000'000);
  EXPECT_GE(sent[2].time, before);
  EXPECT_LE(sent[2].time, after);
}

TEST_F(SdkWrapperSendTest, AMotionAlarmIsQuiet) {
  sdk_wrapper_event_add_onvif_motion_alarm_event("motion", 3, 0);
  FakeEvents::failSends(6);
  for (int i = 0; i < 6; ++i) {
    EXPECT_FALSE(sdk_wrapper_onvif_motion_alarm_event_send("motion", 1, nullptr));
  }
  EXPECT_EQ(log.count(LOG_INFO, couldNotSend("ONVIF Motion Alarm event motion")), 5);
  EXPECT_EQ(log.count(LOG_ERR, couldNotSend("ONVIF Motion Alarm event motion")), 1);
}

TEST_F(SdkWrapperSendTest, AMotionAlarmKeyThatCannotBeAddedFailsTheSend) {
  sdk_wrapper_event_add_onvif_motion_alarm_event("motion", 3, 0);
  FakeEvents::failAdds(1);
  EXPECT_FALSE(sdk_wrapper_onvif_motion_alarm_event_send("motion", 1, nullptr));
  EXPECT_TRUE(FakeEvents::sent().empty());
  EXPECT_EQ(FakeEvents::setsAlive(), 0);
}

}  // namespace
