#include "web_server/device_metrics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/counted_allocations.h"

namespace device {
namespace {

using testing::HasSubstr;
using testing::Not;

class DeviceMetricsTest : public testing::Test {
 protected:
  static Event event(const std::string& name, EventKey value) {
    return {.id = 1,
            .owner = ":1.1",
            .stateless = false,
            .keys = {{"topic0", "t", std::string("MiruPlatform"), false, false, "", "", ""},
                     {"topic1", "t", std::string("SentrelVideo"), false, false, "", "", ""},
                     {"topic2", "t", name, false, false, "", "", ""},
                     std::move(value)},
            .time = 0};
  }

  static Event active(const std::string& name, bool value) {
    return event(name, {"active", "", value, false, true, "", "", ""});
  }

  static Event state(const std::string& value) {
    return event("state", {"value", "", value, false, true, "", "", ""});
  }

  std::string text() const { return metrics.text(MetricsForm_e::text, {}); }

  DeviceMetrics metrics;
};

TEST_F(DeviceMetricsTest, ApplicationIsUpWhileItTellsItsState) {
  EXPECT_THAT(text(), HasSubstr("\nsentrelvideo_up 0\n"));
  metrics.event(state("running"));
  EXPECT_THAT(text(), HasSubstr("\nsentrelvideo_up 1\n"));
  EXPECT_THAT(text(), HasSubstr("{sentrelvideo_state=\"running\"} 1\n"));
  EXPECT_THAT(text(), HasSubstr("{sentrelvideo_state=\"stopped\"} 0\n"));
  metrics.undeclared(state("running"));
  EXPECT_THAT(text(), HasSubstr("\nsentrelvideo_up 0\n"));
  EXPECT_THAT(text(), HasSubstr("{sentrelvideo_state=\"running\"} 0\n"));
}

TEST_F(DeviceMetricsTest, ApplicationThatDoesNotAnswerIsNotUpWhateverItHasTold) {
  metrics.event(state("running"));
  EXPECT_THAT(metrics.text(MetricsForm_e::text, {.isAnswering = false}),
              HasSubstr("\nsentrelvideo_up 0\n"));
}

TEST_F(DeviceMetricsTest, CameraThatHasNeverToldAnythingIsThere) {
  metrics.frame(0, 4, 10.5);
  const std::string told = metrics.text(MetricsForm_e::text, {.cameras = 2});
  EXPECT_THAT(told, HasSubstr("sentrelvideo_frames_total{camera=\"1\"} 1\n"));
  EXPECT_THAT(told, HasSubstr("sentrelvideo_frames_total{camera=\"2\"} 0\n"));
  EXPECT_THAT(told, Not(HasSubstr("sentrelvideo_frame_timestamp_seconds{camera=\"2\"}")));
  EXPECT_THAT(told, Not(HasSubstr("camera=\"3\"")));
}

TEST_F(DeviceMetricsTest, VersionsAreToldAsFarAsTheyAreKnown) {
  EXPECT_THAT(text(), HasSubstr("\nsentrelvideo_build_info{version=\"1.0.0\"} 1\n"));
  EXPECT_THAT(metrics.text(MetricsForm_e::text, {.api = "1.0,1.1"}),
              HasSubstr("\nsentrelvideo_build_info{version=\"1.0.0\",api=\"1.0,1.1\"} 1\n"));
}

TEST_F(DeviceMetricsTest, FollowingIsTold) {
  metrics.event(active("isSentreling", true));
  EXPECT_THAT(text(), HasSubstr("\nsentrelvideo_following 1\n"));
  metrics.undeclared(active("isSentreling", true));
  EXPECT_THAT(text(), HasSubstr("\nsentrelvideo_following 0\n"));
}

TEST_F(DeviceMetricsTest, AlarmsAreCountedWhenTheyBegin) {
  for (const bool value : {false, true, true, false, true}) {
    metrics.event(active("Camera2Profile7", value));
  }
  metrics.event(active("CameraANY", false));
  EXPECT_THAT(text(), HasSubstr("sentrelvideo_alarm_active{camera=\"2\",profile=\"7\"} 1\n"));
  EXPECT_THAT(text(), HasSubstr("sentrelvideo_alarms_total{camera=\"2\",profile=\"7\"} 2\n"));
  EXPECT_THAT(text(), HasSubstr("sentrelvideo_alarm_active{camera=\"\",profile=\"ANY\"} 0\n"));
}

TEST_F(DeviceMetricsTest, AlarmThatIsUndeclaredKeepsItsCountOnly) {
  metrics.event(active("Camera2Profile7", true));
  metrics.undeclared(active("Camera2Profile7", true));
  EXPECT_THAT(text(), Not(HasSubstr("sentrelvideo_alarm_active{")));
  EXPECT_THAT(text(), HasSubstr("sentrelvideo_alarms_total{camera=\"2\",profile=\"7\"} 1\n"));
}

TEST_F(DeviceMetricsTest, FramesAreToldByCamera) {
  metrics.frame(0, 4, 10.5);
  metrics.frame(0, 2, 11.5);
  metrics.frame(1, 0, 12);
  EXPECT_THAT(text(), HasSubstr("sentrelvideo_frames_total{camera=\"1\"} 2\n"));
  EXPECT_THAT(text(), HasSubstr("sentrelvideo_frames_total{camera=\"2\"} 1\n"));
  EXPECT_THAT(text(), HasSubstr("sentrelvideo_frame_timestamp_seconds{camera=\"1\"} 11.5\n"));
  EXPECT_THAT(text(), HasSubstr("sentrelvideo_objects{camera=\"1\"} 2\n"));
  EXPECT_THAT(text(), HasSubstr("sentrelvideo_judged_objects_total{camera=\"1\"} 6\n"));
}

// What is counted on the way of each frame: four numbers of its camera.
TEST_F(DeviceMetricsTest, CountingAFrameTakesNoMemory) {
  metrics.frame(0, 4, 10.5);
  metrics.frame(3, 4, 10.5);
  const long before = s_allocations;
  for (int i = 0; i < 1000; ++i) {
    metrics.frame(i % 2 * 3, 5, 11);
  }
  EXPECT_EQ(before, s_allocations);
  EXPECT_THAT(text(), HasSubstr("sentrelvideo_frames_total{camera=\"4\"} 501\n"));
}

TEST_F(DeviceMetricsTest, RequestsAreToldByMethodAndStatusAndTheirTimesTogether) {
  const std::string versions = R"({"method":"getSupportedVersions"} and more)";
  metrics.request(versions, 200, nullptr, 0.5);
  metrics.request(versions, 200, nullptr, 0.25);
  for (const char* other : {"", "[]", R"({"method":7})", R"({"method":"made up"})"}) {
    metrics.request(other, 503, nullptr, 0.25);
  }
  const std::string name = "sentrelvideo_api_requests_total";
  EXPECT_THAT(text(), HasSubstr(name + "{method=\"getSupportedVersions\",code=\"200\"} 2\n"));
  EXPECT_THAT(text(), HasSubstr(name + "{method=\"other\",code=\"503\"} 4\n"));
  EXPECT_THAT(text(), HasSubstr("sentrelvideo_api_request_seconds_count 6\n"));
  EXPECT_THAT(text(), HasSubstr("sentrelvideo_api_request_seconds_sum 1.75\n"));
}

TEST_F(DeviceMetricsTest, ConfigurationIsChangedWhenTheApplicationHasTakenIt) {
  const std::string change = R"({"method":"setConfiguration"})";
  const std::string taken = R"({"method":"setConfiguration","data":{}})";
  const std::string refused = R"({"method":"setConfiguration","error":{}})";
  metrics.request(change, 200, &taken, 0);
  metrics.request(change, 200, &refused, 0);
  metrics.request(change, 503, nullptr, 0);
  metrics.request(R"({"method":"getConfiguration"})", 200, &taken, 0);
  EXPECT_THAT(text(), HasSubstr("\nsentrelvideo_configuration_changes_total 1\n"));
}

TEST_F(DeviceMetricsTest, HeadIsLostWhenTheTrackerLooksForItAgain) {
  metrics.event(state("connecting"));
  EXPECT_THAT(text(), HasSubstr("\nsentrelvideo_head_reachable 0\n"));
  EXPECT_THAT(text(), HasSubstr("\nsentrelvideo_head_outages_total 0\n"));
  metrics.event(state("running"));
  EXPECT_THAT(text(), HasSubstr("\nsentrelvideo_head_reachable 1\n"));
  for (const char* told : {"connecting", "connecting", "stopped", "connecting"}) {
    metrics.event(state(told));
  }
  EXPECT_THAT(text(), HasSubstr("\nsentrelvideo_head_outages_total 1\n"));
}

TEST_F(DeviceMetricsTest, CallsOfTheHeadAndTheStepsBetweenCommandsAreTold) {
  metrics.headCall(HeadCall_e::move, 10, 0.25);
  metrics.headCall(HeadCall_e::status, 10.0625, 0.5);
  metrics.headCall(HeadCall_e::move, 10.125, 0.5);
  metrics.headCall(HeadCall_e::move, 40.125, 0.25);
  const std::string name = "sentrelvideo_head_call_seconds_";
  EXPECT_THAT(text(), HasSubstr(name + "count{call=\"move\"} 3\n"));
  EXPECT_THAT(text(), HasSubstr(name + "sum{call=\"move\"} 1\n"));
  EXPECT_THAT(text(), HasSubstr(name + "count{call=\"status\"} 1\n"));
  const std::string step = "sentrelvideo_control_step_seconds_";
  EXPECT_THAT(text(), HasSubstr(step + "bucket{le=\"0.1\"} 0\n" + step + "bucket{le=\"0.2\"} 1\n" +
                                step + "bucket{le=\"0.5\"} 1\n"));
  EXPECT_THAT(text(), HasSubstr(step + "bucket{le=\"+Inf\"} 2\n" + step + "count 2\n" + step +
                                "sum 30.125\n"));
}

TEST_F(DeviceMetricsTest, BrokersAreToldByTheirNumber) {
  EXPECT_THAT(text(), Not(HasSubstr("sentrelvideo_mqtt")));
  const std::string told = metrics.text(
      MetricsForm_e::text, {.brokers = {{true, 2, 0, 0}, {false, 1, 17, 3}}, .report = nullptr});
  EXPECT_THAT(told, HasSubstr("sentrelvideo_mqtt_connected{broker=\"1\"} 1\n"));
  EXPECT_THAT(told, HasSubstr("sentrelvideo_mqtt_connected{broker=\"2\"} 0\n"));
  EXPECT_THAT(told, HasSubstr("sentrelvideo_mqtt_connects_total{broker=\"1\"} 2\n"));
  EXPECT_THAT(told, HasSubstr("sentrelvideo_mqtt_outbox_messages{broker=\"2\"} 17\n"));
  EXPECT_THAT(told, HasSubstr("sentrelvideo_mqtt_dropped_total{broker=\"2\"} 3\n"));
}

}  // namespace
}  // namespace device
