#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/units.h"
#include "events/sdk_wrapper.h"
#include "src/events/wrapper_test_base.h"

namespace {

constexpr int DELAY = 50'000;
constexpr std::int64_t SECOND = units::MICROSECONDS_PER_SECOND;

class SdkWrapperRemoveTest : public InitializedWrapperTest {
 protected:
  static bool add(const std::string& name = "name") {
    return sdk_wrapper_event_add(name, name, "Nice", SDK_EVENT_STATEFUL);
  }

  static bool send(const std::string& name = "name") {
    return sdk_wrapper_event_send(name, 1, nullptr, nullptr);
  }

  static std::size_t undeclared() {
    return FakeEvents::declarations().size() - FakeEvents::activeDeclarations().size();
  }
};

TEST_F(SdkWrapperRemoveTest, AnUnknownNameCannotBeRemoved) {
  EXPECT_FALSE(sdk_wrapper_event_remove("name"));
}

TEST_F(SdkWrapperRemoveTest, IsUndeclaredAfterTheDelayAndNotBefore) {
  add();
  EXPECT_TRUE(sdk_wrapper_event_remove("name"));
  EXPECT_EQ(undeclared(), 0U);
  wait(DELAY - TICK);
  EXPECT_EQ(undeclared(), 0U);
  wait(TICK);
  EXPECT_EQ(undeclared(), 1U);
  EXPECT_FALSE(send());
}

TEST_F(SdkWrapperRemoveTest, DeclaredTwiceNeedsTwoRemovals) {
  add();
  add();
  EXPECT_TRUE(sdk_wrapper_event_remove("name"));
  wait(4 * DELAY);
  EXPECT_EQ(undeclared(), 0U);
  EXPECT_TRUE(send());
  EXPECT_TRUE(sdk_wrapper_event_remove("name"));
  wait(DELAY);
  EXPECT_EQ(undeclared(), 1U);
}

TEST_F(SdkWrapperRemoveTest, IsStillSentUntilTheDelayIsOver) {
  add();
  sdk_wrapper_event_remove("name");
  EXPECT_TRUE(send());
}

TEST_F(SdkWrapperRemoveTest, DeclaredAgainWithinTheDelayItLives) {
  add();
  sdk_wrapper_event_remove("name");
  wait(DELAY - TICK);
  EXPECT_TRUE(add());
  wait(4 * DELAY);
  EXPECT_EQ(FakeEvents::declarations().size(), 1U);
  EXPECT_EQ(undeclared(), 0U);
  EXPECT_TRUE(send());
}

TEST_F(SdkWrapperRemoveTest, DeclaredAgainAndRemovedAgainItIsUndeclaredOnce) {
  add();
  sdk_wrapper_event_remove("name");
  wait(2 * TICK);
  add();
  sdk_wrapper_event_remove("name");
  wait(4 * DELAY);
  EXPECT_EQ(undeclared(), 1U);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(SdkWrapperRemoveTest, DeclaredAfterTheDelayItIsANewDeclaration) {
  add();
  sdk_wrapper_event_remove("name");
  wait(DELAY);
  EXPECT_TRUE(add());
  EXPECT_EQ(FakeEvents::declarations().size(), 2U);
  EXPECT_TRUE(send());
  wait(4 * DELAY);
  EXPECT_EQ(FakeEvents::activeDeclarations().size(), 1U);
}

TEST_F(SdkWrapperRemoveTest, DeclaredAfterTheDelayItMayHaveOtherProperties) {
  add();
  sdk_wrapper_event_remove("name");
  wait(DELAY);
  EXPECT_TRUE(sdk_wrapper_event_add("name", "name", "Nice", 0, "key"));
}

TEST_F(SdkWrapperRemoveTest, RemovedOnceTooOftenItIsStillUndeclared) {
  add();
  sdk_wrapper_event_remove("name");
  sdk_wrapper_event_remove("name");
  wait(4 * DELAY);
  EXPECT_EQ(undeclared(), 1U);
}

TEST_F(SdkWrapperRemoveTest, SeveralEventsAreUndeclaredEachAtItsTime) {
  for (const char* name : {"first", "second", "third"}) {
    add(name);
  }
  sdk_wrapper_event_remove("first");
  wait(2 * TICK);
  sdk_wrapper_event_remove("third");
  wait(DELAY - 2 * TICK);
  EXPECT_EQ(activeTopics(), (std::vector<std::string>{"second", "third"}));
  wait(2 * TICK);
  EXPECT_EQ(activeTopics(), std::vector<std::string>{"second"});
}

TEST_F(SdkWrapperRemoveTest, TheTimerIsDroppedWithTheEvent) {
  add();
  sdk_wrapper_event_remove("name");
  wait(4 * DELAY);
  EXPECT_EQ(IntervalTimerObservable::registerObserver([](std::int32_t) {}, 1), 0)
      << "no observer is left";
}

TEST_F(SdkWrapperRemoveTest, TheTimerIsDroppedWhenTheEventLivesOn) {
  add();
  sdk_wrapper_event_remove("name");
  add();
  wait(4 * DELAY);
  EXPECT_EQ(IntervalTimerObservable::registerObserver([](std::int32_t) {}, 1), 0)
      << "no observer is left";
}

TEST_F(SdkWrapperRemoveTest, CleanupUndeclaresEveryEvent) {
  add("first");
  add("second");
  add("second");
  sdk_wrapper_event_add_onvif_motion_alarm_event("motion", 1, 0);
  sdk_wrapper_cleanup();
  EXPECT_EQ(undeclared(), 3U);
}

TEST_F(SdkWrapperRemoveTest, CleanupCompletesPendingRemovalsAtOnce) {
  add();
  sdk_wrapper_event_remove("name");
  sdk_wrapper_cleanup();
  EXPECT_EQ(undeclared(), 1U);
  wait(4 * DELAY);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(SdkWrapperRemoveTest, CleanupUndeclaresOnceWhatWasDeclaredAgain) {
  add();
  sdk_wrapper_event_remove("name");
  add();
  sdk_wrapper_cleanup();
  EXPECT_EQ(undeclared(), 1U);
  EXPECT_EQ(FakeEvents::declarations().size(), 1U);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(SdkWrapperRemoveTest, ATimerThatOutlivesCleanupEndsItself) {
  add();
  sdk_wrapper_event_remove("name");  // its timer becomes active with the next pass only
  sdk_wrapper_cleanup();
  wait(4 * DELAY);
  EXPECT_EQ(IntervalTimerObservable::registerObserver([](std::int32_t) {}, 1), 0)
      << "no observer is left";
}

TEST_F(SdkWrapperRemoveTest, AnEventThatCannotBeUndeclaredIsSoASecondLater) {
  add();
  sdk_wrapper_event_remove("name");
  FakeEvents::failUndeclares(1);
  wait(DELAY + TICK);
  EXPECT_EQ(undeclared(), 0U);
  EXPECT_FALSE(send()) << "nobody knows it any more";
  wait(SECOND);
  EXPECT_EQ(undeclared(), 1U);
  wait(4 * DELAY);
  EXPECT_EQ(IntervalTimerObservable::registerObserver([](std::int32_t) {}, 1), 0)
      << "no observer is left";
}

TEST_F(SdkWrapperRemoveTest, WhatRefusesToGoIsAskedEverMoreSeldom) {
  add("first");
  add("second");
  FakeEvents::failUndeclares(2);
  sdk_wrapper_event_remove("first");
  wait(DELAY + SECOND + 2 * TICK);
  sdk_wrapper_event_remove("second");
  wait(DELAY + TICK);
  EXPECT_EQ(activeTopics(), std::vector<std::string>{"first"});
  wait(SECOND);
  EXPECT_EQ(undeclared(), 1U) << "the second attempt is two seconds after the first";
  wait(SECOND);
  EXPECT_EQ(undeclared(), 2U);
}

TEST_F(SdkWrapperRemoveTest, DeclaredAgainWhileTheFormerOneRefusesToGoItLives) {
  add();
  sdk_wrapper_event_remove("name");
  FakeEvents::failUndeclares(1);
  wait(DELAY + TICK);
  EXPECT_TRUE(add());
  wait(SECOND + TICK);
  ASSERT_EQ(FakeEvents::activeDeclarations().size(), 1U);
  EXPECT_EQ(FakeEvents::activeDeclarations()[0].id, FakeEvents::declarations()[1].id);
  EXPECT_TRUE(send());
}

TEST_F(SdkWrapperRemoveTest, CleanupUndeclaresWhatHasRefusedToGo) {
  add();
  sdk_wrapper_event_remove("name");
  FakeEvents::failUndeclares(1);
  wait(DELAY + TICK);
  sdk_wrapper_cleanup();
  EXPECT_EQ(undeclared(), 1U);
  wait(2 * SECOND);
  EXPECT_EQ(IntervalTimerObservable::registerObserver([](std::int32_t) {}, 1), 0)
      << "no observer is left";
}

TEST_F(SdkWrapperRemoveTest, NothingCanBeSentAfterCleanup) {
  add();
  sdk_wrapper_cleanup();
  EXPECT_FALSE(send());
  EXPECT_EQ(log.count("Cannot send event name. Handler is not initialized\n"), 1);
}

}  // namespace
