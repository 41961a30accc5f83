#include "tracker/tracker_events.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <cstdint>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "fakes/call_journal.h"
#include "fakes/fake_events.h"
#include "fakes/log_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using FakeEvents::Value;

class TrackerEventsTest : public testing::Test {
 protected:
  TrackerEventsTest() { FakeEvents::reset(); }
  ~TrackerEventsTest() override { EXPECT_EQ(FakeEvents::setsAlive(), 0); }

  const LogCapture log;
  TrackerEvents events;
};

void expectTopics(const FakeEvents::Declaration& declaration, const std::string& topic2) {
  const std::string topics[] = {"MiruPlatform", "SentrelVideo", topic2};
  for (int i = 0; i < 3; ++i) {
    const FakeEvents::Key& key = declaration.keys.at("topic" + std::to_string(i));
    EXPECT_EQ(key.value, Value(topics[i]));
    EXPECT_EQ(key.nameSpace, "tnsorva");
  }
  EXPECT_EQ(declaration.keys.at("topic1").valueNiceName, "SentrelVideo");
  EXPECT_FALSE(declaration.stateless);
}

TEST_F(TrackerEventsTest, DeclaresTwoStatefulEvents) {
  events.declareEvents();
  ASSERT_THAT(FakeEvents::activeDeclarations(), SizeIs(2));
  const FakeEvents::Declaration state = FakeEvents::activeDeclarations()[0];
  expectTopics(state, "state");
  EXPECT_EQ(state.keys.at("value").value, Value(std::string("stopped")));
  EXPECT_TRUE(state.keys.at("value").data);
  bool isMarked = false;
  for (const auto& [name, key] : state.keys) {
    isMarked = isMarked || key.userDefined == "isApplicationData";
  }
  EXPECT_TRUE(isMarked);

  const FakeEvents::Declaration steering = FakeEvents::activeDeclarations()[1];
  expectTopics(steering, "isSentreling");
  EXPECT_EQ(steering.keys.at("active").value, Value(false));
  EXPECT_TRUE(steering.keys.at("active").data);
  EXPECT_THAT(LogCapture::lines(), IsEmpty());
  events.undeclareEvents();
}

TEST_F(TrackerEventsTest, UndeclaresBothAndFreesTheHandler) {
  events.declareEvents();
  events.undeclareEvents();
  EXPECT_THAT(FakeEvents::activeDeclarations(), IsEmpty());
  EXPECT_EQ(FakeEvents::handlersMade(), 1);
  EXPECT_EQ(FakeEvents::handlersFreed(), 1);
}

TEST_F(TrackerEventsTest, UndeclaresTheStateLast) {
  events.declareEvents();
  CallJournal::clear();
  events.undeclareEvents();
  EXPECT_THAT(CallJournal::calls(), ElementsAre("undeclare isSentreling", "undeclare state"));
}

TEST_F(TrackerEventsTest, SendsTheState) {
  events.declareEvents();
  const std::int64_t before = g_get_real_time() - 1'000'000;
  events.sendStateEvent("autotuning");
  const auto sent = FakeEvents::sentTo("state");
  ASSERT_THAT(sent, SizeIs(1));
  EXPECT_EQ(sent[0].keys.at("value").value, Value(std::string("autotuning")));
  EXPECT_GE(sent[0].time, before);
  EXPECT_LE(sent[0].time, g_get_real_time() + 1'000'000);
  events.undeclareEvents();
}

TEST_F(TrackerEventsTest, SendsAndRemembersWhetherItIsSteering) {
  events.declareEvents();
  EXPECT_FALSE(events.isSentrelingActive());
  events.sendIsSentrelingEvent(true);
  EXPECT_TRUE(events.isSentrelingActive());
  events.sendIsSentrelingEvent(false);
  EXPECT_FALSE(events.isSentrelingActive());
  const auto sent = FakeEvents::sentTo("isSentreling");
  ASSERT_THAT(sent, SizeIs(2));
  EXPECT_EQ(sent[0].keys.at("active").value, Value(true));
  EXPECT_EQ(sent[1].keys.at("active").value, Value(false));
  events.undeclareEvents();
}

TEST_F(TrackerEventsTest, ADeclarationThatFailsIsLogged) {
  FakeEvents::failDeclares(2);
  events.declareEvents();
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Cannot declare state event\n"), 1);
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Cannot declare isSentreling event\n"), 1);
  events.undeclareEvents();
}

TEST_F(TrackerEventsTest, AnEventThatCannotBeSentIsLogged) {
  events.declareEvents();
  FakeEvents::failSends(2);
  events.sendStateEvent("running");
  events.sendIsSentrelingEvent(true);
  EXPECT_TRUE(LogCapture::has("Could not send state event. Internal error\n"));
  EXPECT_TRUE(LogCapture::has("Could not send isSentreling event. Internal error\n"));
  events.undeclareEvents();
}

TEST_F(TrackerEventsTest, AnEventThatCannotBeMadeIsLogged) {
  events.declareEvents();
  FakeEvents::failAdds(1);
  events.sendStateEvent("running");
  EXPECT_TRUE(LogCapture::has("Could not create state event. Internal error\n"));
  FakeEvents::failAdds(1);
  events.sendIsSentrelingEvent(true);
  EXPECT_TRUE(LogCapture::has("Could not create isSentreling event. Internal error\n"));
  EXPECT_THAT(FakeEvents::sent(), IsEmpty());
  events.undeclareEvents();
}

// Topics of the declarations that stand, in order.
std::vector<std::string> activeTopics() {
  std::vector<std::string> topics;
  for (const FakeEvents::Declaration& declaration : FakeEvents::activeDeclarations()) {
    topics.push_back(std::get<std::string>(declaration.keys.at("topic2").value));
  }
  return topics;
}

std::vector<Value> valuesSentTo(const std::string& topic, const std::string& key) {
  std::vector<Value> values;
  for (const FakeEvents::Sent& sent : FakeEvents::sentTo(topic)) {
    values.push_back(sent.keys.at(key).value);
  }
  return values;
}

TEST_F(TrackerEventsTest, AStateEventFindsAServiceThatHasComeSince) {
  FakeEvents::failHandlers(2);
  events.declareEvents();
  events.sendStateEvent("connecting");
  EXPECT_THAT(FakeEvents::declarations(), IsEmpty());
  events.sendStateEvent("running");
  EXPECT_THAT(activeTopics(), ElementsAre("state", "isSentreling"));
  EXPECT_THAT(valuesSentTo("state", "value"), ElementsAre(Value(std::string("running"))));
  EXPECT_THAT(FakeEvents::sentTo("isSentreling"), IsEmpty()) << "nothing was sent before either";
  EXPECT_EQ(FakeEvents::handlersMade(), 1);
  events.undeclareEvents();
  EXPECT_THAT(activeTopics(), IsEmpty());
  EXPECT_EQ(FakeEvents::handlersFreed(), 1);
}

TEST_F(TrackerEventsTest, ASteeringEventDoesSoTooAndTellsTheStateSentBefore) {
  FakeEvents::failHandlers(2);
  events.declareEvents();
  events.sendStateEvent("running");
  events.sendIsSentrelingEvent(true);
  EXPECT_THAT(activeTopics(), ElementsAre("state", "isSentreling"));
  EXPECT_THAT(valuesSentTo("state", "value"), ElementsAre(Value(std::string("running"))));
  EXPECT_THAT(valuesSentTo("isSentreling", "active"), ElementsAre(Value(true)));
  events.undeclareEvents();
}

TEST_F(TrackerEventsTest, AStateEventTellsWhetherItIsSteeringAsWasSentBefore) {
  FakeEvents::failHandlers(2);
  events.declareEvents();
  events.sendIsSentrelingEvent(true);
  events.sendStateEvent("running");
  EXPECT_THAT(valuesSentTo("isSentreling", "active"), ElementsAre(Value(true)));
  EXPECT_THAT(valuesSentTo("state", "value"), ElementsAre(Value(std::string("running"))));
  events.undeclareEvents();
}

TEST_F(TrackerEventsTest, OnlyTheDeclarationThatFailedIsMadeAgain) {
  FakeEvents::failDeclares(1);
  events.declareEvents();
  EXPECT_THAT(activeTopics(), ElementsAre("isSentreling"));
  events.sendIsSentrelingEvent(false);
  EXPECT_THAT(activeTopics(), ElementsAre("isSentreling", "state"));
  EXPECT_THAT(FakeEvents::declarations(), SizeIs(2));
  EXPECT_EQ(FakeEvents::handlersMade(), 1);
  events.undeclareEvents();
}

// A tracker that is switched off sends nothing, and yet its state is to be seen.
TEST_F(TrackerEventsTest, AServiceThatComesLaterIsFoundWithoutAnEvent) {
  FakeEvents::failHandlers(2);
  events.declareEvents();
  events.sendStateEvent("connecting");
  LogCapture::clear();
  const std::int64_t end = g_get_monotonic_time() + 10'000'000;
  while (activeTopics().size() < 2) {
    ASSERT_LT(g_get_monotonic_time(), end);
    if (!g_main_context_iteration(nullptr, FALSE)) {
      std::this_thread::yield();
    }
  }
  EXPECT_THAT(valuesSentTo("state", "value"), ElementsAre(Value(std::string("connecting"))));
  EXPECT_THAT(LogCapture::lines(), IsEmpty());
  events.undeclareEvents();
}

TEST_F(TrackerEventsTest, AServiceThatRefusesIsAskedUntilBothAreDeclared) {
  FakeEvents::failDeclares(3);  // both, and the state once more
  events.declareEvents();
  const std::int64_t end = g_get_monotonic_time() + 10'000'000;
  while (activeTopics().size() < 2) {
    ASSERT_LT(g_get_monotonic_time(), end);
    if (!g_main_context_iteration(nullptr, FALSE)) {
      std::this_thread::yield();
    }
  }
  EXPECT_THAT(activeTopics(), ElementsAre("isSentreling", "state"));
  events.undeclareEvents();
}

TEST_F(TrackerEventsTest, NothingIsDeclaredOnceTheyAreUndeclared) {
  FakeEvents::failHandlers(1);
  events.declareEvents();
  events.undeclareEvents();
  while (!g_main_context_iteration(nullptr, TRUE)) {
  }
  EXPECT_THAT(FakeEvents::declarations(), IsEmpty());
  EXPECT_EQ(FakeEvents::handlersMade(), 0);
}

TEST_F(TrackerEventsTest, WithoutAnEventServiceNothingBreaks) {
  FakeEvents::failHandlers(100);
  events.declareEvents();
  events.sendStateEvent("running");
  events.sendIsSentrelingEvent(true);
  events.undeclareEvents();
  EXPECT_THAT(FakeEvents::sent(), IsEmpty());
}

}  // namespace
