#include "events/state_event_producer.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "src/events/wrapper_test_base.h"

namespace {

using FakeEvents::Sent;
using FakeEvents::Value;
using Topics = std::vector<std::string>;

constexpr std::int64_t T0 = 1'000'000'000;

// Whether the device has one camera or four is read once for the process: each test runs in a
// process of its own, as ctest runs them.
class StateEventProducerTest : public InitializedWrapperTest {
 protected:
  explicit StateEventProducerTest(int cameras = 1) : producer(cameras) {
    FakeParameters::set("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration",
                        cameras > 1 ? "yes" : "no");
    FakeParameters::set("root.ImageSource.NbrOfSources", std::to_string(cameras));
  }

  StateEventProducerHandle add(int camera, int uid) {
    StateEventProducerHandle handle = producer.registerEvent(
        camera, "Camera" + std::to_string(camera) + "Profile" + std::to_string(uid), "Nice");
    handle.id = uid;
    return handle;
  }

  void start(const StateEventProducerHandle& handle) { producer.sendStartEvent(handle, T0); }
  void end(const StateEventProducerHandle& handle) { producer.sendEndEvent(handle, T0); }

  // What was sent since the last look: the topic with "+" for on and "-" for off.
  static Topics news() {
    Topics topics;
    for (const Sent& event : FakeEvents::sent()) {
      const bool on = event.keys.at("active").value == Value(true);
      topics.push_back((on ? "+" : "-") + event.topic2);
    }
    FakeEvents::clearSent();
    return topics;
  }

  StateEventProducer producer;
};

class MultiCameraProducerTest : public StateEventProducerTest {
 protected:
  MultiCameraProducerTest() : StateEventProducerTest(4) {}
};

TEST_F(StateEventProducerTest, RegisteringDeclaresTheProfilesAndTheCamerasEvent) {
  const StateEventProducerHandle handle = producer.registerEvent(1, "Camera1Profile7", "Nice");
  EXPECT_EQ(handle.lookupKey, "Camera1Profile7");
  EXPECT_EQ(handle.camera, 1);
  Topics topics = activeTopics();
  std::sort(topics.begin(), topics.end());
  EXPECT_EQ(topics, (Topics{"Camera1Profile7", "Camera1ProfileANY"}));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(StateEventProducerTest, TheEventsAreStatefulWithoutData) {
  add(1, 7);
  for (const FakeEvents::Declaration& declaration : FakeEvents::declarations()) {
    EXPECT_FALSE(declaration.stateless);
    EXPECT_EQ(declaration.keys.size(), 4U) << "three topics and the state";
    EXPECT_TRUE(declaration.keys.contains("active"));
    EXPECT_TRUE(declaration.keys.at("topic2").userDefinedTags.empty());
  }
}

TEST_F(StateEventProducerTest, TheProfilesEventHasItsNiceName) {
  producer.registerEvent(1, "Camera1Profile7", "SentrelVideo (Gate)");
  bool found = false;
  for (const FakeEvents::Declaration& declaration : FakeEvents::declarations()) {
    const FakeEvents::Key topic = declaration.keys.at("topic2");
    found = found || (topic.value == Value("Camera1Profile7") &&
                      topic.keyNiceName + topic.valueNiceName == "SentrelVideo (Gate)");
  }
  EXPECT_TRUE(found);
}

TEST_F(MultiCameraProducerTest, RegisteringDeclaresTheDevicesEventToo) {
  add(2, 7);
  Topics topics = activeTopics();
  std::sort(topics.begin(), topics.end());
  EXPECT_EQ(topics, (Topics{"Camera2Profile7", "Camera2ProfileANY", "CameraANY"}));
}

TEST_F(StateEventProducerTest, UnregisteringRemovesAll) {
  producer.unregisterEvent(add(1, 7));
  wait(60'000);
  EXPECT_TRUE(activeTopics().empty());
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(StateEventProducerTest, TheCamerasEventStaysWhileAProfileUsesIt) {
  const StateEventProducerHandle first = add(1, 7);
  const StateEventProducerHandle second = add(1, 8);
  producer.unregisterEvent(first);
  wait(60'000);
  Topics topics = activeTopics();
  std::sort(topics.begin(), topics.end());
  EXPECT_EQ(topics, (Topics{"Camera1Profile8", "Camera1ProfileANY"}));
  producer.unregisterEvent(second);
  wait(60'000);
  EXPECT_TRUE(activeTopics().empty());
}

TEST_F(MultiCameraProducerTest, TheDevicesEventStaysWhileACameraUsesIt) {
  const StateEventProducerHandle first = add(1, 7);
  const StateEventProducerHandle second = add(2, 8);
  producer.unregisterEvent(first);
  wait(60'000);
  Topics topics = activeTopics();
  std::sort(topics.begin(), topics.end());
  EXPECT_EQ(topics, (Topics{"Camera2Profile8", "Camera2ProfileANY", "CameraANY"}));
  producer.unregisterEvent(second);
  wait(60'000);
  EXPECT_TRUE(activeTopics().empty());
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(StateEventProducerTest, AnUnknownProfileCannotBeUnregistered) {
  producer.unregisterEvent({.lookupKey = "Camera1Profile7", .camera = 1, .id = 7});
  EXPECT_EQ(log.count("FAILED to unregister event for Camera 1\n"), 1);
}

TEST_F(StateEventProducerTest, AFailedAggregateDeclarationIsCritical) {
  FakeEvents::failDeclares(1);
  producer.declareAnyEvents(1);
  EXPECT_EQ(log.count(LOG_CRIT, "FAILED to create any event Camera1ProfileANY \n"), 1);
}

TEST_F(MultiCameraProducerTest, AFailedDeviceDeclarationIsCritical) {
  FakeEvents::failDeclares(1);
  producer.declareGlobalAnyEvent();
  EXPECT_EQ(log.count(LOG_CRIT, "FAILED to create any global event CameraANY \n"), 1);
}

TEST_F(StateEventProducerTest, AggregatesMayBeDeclaredAndRemovedAlone) {
  producer.declareAnyEvents(1);
  EXPECT_EQ(activeTopics(), Topics{"Camera1ProfileANY"});
  producer.removeAnyEvents(1);
  wait(60'000);
  EXPECT_TRUE(activeTopics().empty());
}

TEST_F(MultiCameraProducerTest, TheDevicesAggregateMayBeDeclaredAndRemovedAlone) {
  producer.declareGlobalAnyEvent();
  EXPECT_EQ(activeTopics(), Topics{"CameraANY"});
  producer.removeGlobalAnyEvent();
  wait(60'000);
  EXPECT_TRUE(activeTopics().empty());
}

TEST_F(MultiCameraProducerTest, AggregatesThatAreNotThereCannotBeRemoved) {
  producer.removeAnyEvents(3);
  producer.removeGlobalAnyEvent();
  EXPECT_EQ(log.count("FAILED to remove event Camera3ProfileANY \n"), 1);
  EXPECT_EQ(log.count("FAILED to remove event CameraANY \n"), 1);
}

TEST_F(StateEventProducerTest, ProfilesWorkWithoutTheirAggregate) {
  const StateEventProducerHandle handle = add(1, 7);
  producer.removeAnyEvents(1);
  wait(60'000);
  start(handle);
  EXPECT_EQ(news(), Topics{"+Camera1Profile7"});
  EXPECT_EQ(log.count("FAILED to send Camera 1 Any event\n"), 1);
}

TEST_F(StateEventProducerTest, OnASingleCameraDeviceNoDeviceEventIsSent) {
  const StateEventProducerHandle handle = add(1, 7);
  start(handle);
  EXPECT_EQ(news(), (Topics{"+Camera1Profile7", "+Camera1ProfileANY"}));
  end(handle);
  EXPECT_EQ(news(), (Topics{"-Camera1Profile7", "-Camera1ProfileANY"}));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(StateEventProducerTest, TwoProfilesInAlarmGiveOneCameraStartAndOneCameraEnd) {
  const StateEventProducerHandle first = add(1, 7);
  const StateEventProducerHandle second = add(1, 8);
  start(first);
  EXPECT_EQ(news(), (Topics{"+Camera1Profile7", "+Camera1ProfileANY"}));
  start(second);
  EXPECT_EQ(news(), Topics{"+Camera1Profile8"});
  end(first);
  EXPECT_EQ(news(), Topics{"-Camera1Profile7"});
  end(second);
  EXPECT_EQ(news(), (Topics{"-Camera1Profile8", "-Camera1ProfileANY"}));
}

TEST_F(MultiCameraProducerTest, TheDeviceStartsWithTheFirstCameraAndEndsWithTheLast) {
  const StateEventProducerHandle first = add(1, 7);
  const StateEventProducerHandle second = add(4, 8);
  start(first);
  EXPECT_EQ(news(), (Topics{"+Camera1Profile7", "+Camera1ProfileANY", "+CameraANY"}));
  start(second);
  EXPECT_EQ(news(), (Topics{"+Camera4Profile8", "+Camera4ProfileANY"}));
  end(first);
  EXPECT_EQ(news(), (Topics{"-Camera1Profile7", "-Camera1ProfileANY"}));
  end(second);
  EXPECT_EQ(news(), (Topics{"-Camera4Profile8", "-Camera4ProfileANY", "-CameraANY"}));
}

TEST_F(MultiCameraProducerTest, ASecondProfileOfTheOnlyCameraDoesNotRepeatTheDevicesStart) {
  const StateEventProducerHandle first = add(2, 7);
  const StateEventProducerHandle second = add(2, 8);
  start(first);
  news();
  start(second);
  EXPECT_EQ(news(), Topics{"+Camera2Profile8"});
}

TEST_F(MultiCameraProducerTest, TheEventsCarryTheAlarmsTime) {
  const StateEventProducerHandle handle = add(1, 7);
  constexpr std::int64_t AGE = 3'000'000;
  const std::int64_t before = g_get_real_time();
  producer.sendStartEvent(handle, clock.now() - AGE);
  producer.sendEndEvent(handle, clock.now() - AGE);
  const std::int64_t after = g_get_real_time();
  const std::vector<Sent> sent = FakeEvents::sent();
  ASSERT_EQ(sent.size(), 6U);
  for (const Sent& event : sent) {
    EXPECT_GE(event.time, before - AGE) << event.topic2;
    EXPECT_LE(event.time, after - AGE) << event.topic2;
  }
}

TEST_F(MultiCameraProducerTest, AnEndWithoutATimeIsStampedNow) {
  const StateEventProducerHandle handle = add(1, 7);
  start(handle);
  news();
  const std::int64_t before = g_get_real_time();
  producer.sendEndEvent(handle);
  const std::int64_t after = g_get_real_time();
  const std::vector<Sent> sent = FakeEvents::sent();
  EXPECT_EQ(news(), (Topics{"-Camera1Profile7", "-Camera1ProfileANY", "-CameraANY"}));
  for (const Sent& event : sent) {
    EXPECT_GE(event.time, before) << event.topic2;
    EXPECT_LE(event.time, after) << event.topic2;
  }
}

TEST_F(MultiCameraProducerTest, AFailedProfileStartStopsThere) {
  const StateEventProducerHandle handle = add(1, 7);
  FakeEvents::failSends(1);
  start(handle);
  EXPECT_TRUE(news().empty());
  EXPECT_EQ(log.count("FAILED to send event\n"), 1);
}

TEST_F(MultiCameraProducerTest, AFailedProfileStartDoesNotCount) {
  const StateEventProducerHandle failing = add(1, 7);
  const StateEventProducerHandle other = add(1, 8);
  FakeEvents::failSends(1);
  start(failing);
  start(other);
  EXPECT_EQ(news(), (Topics{"+Camera1Profile8", "+Camera1ProfileANY", "+CameraANY"}));
}

TEST_F(MultiCameraProducerTest, TheEndAfterAFailedStartDoesNotCountEither) {
  const StateEventProducerHandle failing = add(1, 7);
  const StateEventProducerHandle other = add(1, 8);
  FakeEvents::failSends(1);
  start(failing);
  start(other);
  news();
  end(failing);
  EXPECT_EQ(news(), Topics{"-Camera1Profile7"});
  end(other);
  EXPECT_EQ(news(), (Topics{"-Camera1Profile8", "-Camera1ProfileANY", "-CameraANY"}));
}

TEST_F(MultiCameraProducerTest, CountersNeverFallBelowZero) {
  const StateEventProducerHandle handle = add(1, 7);
  end(handle);
  end(handle);
  EXPECT_EQ(news(), (Topics{"-Camera1Profile7", "-Camera1Profile7"}));
  start(handle);
  EXPECT_EQ(news(), (Topics{"+Camera1Profile7", "+Camera1ProfileANY", "+CameraANY"}));
}

TEST_F(MultiCameraProducerTest, AProfileCountsOnce) {
  const StateEventProducerHandle handle = add(1, 7);
  start(handle);
  news();
  start(handle);
  EXPECT_EQ(news(), Topics{"+Camera1Profile7"});
  end(handle);
  EXPECT_EQ(news(), (Topics{"-Camera1Profile7", "-Camera1ProfileANY", "-CameraANY"}));
}

TEST_F(MultiCameraProducerTest, AFailedProfileEndStopsThereAndHealsWithTheNextAlarm) {
  const StateEventProducerHandle handle = add(1, 7);
  start(handle);
  news();
  FakeEvents::failSends(1);
  end(handle);
  EXPECT_TRUE(news().empty());
  EXPECT_EQ(log.count("FAILED to send end event\n"), 1);
  start(handle);
  EXPECT_EQ(news(), Topics{"+Camera1Profile7"}) << "it still counts";
  end(handle);
  EXPECT_EQ(news(), (Topics{"-Camera1Profile7", "-Camera1ProfileANY", "-CameraANY"}));
}

TEST_F(MultiCameraProducerTest, AFailedCameraStartLeavesTheDeviceOut) {
  const StateEventProducerHandle handle = add(2, 7);
  const StateEventProducerHandle other = add(3, 8);
  producer.removeAnyEvents(2);
  wait(60'000);
  start(handle);
  EXPECT_EQ(news(), Topics{"+Camera2Profile7"});
  EXPECT_EQ(log.count("FAILED to send Camera 2 Any event\n"), 1);
  start(other);
  EXPECT_EQ(news(), (Topics{"+Camera3Profile8", "+Camera3ProfileANY", "+CameraANY"}));
}

TEST_F(MultiCameraProducerTest, TheEndAfterAFailedCameraStartDoesNotEndTheDevice) {
  const StateEventProducerHandle handle = add(2, 7);
  const StateEventProducerHandle other = add(3, 8);
  producer.removeAnyEvents(2);
  wait(60'000);
  start(handle);
  start(other);
  news();
  producer.declareAnyEvents(2);
  end(handle);
  EXPECT_EQ(news(), (Topics{"-Camera2Profile7", "-Camera2ProfileANY"}));
  end(other);
  EXPECT_EQ(news(), (Topics{"-Camera3Profile8", "-Camera3ProfileANY", "-CameraANY"}));
}

TEST_F(MultiCameraProducerTest, AFailedCameraEndHealsWithTheNextAlarm) {
  const StateEventProducerHandle handle = add(2, 7);
  start(handle);
  producer.removeAnyEvents(2);
  wait(60'000);
  news();
  end(handle);
  EXPECT_EQ(news(), Topics{"-Camera2Profile7"});
  EXPECT_EQ(log.count("FAILED to send end Camera Any event\n"), 1);
  producer.declareAnyEvents(2);
  start(handle);
  EXPECT_EQ(news(), (Topics{"+Camera2Profile7", "+Camera2ProfileANY"}))
      << "the device has not ended";
  end(handle);
  EXPECT_EQ(news(), (Topics{"-Camera2Profile7", "-Camera2ProfileANY", "-CameraANY"}));
}

TEST_F(MultiCameraProducerTest, AFailedDeviceStartAndEndAreLogged) {
  const StateEventProducerHandle handle = add(2, 7);
  producer.removeGlobalAnyEvent();
  wait(60'000);
  start(handle);
  EXPECT_EQ(log.count("FAILED to send Global Any event\n"), 1);
  end(handle);
  EXPECT_EQ(log.count("FAILED to send end Global Any event\n"), 1);
}

TEST_F(MultiCameraProducerTest, CamerasWithoutACounterOnlyGetTheirProfilesEvent) {
  for (const int camera : {0, 5, -1}) {
    const std::string name = "Camera" + std::to_string(camera) + "Profile9";
    const StateEventProducerHandle handle = add(camera, 9);
    start(handle);
    EXPECT_EQ(news(), Topics{"+" + name});
    end(handle);
    EXPECT_EQ(news(), Topics{"-" + name});
    producer.unregisterEvent(handle);
  }
  const StateEventProducerHandle handle = add(1, 7);
  start(handle);
  EXPECT_EQ(news(), (Topics{"+Camera1Profile7", "+Camera1ProfileANY", "+CameraANY"}))
      << "the device's counter was left alone";
}

TEST_F(MultiCameraProducerTest, PreparingTheCountersSetsThemToZero) {
  const StateEventProducerHandle handle = add(1, 7);
  start(handle);
  news();
  producer.prepareReferenceCounterVectors(4);
  start(handle);
  EXPECT_EQ(news(), (Topics{"+Camera1Profile7", "+Camera1ProfileANY", "+CameraANY"}));
}

// Starts and ends in any order: aggregates follow the profiles that are in alarm.
TEST_F(MultiCameraProducerTest, AggregatesFollowRandomAlarms) {
  std::vector<StateEventProducerHandle> handles;
  for (int uid = 0; uid < 8; ++uid) {
    handles.push_back(add(uid % 4 + 1, uid));
  }
  std::mt19937 random(925);
  std::uniform_int_distribution<int> pick(0, 7);
  std::set<int> inAlarm;
  std::map<std::string, bool> shown;
  for (int round = 0; round < 2000; ++round) {
    const int uid = pick(random);
    if (inAlarm.contains(uid)) {
      inAlarm.erase(uid);
      end(handles[uid]);
    } else {
      inAlarm.insert(uid);
      start(handles[uid]);
    }
    for (const std::string& topic : news()) {
      const bool on = topic[0] == '+';
      EXPECT_NE(shown[topic.substr(1)], on) << "told twice: " << topic;
      shown[topic.substr(1)] = on;
    }
    EXPECT_EQ(shown["CameraANY"], !inAlarm.empty());
    for (int camera = 1; camera <= 4; ++camera) {
      const bool expected = std::any_of(inAlarm.begin(), inAlarm.end(),
                                        [camera](int one) { return one % 4 + 1 == camera; });
      EXPECT_EQ(shown["Camera" + std::to_string(camera) + "ProfileANY"], expected);
    }
  }
}

}  // namespace
