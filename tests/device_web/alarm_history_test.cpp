#include "fleet/alarm_history.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace device {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AlarmHistoryTest : public testing::Test {
 protected:
  void take(int number, bool active, const std::string& time, const std::string& start = "S") {
    history.take("sites.north.SentrelVideo.alarms.Camera1",
                 R"({"data":{"active":)" + std::string(active ? "true" : "false") +
                     R"(},"time":")" + time + R"(","start":")" + start + R"(","seq":)" +
                     std::to_string(number) + "}");
  }

  std::vector<std::string> last(std::size_t most = 10) {
    std::vector<std::string> texts;
    for (const JsonAutoPtr& entry : history.last(most)) {
      const auto text = [&](const char* key) {
        return std::string(json_string_value(json_object_get(entry.get(), key)));
      };
      texts.push_back(text("site") + ' ' + text("alarm") + ' ' + text("time") +
                      (json_is_true(json_object_get(entry.get(), "active")) ? " begins" : " ends"));
    }
    return texts;
  }

  AlarmHistory history;
};

TEST_F(AlarmHistoryTest, WhatIsToldAgainCountsOnceAndTheDeclarationIsNoAlarm) {
  take(1, false, "1");
  take(2, true, "2");
  take(2, true, "2");
  take(3, false, "3");
  take(2, true, "2");
  EXPECT_THAT(last(), ElementsAre("north Camera1 2 begins", "north Camera1 3 ends"));
}

TEST_F(AlarmHistoryTest, AlarmThatIsTellingItsEndOnlyHasEnded) {
  take(7, false, "7");
  EXPECT_THAT(last(), ElementsAre("north Camera1 7 ends"));
}

TEST_F(AlarmHistoryTest, DeviceThatStartsAnewEndsWhatItHadRaised) {
  take(2, true, "2", "S1");
  take(1, false, "3", "S2");
  take(2, true, "4", "S2");
  take(1, false, "5", "S3");
  take(1, false, "6", "S4");
  EXPECT_THAT(last(), ElementsAre("north Camera1 2 begins", "north Camera1 3 ends",
                                  "north Camera1 4 begins", "north Camera1 5 ends"));
}

TEST_F(AlarmHistoryTest, LateOnesStandAtTheirTimeAndTheLatestAreKept) {
  take(3, false, "3");
  take(2, true, "2");
  history.take("sites.south.SentrelVideo.alarms.CameraANY",
               R"({"data":{"active":true},"time":"25","start":"S","seq":1})");
  EXPECT_THAT(last(2), ElementsAre("south CameraANY 25 begins", "north Camera1 3 ends"));
}

TEST_F(AlarmHistoryTest, AnythingElseIsPassedOver) {
  const std::string event = R"({"data":{"active":true},"time":"1","start":"S","seq":1})";
  for (const char* subject :
       {"", "sites", "sites.", "sites.north.SentrelVideo.alarms.",
        "sites..SentrelVideo.alarms.Camera1", "sites.SentrelVideo.alarms.Camera1",
        "sites.north.SentrelVideo.alarms.state", "elsewhere.north.SentrelVideo.alarms.Camera1",
        "sites.a.b.SentrelVideo.alarms.Camera1", "sites.north.SentrelVideo.alarms.Camera1.x"}) {
    history.take(subject, event);
  }
  for (const char* payload : {"", "{", "[]", "\"x\""}) {
    history.take("sites.north.SentrelVideo.alarms.Camera1", payload);
  }
  EXPECT_THAT(last(), IsEmpty());
  history.take("sites.north.SentrelVideo.alarms.Camera1", event);
  EXPECT_THAT(last(), ElementsAre("north Camera1 1 begins"));
}

}  // namespace
}  // namespace device
