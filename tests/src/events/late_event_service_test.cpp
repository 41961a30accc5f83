#include <glib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "events/onvif_state_event_producer.h"
#include "events/state_event_fan_out.h"
#include "events/state_event_producer.h"
#include "src/events/wrapper_test_base.h"

namespace {

using FakeEvents::Sent;
using FakeEvents::Value;
using Topics = std::vector<std::string>;

constexpr int FOR_EVER = 1'000'000;
constexpr std::int64_t AGE = 3'600'000'000;
constexpr std::int64_t MINUTE = 60'000'000;
constexpr std::int64_t BACK_OFF = 1'000'000;

// Alarm events that are registered while the event service is away. Whether the device has several
// cameras is read once for the process: each test runs in a process of its own, as ctest runs them.
class LateEventServiceTest : public WrapperTest {
 protected:
  LateEventServiceTest() {
    FakeParameters::set("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration", "yes");
    FakeParameters::set("root.ImageSource.NbrOfSources", "2");
    FakeEvents::failHandlers(FOR_EVER);
    std::thread starting(init);
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
      EXPECT_TRUE(clock.waitForSleepers(2));
      clock.advance(ATTEMPT_PAUSE);
    }
    starting.join();
    log.clear();
  }

  static void serviceComes() { FakeEvents::failHandlers(0); }

  // Runs the main loop, really, until there is something to be seen; a failure after 10 s.
  static void runUntil(const std::function<bool()>& condition) {
    const std::int64_t end = g_get_monotonic_time() + 10'000'000;
    while (!condition()) {
      ASSERT_LT(g_get_monotonic_time(), end);
      if (!g_main_context_iteration(nullptr, FALSE)) {
        std::this_thread::yield();
      }
    }
  }

  // Until both producers, each of which has a timer of its own, have asked once in vain.
  static void runTimers() {
    const std::int64_t end = g_get_monotonic_time() + 1'500'000;
    while (g_get_monotonic_time() < end) {
      if (!g_main_context_iteration(nullptr, FALSE)) {
        std::this_thread::yield();
      }
    }
  }

  static bool isDeclared(const std::string& topic) {
    const Topics topics = activeTopics();
    return std::ranges::count(topics, topic) > 0;
  }

  static Topics sortedTopics() {
    Topics topics = activeTopics();
    std::ranges::sort(topics);
    return topics;
  }

  // By which people know the event, as far as it is declared.
  static Topics niceNames(const std::string& topic) {
    Topics names;
    for (const FakeEvents::Declaration& declaration : FakeEvents::activeDeclarations()) {
      const auto key = declaration.keys.find("topic2");
      if (key != declaration.keys.end() && key->second.value == Value(topic)) {
        names.push_back(key->second.valueNiceName);
      }
    }
    return names;
  }

  // What was sent since the last look: the topic ("" for the motion alarm) with "+" for on and "-"
  // for off.
  static Topics news() {
    Topics topics;
    for (const Sent& event : FakeEvents::sent()) {
      const auto active = event.keys.find("active");
      const auto& key = active != event.keys.end() ? active->second : event.keys.at("State");
      topics.push_back((key.value == Value(true) ? "+" : "-") + event.topic2);
    }
    FakeEvents::clearSent();
    return topics;
  }

  static constexpr int ATTEMPTS = 10;
  static constexpr int ATTEMPT_PAUSE = 100'000;

  StateEventFanOut alarms{2};
};

TEST_F(LateEventServiceTest, IsAskedForAgainUntilAllIsDeclared) {
  alarms.registerEvent(1, "Camera1Profile7", "Nice");
  alarms.registerEvent(2, "Camera2Profile8", "Nice");
  runTimers();
  EXPECT_TRUE(activeTopics().empty());
  serviceComes();
  runUntil([] { return FakeEvents::activeDeclarations().size() >= 7; });
  EXPECT_EQ(sortedTopics(), (Topics{"", "", "Camera1Profile7", "Camera1ProfileANY",
                                    "Camera2Profile8", "Camera2ProfileANY", "CameraANY"}));
  EXPECT_TRUE(news().empty());
}

TEST_F(LateEventServiceTest, AnAlarmThatBeganMeanwhileIsToldAtItsTime) {
  const StateEventProducerHandle handle = alarms.registerEvent(1, "Camera1Profile7", "Nice");
  const std::int64_t before = g_get_real_time();
  alarms.sendStartEvent(handle, clock.now() - AGE);
  const std::int64_t after = g_get_real_time();
  EXPECT_EQ(log.count("FAILED to send event\n"), 2);
  serviceComes();
  runUntil([] { return FakeEvents::sent().size() >= 4; });
  for (const Sent& sent : FakeEvents::sent()) {
    EXPECT_GE(sent.time, before - AGE) << sent.topic2;
    // The test's clock stands still while the main loop waits.
    EXPECT_LE(sent.time, after - AGE + MINUTE) << sent.topic2;
  }
  Topics told = news();
  std::ranges::sort(told);
  EXPECT_EQ(told, (Topics{"+", "+Camera1Profile7", "+Camera1ProfileANY", "+CameraANY"}));
  alarms.sendEndEvent(handle, clock.now());
  EXPECT_EQ(news(), (Topics{"-Camera1Profile7", "-Camera1ProfileANY", "-CameraANY", "-"}));
}

TEST_F(LateEventServiceTest, AnAlarmThatHasEndedMeanwhileIsNotTold) {
  const StateEventProducerHandle handle = alarms.registerEvent(1, "Camera1Profile7", "Nice");
  alarms.sendStartEvent(handle, clock.now());
  alarms.sendEndEvent(handle, clock.now());
  serviceComes();
  runUntil([] { return FakeEvents::activeDeclarations().size() >= 4; });
  EXPECT_TRUE(news().empty());
}

TEST_F(LateEventServiceTest, AnAlarmOfAProfileThatHasGoneIsNotTold) {
  StateEventProducer producer(2);
  const StateEventProducerHandle handle = producer.registerEvent(1, "Camera1Profile7", "Nice");
  producer.sendStartEvent(handle, clock.now());
  producer.unregisterEvent(handle);
  producer.registerEvent(1, "Camera1Profile7", "Nice");
  serviceComes();
  runUntil([] { return isDeclared("Camera1Profile7"); });
  EXPECT_TRUE(news().empty());
}

TEST_F(LateEventServiceTest, TheNextStartDoesNotWait) {
  const StateEventProducerHandle handle = alarms.registerEvent(1, "Camera1Profile7", "Nice");
  serviceComes();
  alarms.sendStartEvent(handle, clock.now());
  EXPECT_EQ(news(), (Topics{"+Camera1Profile7", "+Camera1ProfileANY", "+CameraANY", "+"}));
}

TEST_F(LateEventServiceTest, NorDoesTheNextEnd) {
  const StateEventProducerHandle handle = alarms.registerEvent(1, "Camera1Profile7", "Nice");
  alarms.sendStartEvent(handle, clock.now());
  serviceComes();
  alarms.sendEndEvent(handle, clock.now());
  EXPECT_EQ(news(), (Topics{"+Camera1Profile7", "+Camera1ProfileANY", "+CameraANY",
                            "-Camera1Profile7", "-Camera1ProfileANY", "-CameraANY", "+", "-"}));
}

TEST_F(LateEventServiceTest, NorDoesTheNextRegistration) {
  alarms.registerEvent(1, "Camera1Profile7", "Nice");
  serviceComes();
  alarms.registerEvent(1, "Camera1Profile8", "Nice");
  EXPECT_TRUE(isDeclared("Camera1Profile7"));
  EXPECT_TRUE(isDeclared("Camera1Profile8"));
}

// As by configurations that are set before and after the service has come.
TEST_F(LateEventServiceTest, EachRegistrationIsTakenBackOnce) {
  const StateEventProducerHandle first = alarms.registerEvent(1, "Camera1Profile7", "Profile 7");
  const StateEventProducerHandle next = alarms.registerEvent(1, "Camera1Profile7", "Profile 7");
  alarms.unregisterEvent(first);
  serviceComes();
  const StateEventProducerHandle second = alarms.registerEvent(1, "Camera1Profile7", "Gate");
  alarms.unregisterEvent(next);
  wait(60'000);
  EXPECT_EQ(sortedTopics(), (Topics{"", "Camera1Profile7", "Camera1ProfileANY", "CameraANY"}));
  EXPECT_EQ(niceNames("Camera1Profile7"), Topics{"Gate"});
  alarms.unregisterEvent(second);
  wait(60'000);
  EXPECT_TRUE(activeTopics().empty());
  EXPECT_EQ(log.count("FAILED to unregister event for Camera 1\n"), 0);
}

TEST_F(LateEventServiceTest, WhatHasGoneBeforeItCameIsNotDeclared) {
  const StateEventProducerHandle handle = alarms.registerEvent(1, "Camera1Profile7", "Nice");
  alarms.unregisterEvent(handle);
  serviceComes();
  alarms.registerEvent(2, "Camera2Profile8", "Nice");
  EXPECT_EQ(sortedTopics(), (Topics{"", "Camera2Profile8", "Camera2ProfileANY", "CameraANY"}));
}

TEST_F(LateEventServiceTest, WaitingForItIsQuiet) {
  alarms.registerEvent(1, "Camera1Profile7", "Nice");
  log.clear();
  runTimers();
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(LateEventServiceTest, PreparingTheCountersForgetsTheStartsThatWereMissed) {
  StateEventProducer producer(2);
  const StateEventProducerHandle handle = producer.registerEvent(1, "Camera1Profile7", "Nice");
  producer.sendStartEvent(handle, clock.now());
  producer.prepareReferenceCounterVectors(2);
  serviceComes();
  runUntil([] { return isDeclared("Camera1Profile7"); });
  EXPECT_TRUE(news().empty());
}

TEST_F(LateEventServiceTest, TheMotionAlarmOutlivesTheFirstOfTwoProfilesThatEnds) {
  ONVIF_StateEventProducer producer(2);
  const StateEventProducerHandle first = producer.registerEvent(1, "Camera1Profile7", "Nice");
  const StateEventProducerHandle second = producer.registerEvent(1, "Camera1Profile8", "Nice");
  const std::int64_t before = g_get_real_time();
  producer.sendStartEvent(first, clock.now() - AGE);
  const std::int64_t after = g_get_real_time();
  producer.sendStartEvent(second, clock.now());
  producer.sendEndEvent(first, clock.now());
  serviceComes();
  runUntil([] { return !FakeEvents::sent().empty(); });
  EXPECT_GE(FakeEvents::sent().at(0).time, before - AGE) << "on since the first began";
  EXPECT_LE(FakeEvents::sent().at(0).time, after - AGE + MINUTE);
  EXPECT_EQ(news(), Topics{"+"});
  producer.sendEndEvent(second, clock.now());
  EXPECT_EQ(news(), Topics{"-"});
}

// ---- A service that is there and refuses, or answers nobody ----

class RefusingEventServiceTest : public LateEventServiceTest {
 protected:
  RefusingEventServiceTest() { serviceComes(); }

  // An event that needs no further declaration.
  static void addBefore(const std::string& name, const std::string& niceName) {
    ASSERT_TRUE(sdk_wrapper_event_add(name, name, niceName, SDK_EVENT_STATEFUL));
  }

  StateEventProducer producer{2};
};

TEST_F(RefusingEventServiceTest, IsAskedOnceInASecondByAllThatIsSent) {
  const StateEventProducerHandle ready = producer.registerEvent(2, "Camera2Profile1", "Nice");
  FakeEvents::failDeclares(FOR_EVER);
  const StateEventProducerHandle first = producer.registerEvent(1, "Camera1Profile7", "Nice");
  producer.registerEvent(1, "Camera1Profile8", "Nice");
  const int before = FakeEvents::declaresTried();
  producer.sendStartEvent(ready, clock.now());
  producer.sendStartEvent(first, clock.now());
  producer.sendEndEvent(first, clock.now());
  EXPECT_EQ(FakeEvents::declaresTried() - before, 0) << "it has just refused";
  wait(BACK_OFF);
  producer.sendEndEvent(ready, clock.now());
  EXPECT_EQ(FakeEvents::declaresTried() - before, 1) << "no other one after the first";
  producer.sendStartEvent(first, clock.now());
  producer.sendEndEvent(first, clock.now());
  EXPECT_EQ(FakeEvents::declaresTried() - before, 1);
  wait(BACK_OFF);
  producer.sendStartEvent(ready, clock.now());
  EXPECT_EQ(FakeEvents::declaresTried() - before, 2);
}

TEST_F(RefusingEventServiceTest, IsAskedOnceInASecondForTheMotionAlarmToo) {
  ONVIF_StateEventProducer motion(2);
  FakeEvents::failDeclares(FOR_EVER);
  const StateEventProducerHandle first = motion.registerEvent(1, "Camera1Profile7", "Nice");
  motion.registerEvent(2, "Camera2Profile8", "Nice");
  const int before = FakeEvents::declaresTried();
  motion.sendStartEvent(first, clock.now());
  motion.sendEndEvent(first, clock.now());
  EXPECT_EQ(FakeEvents::declaresTried() - before, 0);
  wait(BACK_OFF);
  motion.sendStartEvent(first, clock.now());
  motion.sendEndEvent(first, clock.now());
  EXPECT_EQ(FakeEvents::declaresTried() - before, 1);
}

TEST_F(RefusingEventServiceTest, IsAskedAgainWithTheNextAlarmAfterASecond) {
  FakeEvents::failDeclares(1);
  const StateEventProducerHandle handle = producer.registerEvent(1, "Camera1Profile7", "Nice");
  EXPECT_FALSE(isDeclared("Camera1Profile7"));
  wait(BACK_OFF);
  producer.sendStartEvent(handle, clock.now());
  EXPECT_EQ(news(), (Topics{"+Camera1Profile7", "+Camera1ProfileANY", "+CameraANY"}));
}

TEST_F(RefusingEventServiceTest, AnOldNiceNameDoesNotComeBack) {
  FakeEvents::failDeclares(3);  // those of the first registration
  producer.registerEvent(1, "Camera1Profile7", "Profile 7");
  const StateEventProducerHandle handle = producer.registerEvent(1, "Camera1Profile7", "Gate");
  for (int attempt = 0; attempt < 2; ++attempt) {
    wait(BACK_OFF);
    producer.sendStartEvent(handle, clock.now());
  }
  EXPECT_EQ(niceNames("Camera1Profile7"), Topics{"Gate"});
}

TEST_F(RefusingEventServiceTest, IsAskedWithoutAnAlarmUntilAllIsDeclared) {
  FakeEvents::failDeclares(4);  // the three of the registration, and the first attempt after it
  producer.registerEvent(1, "Camera1Profile7", "Nice");
  runUntil([] { return FakeEvents::activeDeclarations().size() >= 3; });
  EXPECT_EQ(sortedTopics(), (Topics{"Camera1Profile7", "Camera1ProfileANY", "CameraANY"}));
}

TEST_F(RefusingEventServiceTest, IsAskedForTheMotionAlarmUntilItIsDeclared) {
  ONVIF_StateEventProducer motion(2);
  FakeEvents::failDeclares(2);
  motion.registerEvent(1, "Camera1Profile7", "Nice");
  runUntil([] { return !FakeEvents::activeDeclarations().empty(); });
  EXPECT_EQ(activeTopics(), Topics{""});
}

TEST_F(RefusingEventServiceTest, AggregatesThatWereMissedAreToldAtTheirTime) {
  addBefore("Camera1Profile7", "Nice");
  FakeEvents::failDeclares(2);
  const StateEventProducerHandle handle = producer.registerEvent(1, "Camera1Profile7", "Nice");
  const std::int64_t before = g_get_real_time();
  producer.sendStartEvent(handle, clock.now() - AGE);
  const std::int64_t after = g_get_real_time();
  EXPECT_EQ(news(), Topics{"+Camera1Profile7"});
  runUntil([] { return FakeEvents::sent().size() >= 2; });
  for (const Sent& sent : FakeEvents::sent()) {
    EXPECT_GE(sent.time, before - AGE) << sent.topic2;
    EXPECT_LE(sent.time, after - AGE + MINUTE) << sent.topic2;
  }
  EXPECT_EQ(news(), (Topics{"+Camera1ProfileANY", "+CameraANY"}));
  producer.sendEndEvent(handle, clock.now());
  EXPECT_EQ(news(), (Topics{"-Camera1Profile7", "-Camera1ProfileANY", "-CameraANY"}));
}

TEST_F(RefusingEventServiceTest, TheDevicesAggregateAloneIsToldToo) {
  addBefore("Camera1Profile7", "Nice");
  addBefore("Camera1ProfileANY", "Camera 1 (ANY)");
  FakeEvents::failDeclares(1);
  const StateEventProducerHandle handle = producer.registerEvent(1, "Camera1Profile7", "Nice");
  producer.sendStartEvent(handle, clock.now());
  EXPECT_EQ(news(), (Topics{"+Camera1Profile7", "+Camera1ProfileANY"}));
  runUntil([] { return !FakeEvents::sent().empty(); });
  EXPECT_EQ(news(), Topics{"+CameraANY"});
  producer.sendEndEvent(handle, clock.now());
  EXPECT_EQ(news(), (Topics{"-Camera1Profile7", "-Camera1ProfileANY", "-CameraANY"}));
}

TEST_F(RefusingEventServiceTest, AggregatesThatHaveEndedMeanwhileAreNotTold) {
  addBefore("Camera1Profile7", "Nice");
  FakeEvents::failDeclares(2);
  const StateEventProducerHandle handle = producer.registerEvent(1, "Camera1Profile7", "Nice");
  producer.sendStartEvent(handle, clock.now());
  producer.sendEndEvent(handle, clock.now());
  EXPECT_EQ(news(), (Topics{"+Camera1Profile7", "-Camera1Profile7"}));
  runUntil([] { return isDeclared("CameraANY"); });
  EXPECT_TRUE(news().empty());
}

TEST_F(RefusingEventServiceTest, TheDevicesAggregateThatHasEndedMeanwhileIsNotTold) {
  addBefore("Camera1Profile7", "Nice");
  addBefore("Camera1ProfileANY", "Camera 1 (ANY)");
  FakeEvents::failDeclares(1);
  const StateEventProducerHandle handle = producer.registerEvent(1, "Camera1Profile7", "Nice");
  producer.sendStartEvent(handle, clock.now());
  producer.sendEndEvent(handle, clock.now());
  news();
  runUntil([] { return isDeclared("CameraANY"); });
  EXPECT_TRUE(news().empty());
}

}  // namespace
