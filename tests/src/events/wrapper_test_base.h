#ifndef TESTS_SRC_EVENTS_WRAPPER_TEST_BASE_H
#define TESTS_SRC_EVENTS_WRAPPER_TEST_BASE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "app/interval_timer_observable.h"
#include "events/sdk_wrapper.h"
#include "fakes/fake_clock.h"
#include "fakes/fake_events.h"
#include "fakes/fake_main_loop.h"
#include "fakes/fake_parameters.h"
#include "fakes/log_capture.h"

// The platform wrapper on fake services and on time that the test owns; timers run.
class WrapperTest : public testing::Test {
 protected:
  static constexpr int TICK = 10'000;

  WrapperTest() {
    FakeEvents::reset();
    FakeParameters::reset();
    FakeMainLoop::reset();
    IntervalTimerObservable::initialize(TICK);
    EXPECT_TRUE(clock.waitForSleepers(1));
  }

  ~WrapperTest() override {
    sdk_wrapper_cleanup();
    clock.free();
    IntervalTimerObservable::deinitialize();
    EXPECT_EQ(FakeEvents::setsAlive(), 0);
  }

  static void init() { sdk_wrapper_init("SentrelVideo", "Sentrel Video", "MiruPlatform"); }

  // Lets time pass in the steps of the timer service.
  void wait(std::int64_t microseconds) {
    for (std::int64_t waited = 0; waited < microseconds; waited += TICK) {
      ASSERT_TRUE(clock.advanceAndSettle(TICK));
    }
  }

  // Topics of the declarations that stand, in order.
  static std::vector<std::string> activeTopics() {
    std::vector<std::string> topics;
    for (const FakeEvents::Declaration& declaration : FakeEvents::activeDeclarations()) {
      const auto topic = declaration.keys.find("topic2");
      topics.push_back(topic != declaration.keys.end() ? std::get<std::string>(topic->second.value)
                                                       : "");
    }
    return topics;
  }

  FakeClock clock;
  const LogCapture log;
};

// The same, initialised.
class InitializedWrapperTest : public WrapperTest {
 protected:
  InitializedWrapperTest() { init(); }
};

#endif
