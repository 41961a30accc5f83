#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "events/event_key_value_set.h"
#include "events/sdk_wrapper.h"
#include "events/time_conversion.h"
#include "src/events/wrapper_test_base.h"

namespace {

using FakeEvents::Declaration;
using FakeEvents::Sent;
using FakeEvents::Value;

constexpr const char* NAME = "Camera1Profile1";
constexpr std::int64_t BACK_OFF = 1'000'000;
constexpr std::int64_t DELAY = 60'000;  // longer than an event outlives its last removal

// A name that is added again with other names for people or other topics.
class SdkWrapperRenameTest : public InitializedWrapperTest {
 protected:
  static bool add(const std::string& niceName, const std::string& topic = NAME,
                  int flags = SDK_EVENT_STATEFUL, const std::string& dataKey = "") {
    return sdk_wrapper_event_add(NAME, topic, niceName, flags, dataKey);
  }

  static bool addOwn(const char* niceName, const std::string& topic,
                     int flags = SDK_EVENT_STATEFUL) {
    return sdk_wrapper_event_add(NAME, niceName, flags, "",
                                 EventKeyValueSet()
                                     .add("topic0", "tnsorva", topic)
                                     .addBool("active", nullptr, false)
                                     .release());
  }

  static bool send(int value) { return sdk_wrapper_event_send(NAME, value, nullptr, nullptr); }

  static std::vector<std::string> niceNames() {
    std::vector<std::string> names;
    for (const Declaration& declaration : FakeEvents::activeDeclarations()) {
      names.push_back(declaration.keys.at("topic2").valueNiceName);
    }
    return names;
  }

  using Texts = std::vector<std::string>;
};

TEST_F(SdkWrapperRenameTest, AnotherNiceNameIsDeclaredAtOnce) {
  ASSERT_TRUE(add("Profile 1"));
  EXPECT_TRUE(add("Gate"));
  EXPECT_EQ(niceNames(), Texts{"Gate"});
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(SdkWrapperRenameTest, AnotherTopicIsDeclaredAtOnce) {
  ASSERT_TRUE(add("Nice", "Topic"));
  EXPECT_TRUE(add("Nice", "Other"));
  EXPECT_EQ(activeTopics(), Texts{"Other"});
}

TEST_F(SdkWrapperRenameTest, TheSameNamesAreNotDeclaredAnew) {
  add("Profile 1");
  send(1);
  add("Profile 1");
  EXPECT_EQ(FakeEvents::declarations().size(), 1U);
  EXPECT_EQ(FakeEvents::sent().size(), 1U);
}

TEST_F(SdkWrapperRenameTest, TheCountIsKept) {
  add("Profile 1");
  add("Gate");
  EXPECT_TRUE(sdk_wrapper_event_remove(NAME));
  wait(DELAY);
  EXPECT_EQ(niceNames(), Texts{"Gate"});
  EXPECT_TRUE(sdk_wrapper_event_remove(NAME));
  wait(DELAY);
  EXPECT_TRUE(niceNames().empty());
}

TEST_F(SdkWrapperRenameTest, TheLastValueIsSentAgainAtItsTime) {
  constexpr std::int64_t AGE = 3'000'000;
  add("Profile 1");
  const std::int64_t time = clock.now() - AGE;
  ASSERT_TRUE(sdk_wrapper_event_send(NAME, 1, nullptr, &time));
  ASSERT_TRUE(add("Gate"));
  const std::vector<Sent> sent = FakeEvents::sent();
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[1].declaration, FakeEvents::activeDeclarations().at(0).id);
  EXPECT_EQ(sent[1].keys.at("active").value, Value(true));
  EXPECT_EQ(sent[1].time, sent[0].time) << "when it happened, not when it was renamed";
}

TEST_F(SdkWrapperRenameTest, NothingIsSentBeforeTheFirstValue) {
  add("Profile 1");
  add("Gate");
  EXPECT_TRUE(FakeEvents::sent().empty());
  EXPECT_EQ(FakeEvents::activeDeclarations().at(0).keys.at("active").value, Value(false));
}

TEST_F(SdkWrapperRenameTest, AnActiveEventIsActiveAllTheTime) {
  add("Profile 1");
  send(1);
  add("Gate");
  const std::vector<Declaration> all = FakeEvents::declarations();
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[1].keys.at("active").value, Value(true)) << "from its declaration on";
  ASSERT_EQ(FakeEvents::sent().size(), 2U);
  EXPECT_LT(all[1].declaredAt, FakeEvents::sent()[1].at);
  EXPECT_LT(FakeEvents::sent()[1].at, all[0].undeclaredAt) << "never is there none";
}

TEST_F(SdkWrapperRenameTest, AnEventThatHasEndedStaysEnded) {
  add("Profile 1");
  send(1);
  send(0);
  add("Gate");
  EXPECT_EQ(FakeEvents::activeDeclarations().at(0).keys.at("active").value, Value(false));
  EXPECT_EQ(FakeEvents::sent().back().keys.at("active").value, Value(false));
}

TEST_F(SdkWrapperRenameTest, AStatefulEventsDataIsSentAgain) {
  add("Profile 1", NAME, SDK_EVENT_STATEFUL, "text");
  sdk_wrapper_event_send(NAME, 1, "what happened", nullptr);
  add("Gate", NAME, SDK_EVENT_STATEFUL, "text");
  EXPECT_EQ(FakeEvents::activeDeclarations().at(0).keys.at("text").value, Value("what happened"));
  EXPECT_EQ(FakeEvents::sent().back().keys.at("text").value, Value("what happened"));
}

// It would be taken for another message.
TEST_F(SdkWrapperRenameTest, AStatelessEventIsNotSentAgain) {
  add("Profile 1", NAME, 0, "text");
  sdk_wrapper_event_send(NAME, 0, "what happened", nullptr);
  add("Gate", NAME, 0, "text");
  EXPECT_EQ(niceNames(), Texts{"Gate"});
  EXPECT_EQ(FakeEvents::sent().size(), 1U);
}

TEST_F(SdkWrapperRenameTest, LaterValuesGoToTheNewDeclaration) {
  add("Profile 1");
  add("Gate");
  EXPECT_TRUE(send(1));
  EXPECT_EQ(FakeEvents::sent().back().declaration, FakeEvents::activeDeclarations().at(0).id);
}

TEST_F(SdkWrapperRenameTest, RenamedWithinTheDelayOfItsRemovalItLivesOnUnderTheNewName) {
  add("Profile 1");
  sdk_wrapper_event_remove(NAME);
  wait(2 * TICK);
  EXPECT_TRUE(add("Gate"));
  wait(4 * DELAY);
  EXPECT_EQ(niceNames(), Texts{"Gate"});
}

TEST_F(SdkWrapperRenameTest, OtherPropertiesAreRefusedUnderAnyName) {
  add("Profile 1");
  EXPECT_FALSE(add("Gate", NAME, 0));
  EXPECT_EQ(niceNames(), Texts{"Profile 1"});
}

TEST_F(SdkWrapperRenameTest, ARenamingThatFailsIsTriedAgainWithTheNextValueAfterASecond) {
  add("Profile 1");
  FakeEvents::failDeclares(1);
  EXPECT_TRUE(add("Gate")) << "the event is there";
  EXPECT_EQ(niceNames(), Texts{"Profile 1"});
  EXPECT_EQ(log.count(LOG_ERR, "Cannot declare event Camera1Profile1 (internal error)\n"), 1);
  wait(BACK_OFF);
  EXPECT_TRUE(send(1));
  EXPECT_EQ(niceNames(), Texts{"Gate"});
  EXPECT_EQ(FakeEvents::sent().back().declaration, FakeEvents::activeDeclarations().at(0).id);
}

// A service that answers nobody costs the time-out of each call.
TEST_F(SdkWrapperRenameTest, ARenamingThatFailsDoesNotHoldUpWhatIsSent) {
  add("Profile 1");
  FakeEvents::failDeclares(100);
  add("Gate");
  const int before = FakeEvents::declaresTried();
  for (const int value : {1, 0, 1}) {
    EXPECT_TRUE(send(value));
  }
  EXPECT_EQ(FakeEvents::declaresTried(), before);
  EXPECT_EQ(FakeEvents::sent().size(), 3U) << "under the former name";
  wait(BACK_OFF);
  for (const int value : {0, 1}) {
    EXPECT_TRUE(send(value));
  }
  EXPECT_EQ(FakeEvents::declaresTried(), before + 1);
}

TEST_F(SdkWrapperRenameTest, AFormerDeclarationThatCouldNotBeTakenBackGoesLater) {
  add("Profile 1");
  send(1);
  FakeEvents::failUndeclares(1);
  EXPECT_TRUE(add("Gate"));
  EXPECT_EQ(niceNames(), (Texts{"Profile 1", "Gate"}));
  wait(BACK_OFF + 2 * TICK);
  EXPECT_EQ(niceNames(), Texts{"Gate"});
  for (const Sent& sent : FakeEvents::sent()) {
    EXPECT_EQ(sent.keys.at("active").value, Value(true)) << "it has not ended";
  }
}

TEST_F(SdkWrapperRenameTest, AnEventWithKeysOfItsOwnIsDeclaredAnewUnderOtherNames) {
  ASSERT_TRUE(addOwn("Profile 1", "Topic"));
  ASSERT_TRUE(addOwn("Profile 1", "Topic"));
  EXPECT_EQ(FakeEvents::declarations().size(), 1U);
  send(1);
  EXPECT_TRUE(addOwn("Gate", "Topic"));
  EXPECT_EQ(FakeEvents::declarations().size(), 2U);
  EXPECT_TRUE(addOwn("Gate", "Other"));
  const std::vector<Declaration> active = FakeEvents::activeDeclarations();
  ASSERT_EQ(active.size(), 1U);
  EXPECT_EQ(active[0].keys.at("topic0").value, Value("Other"));
  EXPECT_EQ(active[0].keys.at("active").value, Value(true));
  EXPECT_EQ(FakeEvents::sent().size(), 3U);
  EXPECT_EQ(FakeEvents::sent().back().keys.at("active").value, Value(true));
  EXPECT_EQ(FakeEvents::setsAlive(), 0);
  for (int left = 3; left >= 0; --left) {
    EXPECT_EQ(FakeEvents::activeDeclarations().size(), 1U) << left;
    EXPECT_TRUE(sdk_wrapper_event_remove(NAME));
    wait(DELAY);
  }
  EXPECT_TRUE(FakeEvents::activeDeclarations().empty());
}

// ---- The lock ----

// Whether a thread of this process sleeps, as one does that waits for a lock.
bool isAsleep(int thread) {
  std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
  const std::string status((std::istreambuf_iterator<char>(file)), {});
  const std::size_t name = status.rfind(") ");
  return name != std::string::npos && status[name + 2] == 'S';
}

TEST_F(SdkWrapperRenameTest, ASetOfTheCallersIsFreedInsideTheLock) {
  OVEventKeyValueSet* const set = EventKeyValueSet().add("topic0", "tnsorva", "Own").release();
  std::thread other;
  std::atomic<int> id = 0;
  std::atomic<bool> isDone = false;
  bool wasHeldUp = false;
  FakeEvents::onFree([&] {
    FakeEvents::onFree(nullptr);
    other = std::thread([&id, &isDone] {
      id = gettid();
      sdk_wrapper_event_remove("unknown");
      isDone = true;
    });
    while (!isDone && !(id != 0 && isAsleep(id))) {
      std::this_thread::yield();
    }
    wasHeldUp = !isDone;
  });
  EXPECT_TRUE(sdk_wrapper_event_add(NAME, "Nice", 0, "", set));
  other.join();
  EXPECT_TRUE(wasHeldUp);
}

}  // namespace
