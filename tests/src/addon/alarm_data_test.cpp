#include "addon/libs/vigil_pack_lib/guard/alarm_data.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include "fakes/log_capture.h"
#include "src/addon/objects.h"

namespace {

TEST(AlarmDataTest, StatusesHaveTheirNumbers) {
  EXPECT_EQ(static_cast<int>(AlarmDataStatus_e::alarm), 0);
  EXPECT_EQ(static_cast<int>(AlarmDataStatus_e::passes), 1);
  EXPECT_EQ(static_cast<int>(AlarmDataStatus_e::filtered), 2);
}

TEST(AlarmDataTest, StartsWithoutAnAlarm) {
  const AlarmData data;
  EXPECT_FALSE(data.anyAlarm);
  EXPECT_TRUE(data.getObjects().empty());
}

TEST(AlarmDataTest, KeepsItsEntriesInOrder) {
  TrackingObject a = tracked(Observation{.id = 3}.at(0, 0));
  TrackingObject b = tracked(Observation{.id = 1}.at(0, 0));
  AlarmData data;
  data.addObjectStatus(&a, AlarmDataStatus_e::filtered);
  data.addObjectStatus(&b, AlarmDataStatus_e::alarm);
  ASSERT_EQ(data.getObjects().size(), 2U);
  EXPECT_EQ(data.getObjects()[0].object, &a);
  EXPECT_EQ(data.getObjects()[0].status, AlarmDataStatus_e::filtered);
  EXPECT_EQ(data.getObjects()[1].object, &b);
  EXPECT_EQ(data.getObjects()[1].status, AlarmDataStatus_e::alarm);
}

TEST(AlarmDataTest, OnlyTheStatusOfAnAlarmTriggers) {
  const LogCapture log;
  TrackingObject a = tracked(Observation{.id = 3}.at(0, 0));
  TrackingObject b = tracked(Observation{.id = 1}.at(0, 0));
  TrackingObject c = tracked(Observation{.id = 2}.at(0, 0));
  AlarmData data;
  data.addObjectStatus(&a, AlarmDataStatus_e::filtered);
  data.addObjectStatus(&b, AlarmDataStatus_e::alarm);
  data.addObjectStatus(&c, AlarmDataStatus_e::passes);
  EXPECT_FALSE(data.didTriggerAlarm(3));
  EXPECT_TRUE(data.didTriggerAlarm(1));
  EXPECT_FALSE(data.didTriggerAlarm(2));
  EXPECT_TRUE(log.lines().empty());
}

TEST(AlarmDataTest, TheFirstEntryOfAnIdCounts) {
  TrackingObject a = tracked(Observation{.id = 3}.at(0, 0));
  AlarmData data;
  data.addObjectStatus(&a, AlarmDataStatus_e::passes);
  data.addObjectStatus(&a, AlarmDataStatus_e::alarm);
  EXPECT_FALSE(data.didTriggerAlarm(3));
}

TEST(AlarmDataTest, AnUnknownIdIsLogged) {
  const LogCapture log;
  const AlarmData data;
  EXPECT_FALSE(data.didTriggerAlarm(42));
  EXPECT_EQ(
      log.count(LOG_ERR, "AlarmData::didTriggerAlarm - Could not find an object with id 42\n"), 1);
}

}  // namespace
