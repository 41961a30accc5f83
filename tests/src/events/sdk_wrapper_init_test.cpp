#include <gtest/gtest.h>
#include <syslog.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "app/clock.h"
#include "events/sdk_wrapper.h"
#include "fakes/fake_events.h"
#include "fakes/fake_main_loop.h"
#include "fakes/fake_parameters.h"
#include "fakes/log_capture.h"

namespace {

// Sleeping takes no time but is written down.
class PassingClock : public Clock {
 public:
  PassingClock() { replace(this); }
  ~PassingClock() override { replace(nullptr); }

  std::int64_t now() const override { return time; }
  void sleep(std::int64_t microseconds) override {
    time += microseconds;
    sleeps.push_back(microseconds);
  }

  std::int64_t time = 1'000'000'000;
  std::vector<std::int64_t> sleeps;
};

class SdkWrapperInitTest : public testing::Test {
 protected:
  SdkWrapperInitTest() {
    FakeEvents::reset();
    FakeParameters::reset();
    FakeMainLoop::reset();
  }

  ~SdkWrapperInitTest() override { sdk_wrapper_cleanup(); }

  static void init() { sdk_wrapper_init("SentrelVideo", "Nice", "MiruPlatform"); }

  static std::string eventAttempt(int attempt) {
    return "Could not get an event-handler, try " + std::to_string(attempt) + " of 10\n";
  }

  static std::string parameterAttempt(int attempt) {
    return "Could not get an parameter-handler, try " + std::to_string(attempt) + " of 10\n";
  }

  PassingClock clock;
  const LogCapture log;
};

TEST_F(SdkWrapperInitTest, StartsTheMainLoopWithTheThreeNames) {
  init();
  const std::vector<FakeMainLoop::Start> starts = FakeMainLoop::starts();
  ASSERT_EQ(starts.size(), 1U);
  EXPECT_EQ(starts[0].appName, "SentrelVideo");
  EXPECT_EQ(starts[0].niceName, "Nice");
  EXPECT_EQ(starts[0].topic0, "MiruPlatform");
}

TEST_F(SdkWrapperInitTest, TakesBothHandlesAtTheFirstAttempt) {
  init();
  EXPECT_EQ(FakeEvents::handlersMade(), 1);
  EXPECT_EQ(FakeParameters::openCount(), 1);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_TRUE(clock.sleeps.empty());
}

TEST_F(SdkWrapperInitTest, TriesAgainForTheEventHandlerEvery100Milliseconds) {
  FakeEvents::failHandlers(3);
  init();
  EXPECT_EQ(FakeEvents::handlersMade(), 1);
  EXPECT_EQ(log.count(LOG_WARNING, eventAttempt(1)), 1);
  EXPECT_EQ(log.count(LOG_WARNING, eventAttempt(2)), 1);
  EXPECT_EQ(log.count(LOG_WARNING, eventAttempt(3)), 1);
  EXPECT_EQ(log.lines().size(), 3U);
  EXPECT_EQ(clock.sleeps, std::vector<std::int64_t>(3, 100'000));
}

TEST_F(SdkWrapperInitTest, TriesAgainForTheParameterHandlerEvery100Milliseconds) {
  FakeParameters::failOpens(2);
  init();
  EXPECT_EQ(FakeParameters::openCount(), 1);
  EXPECT_EQ(log.count(LOG_WARNING, parameterAttempt(1)), 1);
  EXPECT_EQ(log.count(LOG_WARNING, parameterAttempt(2)), 1);
  EXPECT_EQ(log.lines().size(), 2U);
  EXPECT_EQ(clock.sleeps, std::vector<std::int64_t>(2, 100'000));
}

TEST_F(SdkWrapperInitTest, TheTenthAttemptMaySucceed) {
  FakeEvents::failHandlers(9);
  init();
  EXPECT_EQ(FakeEvents::handlersMade(), 1);
  EXPECT_EQ(log.count(eventAttempt(9)), 1);
  EXPECT_EQ(log.count(eventAttempt(10)), 0);
}

TEST_F(SdkWrapperInitTest, GivesUpTheEventHandlerAfterTenAttempts) {
  FakeEvents::failHandlers(11);
  init();
  EXPECT_EQ(FakeEvents::handlersMade(), 0);
  EXPECT_EQ(log.count(LOG_WARNING, eventAttempt(10)), 1);
  EXPECT_EQ(log.lines().size(), 10U);
  EXPECT_EQ(FakeParameters::openCount(), 1) << "the other handle is obtained all the same";
}

TEST_F(SdkWrapperInitTest, GivesUpTheParameterHandlerAfterTenAttempts) {
  FakeParameters::failOpens(11);
  init();
  EXPECT_EQ(FakeParameters::openCount(), 0);
  EXPECT_EQ(log.count(LOG_WARNING, parameterAttempt(10)), 1);
  EXPECT_EQ(log.lines().size(), 10U);
}

TEST_F(SdkWrapperInitTest, ASecondInitKeepsTheHandlesAndWarns) {
  init();
  init();
  EXPECT_EQ(FakeEvents::handlersMade(), 1);
  EXPECT_EQ(FakeParameters::openCount(), 1);
  EXPECT_EQ(log.count(LOG_WARNING, "The event handler is already initialized.\n"), 1);
  EXPECT_EQ(log.count(LOG_WARNING, "The parameter handler is already initialized.\n"), 1);
}

TEST_F(SdkWrapperInitTest, ASecondInitObtainsWhatTheFirstCouldNot) {
  FakeEvents::failHandlers(10);
  init();
  log.clear();
  init();
  EXPECT_EQ(FakeEvents::handlersMade(), 1);
  EXPECT_EQ(log.count("The event handler is already initialized.\n"), 0);
  EXPECT_EQ(log.count(LOG_WARNING, "The parameter handler is already initialized.\n"), 1);
}

TEST_F(SdkWrapperInitTest, AnEventServiceThatComesLaterIsFoundByTheNextEvent) {
  FakeEvents::failHandlers(12);
  init();
  for (const bool isThere : {false, false, true}) {
    EXPECT_EQ(isThere, sdk_wrapper_event_add("name", "topic", "Nice", SDK_EVENT_STATEFUL));
  }
  EXPECT_EQ(FakeEvents::handlersMade(), 1);
  EXPECT_EQ(log.count("Cannot register event Nice (handler not initialized)\n"), 2);
  EXPECT_EQ(log.count(LOG_WARNING, eventAttempt(10)), 1);
  EXPECT_EQ(clock.sleeps.size(), 10U) << "only the start waits";
}

TEST_F(SdkWrapperInitTest, AParameterServiceThatComesLaterIsFoundByTheNextQuestion) {
  FakeParameters::failOpens(11);
  FakeParameters::set("root.Brand.ProdNbr", "Q6315");
  init();
  for (const char* expected : {"", "Q6315"}) {
    std::array<char, 8> value{};
    sdk_wrapper_param_get("root.Brand.ProdNbr", value.data(), value.size());
    EXPECT_STREQ(expected, value.data());
  }
  EXPECT_EQ(FakeParameters::openCount(), 1);
}

TEST_F(SdkWrapperInitTest, CleanupReleasesBothHandles) {
  init();
  sdk_wrapper_cleanup();
  EXPECT_EQ(FakeEvents::handlersFreed(), 1);
  EXPECT_EQ(FakeParameters::freeCount(), 1);
}

TEST_F(SdkWrapperInitTest, CleanupWithoutInitReleasesNothing) {
  sdk_wrapper_cleanup();
  EXPECT_EQ(FakeEvents::handlersFreed(), 0);
  EXPECT_EQ(FakeParameters::freeCount(), 0);
}

TEST_F(SdkWrapperInitTest, MayBeInitializedAgainAfterCleanup) {
  init();
  sdk_wrapper_cleanup();
  log.clear();
  init();
  EXPECT_EQ(FakeEvents::handlersMade(), 2);
  EXPECT_EQ(FakeParameters::openCount(), 2);
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
