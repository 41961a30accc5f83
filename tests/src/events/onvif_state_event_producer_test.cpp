#include "events/onvif_state_event_producer.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "src/events/wrapper_test_base.h"

namespace {

using FakeEvents::Sent;
using FakeEvents::Value;

constexpr std::int64_t T0 = 1'000'000'000;

class OnvifStateEventProducerTest : public InitializedWrapperTest {
 protected:
  StateEventProducerHandle add(int camera, int uid) {
    return producer.registerEvent(
        camera, "Camera" + std::to_string(camera) + "Profile" + std::to_string(uid), "Nice");
  }

  // What was sent since the last look: the source with "+" for on and "-" for off.
  static std::vector<std::string> news() {
    std::vector<std::string> all;
    for (const Sent& event : FakeEvents::sent()) {
      const bool on = event.keys.at("State").value == Value(true);
      all.push_back((on ? "+" : "-") +
                    std::to_string(std::get<int>(event.keys.at("Source").value)));
    }
    FakeEvents::clearSent();
    return all;
  }

  using News = std::vector<std::string>;

  ONVIF_StateEventProducer producer{2};
};

TEST_F(OnvifStateEventProducerTest, CamerasFromOneToTheCountAreInRange) {
  EXPECT_FALSE(producer.isCameraNbrInRange(-1));
  EXPECT_FALSE(producer.isCameraNbrInRange(0));
  EXPECT_TRUE(producer.isCameraNbrInRange(1));
  EXPECT_TRUE(producer.isCameraNbrInRange(2));
  EXPECT_FALSE(producer.isCameraNbrInRange(3));
}

TEST_F(OnvifStateEventProducerTest, TheCountMayBeAdjusted) {
  producer.adjustNbrCameras(4);
  EXPECT_TRUE(producer.isCameraNbrInRange(4));
  producer.adjustNbrCameras(1);
  EXPECT_FALSE(producer.isCameraNbrInRange(2));
  producer.adjustNbrCameras(0);
  EXPECT_FALSE(producer.isCameraNbrInRange(1));
}

TEST_F(OnvifStateEventProducerTest, DeclaresTheMotionAlarmOfTheCamera) {
  add(2, 7);
  const std::vector<FakeEvents::Declaration> declarations = FakeEvents::activeDeclarations();
  ASSERT_EQ(declarations.size(), 1U);
  EXPECT_EQ(declarations[0].keys.at("topic1").value, Value("MotionAlarm"));
  EXPECT_EQ(declarations[0].keys.at("Source").value, Value(2));
  EXPECT_EQ(declarations[0].keys.at("State").value, Value(false));
}

TEST_F(OnvifStateEventProducerTest, AllProfilesOfACameraShareItsAlarm) {
  const StateEventProducerHandle first = add(1, 7);
  const StateEventProducerHandle second = add(1, 8);
  EXPECT_EQ(FakeEvents::declarations().size(), 1U);
  producer.unregisterEvent(first);
  wait(60'000);
  EXPECT_EQ(FakeEvents::activeDeclarations().size(), 1U);
  producer.unregisterEvent(second);
  wait(60'000);
  EXPECT_TRUE(FakeEvents::activeDeclarations().empty());
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(OnvifStateEventProducerTest, IsOnWhileAnyProfileOfTheCameraIsInAlarm) {
  const StateEventProducerHandle first = add(1, 7);
  const StateEventProducerHandle second = add(1, 8);
  producer.sendStartEvent(first, T0);
  EXPECT_EQ(news(), News{"+1"});
  producer.sendStartEvent(second, T0);
  EXPECT_EQ(news(), News{});
  producer.sendEndEvent(first, T0);
  EXPECT_EQ(news(), News{});
  producer.sendEndEvent(second, T0);
  EXPECT_EQ(news(), News{"-1"});
}

TEST_F(OnvifStateEventProducerTest, CamerasAreIndependent) {
  const StateEventProducerHandle first = add(1, 7);
  const StateEventProducerHandle second = add(2, 8);
  producer.sendStartEvent(first, T0);
  producer.sendStartEvent(second, T0);
  EXPECT_EQ(news(), (News{"+1", "+2"}));
  producer.sendEndEvent(first, T0);
  EXPECT_EQ(news(), News{"-1"});
}

TEST_F(OnvifStateEventProducerTest, AnEndWithoutAStartIsNotSent) {
  const StateEventProducerHandle handle = add(1, 7);
  producer.sendEndEvent(handle, T0);
  EXPECT_EQ(news(), News{});
  producer.sendStartEvent(handle, T0);
  EXPECT_EQ(news(), News{"+1"});
}

TEST_F(OnvifStateEventProducerTest, TimesAreThoseOfTheAlarm) {
  const StateEventProducerHandle handle = add(1, 7);
  constexpr std::int64_t AGE = 2'000'000;
  const std::int64_t before = g_get_real_time();
  producer.sendStartEvent(handle, clock.now() - AGE);
  producer.sendEndEvent(handle);
  const std::int64_t after = g_get_real_time();
  const std::vector<Sent> sent = FakeEvents::sent();
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_GE(sent[0].time, before - AGE);
  EXPECT_LE(sent[0].time, after - AGE);
  EXPECT_GE(sent[1].time, before);
  EXPECT_LE(sent[1].time, after);
}

TEST_F(OnvifStateEventProducerTest, CamerasOutOfRangeAreNotReported) {
  for (const int camera : {-1, 0, 3}) {
    const StateEventProducerHandle handle = add(camera, 7);
    producer.sendStartEvent(handle, T0);
    producer.sendEndEvent(handle, T0);
    producer.sendEndEvent(handle);
    producer.unregisterEvent(handle);
  }
  EXPECT_EQ(news(), News{});
}

}  // namespace
