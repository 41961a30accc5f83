#include "events/state_event_handler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <random>

namespace {

using testing::_;
using testing::InSequence;
using testing::Mock;
using testing::NiceMock;
using testing::Return;

constexpr std::int64_t DURATION = 5'000'000;
constexpr std::int64_t T0 = 1'000'000'000;

class MockProducer : public StateEventProducerI {
 public:
  MOCK_METHOD(StateEventProducerHandle, registerEvent,
              (std::int32_t, const std::string&, const std::string&), (override));
  MOCK_METHOD(void, unregisterEvent, (const StateEventProducerHandle&), (override));
  MOCK_METHOD(void, sendStartEvent, (const StateEventProducerHandle&, std::int64_t), (override));
  MOCK_METHOD(void, sendEndEvent, (const StateEventProducerHandle&, std::int64_t), (override));
  MOCK_METHOD(void, sendEndEvent, (const StateEventProducerHandle&), (override));
};

// The handle of camera 2 and profile 7.
MATCHER(IsTheHandle, "") {
  return arg.lookupKey == "key of the producer" && arg.camera == 2 && arg.id == 7;
}

class StateEventHandlerTest : public testing::Test {
 protected:
  StateEventHandlerTest() {
    ON_CALL(producer, registerEvent(_, _, _))
        .WillByDefault(Return(
            StateEventProducerHandle{.lookupKey = "key of the producer", .camera = 2, .id = 0}));
  }

  std::unique_ptr<StateEventHandler> make(std::int64_t duration = DURATION) {
    return std::make_unique<StateEventHandler>(2, 7, "SentrelVideo", "Profile 1", duration,
                                               producer);
  }

  NiceMock<MockProducer> producer;
};

TEST_F(StateEventHandlerTest, RegistersTheProfilesEvent) {
  EXPECT_CALL(producer, registerEvent(2, "Camera2Profile7", "SentrelVideo (Profile 1)"));
  const auto handler = make();
  EXPECT_EQ(handler->getId(), 7);
  EXPECT_FALSE(handler->isOngoing());
}

TEST_F(StateEventHandlerTest, NoAlarmSendsNothing) {
  const auto handler = make();
  EXPECT_CALL(producer, sendStartEvent(_, _)).Times(0);
  EXPECT_EQ(handler->handleAlarm(false, T0), StateEventResult_e::nothing);
  EXPECT_FALSE(handler->isOngoing());
}

TEST_F(StateEventHandlerTest, TheFirstAlarmSendsTheStart) {
  const auto handler = make();
  EXPECT_CALL(producer, sendStartEvent(IsTheHandle(), T0));
  EXPECT_EQ(handler->handleAlarm(true, T0), StateEventResult_e::started);
  EXPECT_TRUE(handler->isOngoing());
}

TEST_F(StateEventHandlerTest, TheResultsAreThoseThatGuardsExpect) {
  EXPECT_EQ(static_cast<int>(StateEventResult_e::started), 0);
  EXPECT_EQ(static_cast<int>(StateEventResult_e::ended), 1);
  EXPECT_EQ(static_cast<int>(StateEventResult_e::nothing), 2);
}

TEST_F(StateEventHandlerTest, FurtherAlarmsSendNothing) {
  const auto handler = make();
  handler->handleAlarm(true, T0);
  EXPECT_CALL(producer, sendStartEvent(_, _)).Times(0);
  EXPECT_EQ(handler->handleAlarm(true, T0 + 100'000), StateEventResult_e::nothing);
}

TEST_F(StateEventHandlerTest, TheEventIsHeldForItsDuration) {
  const auto handler = make();
  handler->handleAlarm(true, T0);
  EXPECT_CALL(producer, sendEndEvent(_, _)).Times(0);
  EXPECT_EQ(handler->handleAlarm(false, T0 + DURATION), StateEventResult_e::nothing);
  EXPECT_TRUE(handler->isOngoing());
}

TEST_F(StateEventHandlerTest, TheEventEndsAfterItsDuration) {
  const auto handler = make();
  handler->handleAlarm(true, T0);
  EXPECT_CALL(producer, sendEndEvent(IsTheHandle(), T0 + DURATION + 1));
  EXPECT_EQ(handler->handleAlarm(false, T0 + DURATION + 1), StateEventResult_e::ended);
  EXPECT_FALSE(handler->isOngoing());
}

TEST_F(StateEventHandlerTest, AnEndIsSentOnce) {
  const auto handler = make();
  handler->handleAlarm(true, T0);
  EXPECT_CALL(producer, sendEndEvent(_, _)).Times(1);
  handler->handleAlarm(false, T0 + 2 * DURATION);
  EXPECT_EQ(handler->handleAlarm(false, T0 + 3 * DURATION), StateEventResult_e::nothing);
}

TEST_F(StateEventHandlerTest, ANewAlarmWithinTheDurationExtendsTheEvent) {
  const auto handler = make();
  handler->handleAlarm(true, T0);
  handler->handleAlarm(true, T0 + DURATION);
  EXPECT_EQ(handler->handleAlarm(false, T0 + 2 * DURATION), StateEventResult_e::nothing);
  EXPECT_EQ(handler->handleAlarm(false, T0 + 2 * DURATION + 1), StateEventResult_e::ended);
}

TEST_F(StateEventHandlerTest, AnAlarmInEveryFrameKeepsTheEventOngoing) {
  const auto handler = make();
  EXPECT_CALL(producer, sendStartEvent(_, _)).Times(1);
  EXPECT_CALL(producer, sendEndEvent(_, _)).Times(0);
  std::int64_t time = T0;
  for (int frame = 0; frame < 1000; ++frame, time += 100'000) {
    handler->handleAlarm(true, time);
    EXPECT_TRUE(handler->isOngoing());
  }
  const std::int64_t last = time - 100'000;
  EXPECT_EQ(handler->handleAlarm(false, last + DURATION), StateEventResult_e::nothing);
  Mock::VerifyAndClearExpectations(&producer);
  EXPECT_CALL(producer, sendEndEvent(_, last + DURATION + 1));
  EXPECT_EQ(handler->handleAlarm(false, last + DURATION + 1), StateEventResult_e::ended);
}

TEST_F(StateEventHandlerTest, AnAlarmAfterTheDurationBeforeAnyQuietFrameGoesOn) {
  const auto handler = make();
  EXPECT_CALL(producer, sendStartEvent(_, _)).Times(1);
  EXPECT_CALL(producer, sendEndEvent(_, _)).Times(0);
  handler->handleAlarm(true, T0);
  EXPECT_EQ(handler->handleAlarm(true, T0 + 3 * DURATION), StateEventResult_e::nothing);
  EXPECT_EQ(handler->handleAlarm(false, T0 + 4 * DURATION), StateEventResult_e::nothing);
  Mock::VerifyAndClearExpectations(&producer);
}

TEST_F(StateEventHandlerTest, AnEndedEventStartsAgain) {
  const auto handler = make();
  InSequence order;
  EXPECT_CALL(producer, sendStartEvent(_, T0));
  EXPECT_CALL(producer, sendEndEvent(_, T0 + 2 * DURATION));
  EXPECT_CALL(producer, sendStartEvent(_, T0 + 3 * DURATION));
  handler->handleAlarm(true, T0);
  handler->handleAlarm(false, T0 + 2 * DURATION);
  EXPECT_EQ(handler->handleAlarm(true, T0 + 3 * DURATION), StateEventResult_e::started);
}

TEST_F(StateEventHandlerTest, ADurationOfZeroEndsWithTheNextQuietFrame) {
  const auto handler = make(0);
  handler->handleAlarm(true, T0);
  EXPECT_EQ(handler->handleAlarm(false, T0 + 1), StateEventResult_e::ended);
}

TEST_F(StateEventHandlerTest, ANegativeDurationCountsAsZero) {
  const auto handler = make(-DURATION);
  handler->handleAlarm(true, T0);
  EXPECT_EQ(handler->handleAlarm(false, T0), StateEventResult_e::nothing);
  EXPECT_EQ(handler->handleAlarm(false, T0 + 1), StateEventResult_e::ended);
}

TEST_F(StateEventHandlerTest, HasReachedItsEndOnlyWhenOngoingAndOverdue) {
  const auto handler = make();
  EXPECT_FALSE(handler->hasReachedEnd(T0));
  handler->handleAlarm(true, T0);
  EXPECT_FALSE(handler->hasReachedEnd(T0 + DURATION));
  EXPECT_TRUE(handler->hasReachedEnd(T0 + DURATION + 1));
  handler->handleAlarm(false, T0 + DURATION + 1);
  EXPECT_FALSE(handler->hasReachedEnd(T0 + 10 * DURATION));
}

TEST_F(StateEventHandlerTest, StoppingEndsAnOngoingEventAtOnce) {
  const auto handler = make();
  handler->handleAlarm(true, T0);
  EXPECT_CALL(producer, sendEndEvent(IsTheHandle(), T0 + 1000));
  handler->stopAllEvents(T0 + 1000);
  EXPECT_FALSE(handler->isOngoing());
  EXPECT_FALSE(handler->hasReachedEnd(T0 + 10 * DURATION));
}

TEST_F(StateEventHandlerTest, StoppingWithoutAnEventSendsNothing) {
  const auto handler = make();
  EXPECT_CALL(producer, sendEndEvent(_, _)).Times(0);
  EXPECT_CALL(producer, sendEndEvent(_)).Times(0);
  handler->stopAllEvents(T0);
}

TEST_F(StateEventHandlerTest, AStoppedEventStartsAgainWithItsWholeDuration) {
  const auto handler = make();
  handler->handleAlarm(true, T0);
  handler->stopAllEvents(T0 + 1000);
  EXPECT_EQ(handler->handleAlarm(true, T0 + DURATION), StateEventResult_e::started);
  EXPECT_EQ(handler->handleAlarm(false, T0 + 2 * DURATION), StateEventResult_e::nothing);
  EXPECT_EQ(handler->handleAlarm(false, T0 + 2 * DURATION + 1), StateEventResult_e::ended);
}

TEST_F(StateEventHandlerTest, DestructionEndsAnOngoingEventThenUnregistersIt) {
  auto handler = make();
  handler->handleAlarm(true, T0);
  InSequence order;
  EXPECT_CALL(producer, sendEndEvent(IsTheHandle()));
  EXPECT_CALL(producer, unregisterEvent(IsTheHandle()));
  handler.reset();
}

TEST_F(StateEventHandlerTest, DestructionWithoutAnEventOnlyUnregisters) {
  auto handler = make();
  EXPECT_CALL(producer, sendEndEvent(_)).Times(0);
  EXPECT_CALL(producer, sendEndEvent(_, _)).Times(0);
  EXPECT_CALL(producer, unregisterEvent(IsTheHandle()));
  handler.reset();
}

// The last alarm and whether the event is on are all that decides.
TEST_F(StateEventHandlerTest, AgreesWithTheRuleOnRandomFrames) {
  std::mt19937 random(92);
  std::bernoulli_distribution alarms(0.1);
  std::uniform_int_distribution<std::int64_t> steps(1, 1'000'000);
  const auto handler = make();
  bool on = false;
  std::int64_t last = 0;
  std::int64_t time = T0;
  for (int frame = 0; frame < 5000; ++frame) {
    time += steps(random);
    const bool alarm = alarms(random);
    StateEventResult_e expected = StateEventResult_e::nothing;
    if (alarm) {
      expected = on ? StateEventResult_e::nothing : StateEventResult_e::started;
      on = true;
      last = time;
    } else if (on && time - last > DURATION) {
      expected = StateEventResult_e::ended;
      on = false;
    }
    EXPECT_EQ(handler->handleAlarm(alarm, time), expected);
    EXPECT_EQ(handler->isOngoing(), on);
  }
}

}  // namespace
