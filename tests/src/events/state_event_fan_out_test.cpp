#include "events/state_event_fan_out.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "src/events/wrapper_test_base.h"

namespace {

using FakeEvents::Sent;
using FakeEvents::Value;

constexpr std::int64_t T0 = 1'000'000'000;

class StateEventFanOutTest : public InitializedWrapperTest {
 protected:
  // Sends of the profile's event, of the camera's aggregate and of the motion alarm so far.
  struct Counts {
    std::size_t profile = FakeEvents::sentTo("Camera1Profile7").size();
    std::size_t camera = FakeEvents::sentTo("Camera1ProfileANY").size();
    std::size_t motion = FakeEvents::sentTo("").size();

    bool operator==(const Counts&) const = default;
  };

  static constexpr Counts ALL_ONCE{1, 1, 1};
  static constexpr Counts ALL_TWICE{2, 2, 2};

  StateEventFanOut fanOut{1};
};

TEST_F(StateEventFanOutTest, TheHandleIsThatOfTheProfilesEvent) {
  const StateEventProducerHandle handle = fanOut.registerEvent(1, "Camera1Profile7", "Nice");
  EXPECT_EQ(handle.lookupKey, "Camera1Profile7");
  EXPECT_EQ(handle.camera, 1);
}

TEST_F(StateEventFanOutTest, AnAlarmReachesAllProducers) {
  const StateEventProducerHandle handle = fanOut.registerEvent(1, "Camera1Profile7", "Nice");
  fanOut.sendStartEvent(handle, T0);
  EXPECT_EQ(Counts{}, ALL_ONCE);
  fanOut.sendEndEvent(handle, T0);
  EXPECT_EQ(Counts{}, ALL_TWICE);
}

TEST_F(StateEventFanOutTest, AnEndWithoutATimeReachesAllProducers) {
  const StateEventProducerHandle handle = fanOut.registerEvent(1, "Camera1Profile7", "Nice");
  fanOut.sendStartEvent(handle, T0);
  fanOut.sendEndEvent(handle);
  EXPECT_EQ(Counts{}, ALL_TWICE);
}

TEST_F(StateEventFanOutTest, UnregisteringRemovesTheEventsOfAllProducers) {
  const StateEventProducerHandle handle = fanOut.registerEvent(1, "Camera1Profile7", "Nice");
  EXPECT_EQ(FakeEvents::activeDeclarations().size(), 3U);
  fanOut.unregisterEvent(handle);
  wait(60'000);
  EXPECT_TRUE(FakeEvents::activeDeclarations().empty());
  EXPECT_TRUE(log.lines().empty());
}

// The count is read once for the process: the test runs in a process of its own, as ctest runs it.
TEST_F(StateEventFanOutTest, TheApplicationsProducerCountsTheDevicesCameras) {
  FakeParameters::set("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration", "yes");
  FakeParameters::set("root.ImageSource.NbrOfSources", "3");
  StateEventFanOut& shared = StateEventFanOut::getInstance();
  EXPECT_EQ(&shared, &StateEventFanOut::getInstance());
  const StateEventProducerHandle handle = shared.registerEvent(3, "Camera3Profile7", "Nice");
  shared.sendStartEvent(handle, T0);
  EXPECT_EQ(FakeEvents::sentTo("Camera3ProfileANY").size(), 1U);
  EXPECT_EQ(FakeEvents::sentTo("CameraANY").size(), 1U);
  shared.sendEndEvent(handle);
  shared.unregisterEvent(handle);
}

}  // namespace
