#include "services/application_monitor.h"

#include <gtest/gtest.h>

#include <vector>

namespace device {
namespace {

EventKey key(const std::string& name, EventValue value) {
  return {name, "tnsorva", std::move(value), false, false, "", "", ""};
}

class ApplicationMonitorTest : public testing::Test {
 protected:
  void tell(const std::string& topic, EventKey data, std::uint32_t id = 1,
            const std::string& application = "SentrelVideo") {
    Event event;
    event.id = id;
    event.keys = {key("topic0", "MiruPlatform"), key("topic1", application), key("topic2", topic),
                  std::move(data)};
    monitor.handle(event);
  }

  std::vector<std::string> told;
  ApplicationMonitor monitor{
      {.onState = [this](const std::string& state) { told.push_back("state " + state); },
       .onSentreling = [this](bool on) { told.push_back(on ? "steers" : "rests"); },
       .onAlarm = [this](bool on) { told.push_back(on ? "alarm" : "end"); }}};
};

using Told = std::vector<std::string>;

TEST_F(ApplicationMonitorTest, StateIsToldAndKept) {
  EXPECT_EQ("", monitor.getState());
  tell("state", key("value", "connecting"));
  tell("state", key("value", "running"));
  EXPECT_EQ((Told{"state connecting", "state running"}), told);
  EXPECT_EQ("running", monitor.getState());
}

TEST_F(ApplicationMonitorTest, SteeringIsTold) {
  tell("isSentreling", key("active", true));
  tell("isSentreling", key("active", false));
  EXPECT_EQ((Told{"steers", "rests"}), told);
}

TEST_F(ApplicationMonitorTest, AlarmsOfEachProfileAreToldOnChangesOnly) {
  tell("Camera1Profile1", key("active", false), 1);
  tell("Camera1Profile1", key("active", true), 1);
  tell("Camera1Profile1", key("active", true), 1);
  tell("Camera2Profile12", key("active", true), 2);
  tell("Camera1Profile1", key("active", false), 1);
  EXPECT_EQ((Told{"alarm", "alarm", "end"}), told);
}

TEST_F(ApplicationMonitorTest, AggregatesOtherEventsAndOtherApplicationsAreNoAlarms) {
  tell("Camera1ProfileANY", key("active", true));
  tell("CameraANY", key("active", true));
  tell("Camera1Profile1x", key("active", true));
  tell("CameraProfile1", key("active", true));
  tell("Camera1Profile", key("active", true));
  tell("Camera1Profile1", key("active", 1));
  tell("Camera1Profile1", key("active", true), 1, "Other");
  monitor.handle(Event{});
  EXPECT_TRUE(told.empty());
}

}  // namespace
}  // namespace device
