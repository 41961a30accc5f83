#include "ovevent.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/mutex.h"
#include "platform/owners.h"
#include "platform_services/test_bus.h"
#include "support/patience.h"
#include "test_services.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;

KeyValueSetPtr newSet() {
  return KeyValueSetPtr(ov_event_key_value_set_new());
}

void addText(const KeyValueSetPtr& set, const char* key, const char* nameSpace, const char* value) {
  ASSERT_TRUE(
      ov_event_key_value_set_add(set.get(), key, nameSpace, OV_EVENT_VALUE_STRING, value, nullptr));
}

void addInt(const KeyValueSetPtr& set, const char* key, int value) {
  ASSERT_TRUE(
      ov_event_key_value_set_add(set.get(), key, nullptr, OV_EVENT_VALUE_INT, &value, nullptr));
}

// The keys of an event of a topic with one value.
KeyValueSetPtr event(const char* topic, int value) {
  KeyValueSetPtr set = newSet();
  addText(set, "topic0", "tnsorva", topic);
  addInt(set, "value", value);
  return set;
}

KeyValueSetPtr topicOnly(const char* topic) {
  KeyValueSetPtr set = newSet();
  addText(set, "topic0", "tnsorva", topic);
  return set;
}

std::string print(GVariant* variant) {
  const GTextPtr text(g_variant_print(variant, FALSE));
  return text.get();
}

// ---- Key-value sets ----

TEST(EventKeyValueSetTest, GivesBackWhatWasAdded) {
  const KeyValueSetPtr set = newSet();
  const int number = -17;
  const gboolean yes = TRUE;
  ASSERT_TRUE(
      ov_event_key_value_set_add(set.get(), "n", nullptr, OV_EVENT_VALUE_INT, &number, nullptr));
  ASSERT_TRUE(
      ov_event_key_value_set_add(set.get(), "b", nullptr, OV_EVENT_VALUE_BOOL, &yes, nullptr));
  addText(set, "s", nullptr, "text");

  int n = 0;
  gboolean b = FALSE;
  char* s = nullptr;
  EXPECT_TRUE(ov_event_key_value_set_get_int(set.get(), "n", nullptr, &n, nullptr));
  EXPECT_TRUE(ov_event_key_value_set_get_bool(set.get(), "b", nullptr, &b, nullptr));
  EXPECT_TRUE(ov_event_key_value_set_get_string(set.get(), "s", nullptr, &s, nullptr));
  const GTextPtr owned(s);
  EXPECT_EQ(-17, n);
  EXPECT_EQ(TRUE, b);
  EXPECT_STREQ("text", s);
}

TEST(EventKeyValueSetTest, AddingAgainReplacesTheValueAndItsType) {
  const KeyValueSetPtr set = newSet();
  addInt(set, "k", 1);
  addInt(set, "k", 2);
  int value = 0;
  EXPECT_TRUE(ov_event_key_value_set_get_int(set.get(), "k", nullptr, &value, nullptr));
  EXPECT_EQ(2, value);
  addText(set, "k", nullptr, "three");
  EXPECT_FALSE(ov_event_key_value_set_get_int(set.get(), "k", nullptr, &value, nullptr));
}

TEST(EventKeyValueSetTest, NameSpacesKeepKeysApart) {
  const KeyValueSetPtr set = newSet();
  addText(set, "k", "a", "in a");
  addText(set, "k", nullptr, "in none");
  char* value = nullptr;
  ASSERT_TRUE(ov_event_key_value_set_get_string(set.get(), "k", "a", &value, nullptr));
  const GTextPtr inA(value);
  EXPECT_STREQ("in a", value);
  ASSERT_TRUE(ov_event_key_value_set_get_string(set.get(), "k", nullptr, &value, nullptr));
  const GTextPtr inNone(value);
  EXPECT_STREQ("in none", value);
  EXPECT_FALSE(ov_event_key_value_set_get_string(set.get(), "k", "b", &value, nullptr));
}

TEST(EventKeyValueSetTest, WhatCannotBeReadIsAnErrorAndLeavesTheValueAlone) {
  const KeyValueSetPtr set = newSet();
  addInt(set, "int", 5);
  ASSERT_TRUE(
      ov_event_key_value_set_add(set.get(), "none", nullptr, OV_EVENT_VALUE_INT, nullptr, nullptr));
  int n = 42;
  gboolean b = 42;
  char here = 'x';
  char* s = &here;
  GError* error = nullptr;
  EXPECT_FALSE(ov_event_key_value_set_get_int(set.get(), "absent", nullptr, &n, &error));
  EXPECT_EQ("No key absent in the set", takeMessage(error));
  EXPECT_FALSE(ov_event_key_value_set_get_int(set.get(), "none", nullptr, &n, &error));
  EXPECT_EQ("The key none has no such value", takeMessage(error));
  EXPECT_FALSE(ov_event_key_value_set_get_bool(set.get(), "int", nullptr, &b, &error));
  EXPECT_EQ("The key int has no such value", takeMessage(error));
  EXPECT_FALSE(ov_event_key_value_set_get_string(set.get(), "int", nullptr, &s, &error));
  EXPECT_EQ("The key int has no such value", takeMessage(error));
  EXPECT_FALSE(ov_event_key_value_set_get_string(set.get(), "int", nullptr, &s, nullptr));
  EXPECT_EQ(42, n);
  EXPECT_EQ(42, b);
  EXPECT_EQ(&here, s);
}

TEST(EventKeyValueSetTest, MarksAndNamesNeedTheirKey) {
  const KeyValueSetPtr set = newSet();
  GError* error = nullptr;
  EXPECT_FALSE(ov_event_key_value_set_mark_as_source(set.get(), "k", nullptr, &error));
  EXPECT_EQ("No key k in the set", takeMessage(error));
  EXPECT_FALSE(ov_event_key_value_set_mark_as_data(set.get(), "k", nullptr, &error));
  EXPECT_EQ("No key k in the set", takeMessage(error));
  EXPECT_FALSE(ov_event_key_value_set_mark_as_user_defined(set.get(), "k", nullptr, "t", &error));
  EXPECT_EQ("No key k in the set", takeMessage(error));
  EXPECT_FALSE(ov_event_key_value_set_add_nice_names(set.get(), "k", nullptr, "a", "b", &error));
  EXPECT_EQ("No key k in the set", takeMessage(error));
}

TEST(EventKeyValueSetTest, WhatTheBusCannotCarryIsRefused) {
  const KeyValueSetPtr set = newSet();
  const int n = 1;
  GError* error = nullptr;
  const auto add = [&](const char* key, const char* nameSpace, OVEventValueType type,
                       const void* value) {
    EXPECT_FALSE(ov_event_key_value_set_add(set.get(), key, nameSpace, type, value, &error));
    return takeMessage(error);
  };
  EXPECT_EQ("The key is no valid text", add(nullptr, nullptr, OV_EVENT_VALUE_INT, &n));
  EXPECT_EQ("The key is no valid text", add("", nullptr, OV_EVENT_VALUE_INT, &n));
  EXPECT_EQ("The key is no valid text", add("\xff", nullptr, OV_EVENT_VALUE_INT, &n));
  EXPECT_EQ("The key is no valid text", add("k", "\xff", OV_EVENT_VALUE_INT, &n));
  EXPECT_EQ("The value is no valid text", add("k", nullptr, OV_EVENT_VALUE_STRING, "\xff"));
  int value = 0;
  EXPECT_FALSE(ov_event_key_value_set_get_int(set.get(), "k", nullptr, &value, nullptr));
  addInt(set, "k", 1);
  EXPECT_FALSE(ov_event_key_value_set_add_nice_names(set.get(), "k", nullptr, "\xff", "", &error));
  EXPECT_EQ("The nice name is no valid text", takeMessage(error));
  EXPECT_FALSE(
      ov_event_key_value_set_mark_as_user_defined(set.get(), "k", nullptr, "\xff", &error));
  EXPECT_EQ("The tag is no valid text", takeMessage(error));
}

TEST(EventKeyValueSetTest, FreeingNothingIsAllowed) {
  ov_event_key_value_set_free(nullptr);
  ov_event_free(nullptr);
  ov_event_handler_free(nullptr);
}

// ---- Handlers ----

// Keeps declarations with their values as the device does, and writes its calls down.
class EventService {
 public:
  EventService()
      : service("com.orva.EventService", "/com/orva/EventService", [this] {
          skeleton = test_services_event_service_skeleton_new();
          g_signal_connect(skeleton, "handle-declare", G_CALLBACK(&EventService::onDeclare), this);
          g_signal_connect(skeleton, "handle-send", G_CALLBACK(&EventService::onSend), this);
          g_signal_connect(skeleton, "handle-undeclare", G_CALLBACK(&EventService::onUndeclare),
                           this);
          g_signal_connect(skeleton, "handle-list", G_CALLBACK(&EventService::onList), this);
          return G_DBUS_INTERFACE_SKELETON(skeleton);
        }) {}

  std::vector<std::string> getCalls() {
    std::vector<std::string> copy;
    service.getLoop().invoke([&] { copy = calls; });
    return copy;
  }

 private:
  struct Declared {
    bool stateless;
    GVariantPtr keys;
    gint64 time;
  };

  static gboolean onDeclare(TestServicesEventService* skeleton, GDBusMethodInvocation* invocation,
                            GVariant* keys, gboolean stateless, EventService* self) {
    const guint32 id = ++self->last;
    self->calls.push_back("Declare " + print(keys) + (stateless ? " stateless" : " stateful"));
    self->events[id] = {stateless != FALSE, GVariantPtr(g_variant_ref(keys)), 0};
    test_services_event_service_complete_declare(skeleton, invocation, id);
    return TRUE;
  }

  // The tests send all keys of an event, so that the last ones are the state.
  static gboolean onSend(TestServicesEventService* skeleton, GDBusMethodInvocation* invocation,
                         guint id, GVariant* keys, gint64 time, EventService* self) {
    self->calls.push_back("Send " + std::to_string(id) + ' ' + print(keys) + ' ' +
                          std::to_string(time));
    Declared& event = self->events[id];
    event.keys.reset(g_variant_ref(keys));
    event.time = time;
    test_services_event_service_emit_sent(skeleton, id, keys, time);
    test_services_event_service_complete_send(skeleton, invocation);
    return TRUE;
  }

  static gboolean onUndeclare(TestServicesEventService* skeleton, GDBusMethodInvocation* invocation,
                              guint id, EventService* self) {
    self->calls.push_back("Undeclare " + std::to_string(id));
    self->events.erase(id);
    test_services_event_service_complete_undeclare(skeleton, invocation);
    return TRUE;
  }

  static gboolean onList(TestServicesEventService* skeleton, GDBusMethodInvocation* invocation,
                         EventService* self) {
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE("a(uba(ssavusss)x)"));
    for (const auto& [id, event] : self->events) {
      g_variant_builder_add(&list, "(ub@a(ssavusss)x)", id, event.stateless ? TRUE : FALSE,
                            event.keys.get(), event.time);
    }
    test_services_event_service_complete_list(skeleton, invocation, g_variant_builder_end(&list));
    return TRUE;
  }

  std::vector<std::string> calls;
  std::map<guint32, Declared> events;
  guint32 last = 0;
  TestServicesEventService* skeleton = nullptr;
  TestService service;
};

// Collects what a subscription is told, as "VALUE@TIME" of the key "value".
class Listener {
 public:
  static void onEvent(uint32_t subscription, OVEvent* event, void* userData) {
    auto* self = static_cast<Listener*>(userData);
    int value = -1;
    ov_event_key_value_set_get_int(ov_event_get_key_value_set(event), "value", nullptr, &value,
                                   nullptr);
    const int64_t time = ov_event_get_time_stamp(event);
    ov_event_free(event);
    if (self->during) {
      self->during(subscription);
    }
    const LockGuard lock(self->mutex);
    self->told.push_back(std::to_string(value) + '@' + std::to_string(time));
    self->changed.notifyAll();
  }

  // What was told, once it is so many or more.
  std::vector<std::string> waitFor(std::size_t count) {
    const LockGuard lock(mutex);
    EXPECT_TRUE(waitUntil([&] { return told.size() >= count; }, changed, mutex, LONG_ENOUGH));
    return told;
  }

  std::vector<std::string> getTold() {
    const LockGuard lock(mutex);
    return told;
  }

  std::function<void(uint32_t)> during;

 private:
  Mutex mutex;
  Condition changed;
  std::vector<std::string> told;
};

class EventHandlerTest : public testing::Test {
 protected:
  EventHandlerTest() : service(std::make_unique<EventService>()), handler(newHandler()) {}

  static EventHandlerPtr newHandler() {
    EventHandlerPtr handler(ov_event_handler_new());
    EXPECT_NE(nullptr, handler);
    return handler;
  }

  uint32_t declare(const KeyValueSetPtr& set, bool stateless = false) {
    uint32_t id = 0;
    EXPECT_TRUE(
        ov_event_handler_declare(handler.get(), set.get(), stateless ? TRUE : FALSE, &id, nullptr));
    EXPECT_NE(0U, id);
    return id;
  }

  void send(uint32_t id, const KeyValueSetPtr& set, int64_t time) {
    EXPECT_TRUE(ov_event_handler_send_event(handler.get(), id, set.get(), time, nullptr));
  }

  uint32_t subscribe(const KeyValueSetPtr& pattern, Listener& listener) {
    uint32_t id = 0;
    GError* error = nullptr;
    EXPECT_TRUE(ov_event_handler_subscribe(handler.get(), pattern.get(), &Listener::onEvent,
                                           &listener, &id, &error))
        << takeMessage(error);
    EXPECT_NE(0U, id);
    return id;
  }

  bool unsubscribe(uint32_t id) {
    return ov_event_handler_unsubscribe(handler.get(), id, nullptr) != FALSE;
  }

  // The service's calls, once it has had so many.
  std::vector<std::string> callsOnceThereAre(std::size_t count) {
    const auto deadline = std::chrono::steady_clock::now() + LONG_ENOUGH;
    std::vector<std::string> calls = service->getCalls();
    while (calls.size() < count && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      calls = service->getCalls();
    }
    return calls;
  }

  static std::string declarationOf(const char* topic, int value) {
    const std::string printed = "[('topic0', 'tnsorva', [<'" + std::string(topic) +
                                "'>], 0, '', '', ''), ('value', '', [<" + std::to_string(value) +
                                ">], 0, '', '', '')]";
    return "Declare " + printed + " stateful";
  }

  std::unique_ptr<EventService> service;
  EventHandlerPtr handler;
  LoopThread main{g_main_context_default()};
};

TEST(EventHandlerWithoutServiceTest, ThereIsNoHandler) {
  PrivateBus::address();
  EXPECT_EQ(nullptr, ov_event_handler_new());
}

TEST_F(EventHandlerTest, ADeclarationCarriesEverythingOfItsKeys) {
  const KeyValueSetPtr set = newSet();
  addText(set, "topic0", "tnsorva", "App");
  addInt(set, "Source", 3);
  const gboolean no = FALSE;
  const double half = 0.5;
  ov_event_key_value_set_add(set.get(), "State", nullptr, OV_EVENT_VALUE_BOOL, &no, nullptr);
  ov_event_key_value_set_add(set.get(), "share", nullptr, OV_EVENT_VALUE_DOUBLE, &half, nullptr);
  ov_event_key_value_set_add(set.get(), "any", nullptr, OV_EVENT_VALUE_INT, nullptr, nullptr);
  ov_event_key_value_set_add_nice_names(set.get(), "topic0", "tnsorva", "Topic", "The app",
                                        nullptr);
  ov_event_key_value_set_mark_as_source(set.get(), "Source", nullptr, nullptr);
  ov_event_key_value_set_mark_as_user_defined(set.get(), "Source", nullptr, "token", nullptr);
  ov_event_key_value_set_mark_as_data(set.get(), "State", nullptr, nullptr);
  ov_event_key_value_set_mark_as_source(set.get(), "any", nullptr, nullptr);
  ov_event_key_value_set_mark_as_data(set.get(), "any", nullptr, nullptr);
  ov_event_key_value_set_mark_as_user_defined(set.get(), "any", nullptr, "one", nullptr);
  ov_event_key_value_set_mark_as_user_defined(set.get(), "any", nullptr, "two", nullptr);
  declare(set);
  EXPECT_THAT(service->getCalls(),
              ElementsAre("Declare [('topic0', 'tnsorva', [<'App'>], 0, '', 'Topic', 'The app'), "
                          "('Source', '', [<3>], 1, 'token', '', ''), "
                          "('State', '', [<false>], 2, '', '', ''), "
                          "('share', '', [<0.5>], 0, '', '', ''), "
                          "('any', '', [], 3, 'one two', '', '')] stateful"));
}

TEST_F(EventHandlerTest, SendsTheGivenKeysAndTime) {
  const KeyValueSetPtr keys = newSet();
  addInt(keys, "value", 1);
  const uint32_t id = declare(keys, true);
  addInt(keys, "value", 2);
  send(id, keys, 1700000000000001);
  EXPECT_THAT(service->getCalls(),
              ElementsAre("Declare [('value', '', [<1>], 0, '', '', '')] stateless",
                          "Send 1 [('value', '', [<2>], 0, '', '', '')] 1700000000000001"));
}

TEST_F(EventHandlerTest, OnlyDeclaredEventsAreSentAndUndeclared) {
  const KeyValueSetPtr keys = event("T", 1);
  const EventHandlerPtr other = newHandler();
  const uint32_t id = declare(keys);
  GError* error = nullptr;
  EXPECT_FALSE(ov_event_handler_send_event(other.get(), id, keys.get(), 0, &error));
  EXPECT_EQ("No declaration 1 of this handler", takeMessage(error));
  EXPECT_FALSE(ov_event_handler_undeclare(other.get(), id, &error));
  EXPECT_EQ("No declaration 1 of this handler", takeMessage(error));
  EXPECT_TRUE(ov_event_handler_undeclare(handler.get(), id, nullptr));
  EXPECT_FALSE(ov_event_handler_send_event(handler.get(), id, keys.get(), 0, nullptr));
  EXPECT_FALSE(ov_event_handler_undeclare(handler.get(), id, nullptr));
}

TEST_F(EventHandlerTest, FreeingTheHandlerUndeclaresWhatIsLeft) {
  const uint32_t gone = declare(newSet());
  declare(newSet());
  declare(newSet());
  ov_event_handler_undeclare(handler.get(), gone, nullptr);
  handler.reset();
  EXPECT_THAT(service->getCalls(),
              ElementsAre("Declare [] stateful", "Declare [] stateful", "Declare [] stateful",
                          "Undeclare 1", "Undeclare 2", "Undeclare 3"));
}

TEST_F(EventHandlerTest, MissingArgumentsAreErrors) {
  const KeyValueSetPtr set = newSet();
  uint32_t id = 0;
  GError* error = nullptr;
  EXPECT_FALSE(ov_event_handler_declare(nullptr, set.get(), FALSE, &id, nullptr));
  EXPECT_FALSE(ov_event_handler_declare(handler.get(), nullptr, FALSE, &id, nullptr));
  EXPECT_FALSE(ov_event_handler_declare(handler.get(), set.get(), FALSE, nullptr, nullptr));
  EXPECT_FALSE(ov_event_handler_send_event(handler.get(), 1, nullptr, 0, nullptr));
  EXPECT_FALSE(ov_event_handler_undeclare(nullptr, 1, nullptr));
  EXPECT_FALSE(ov_event_handler_subscribe(handler.get(), set.get(), nullptr, nullptr, &id, &error));
  EXPECT_EQ("A handler, a set, a callback and a place for the id are needed", takeMessage(error));
  EXPECT_FALSE(ov_event_handler_unsubscribe(nullptr, 1, nullptr));
  EXPECT_THAT(service->getCalls(), IsEmpty());
}

TEST_F(EventHandlerTest, ASubscriptionIsToldMatchingEventsInOrder) {
  const KeyValueSetPtr keys = event("T", 0);
  const uint32_t mine = declare(keys, true);
  const uint32_t other = declare(event("U", 0), true);
  Listener listener;
  subscribe(topicOnly("T"), listener);
  send(mine, event("T", 1), 100);
  send(other, event("U", 2), 200);
  send(mine, event("T", 3), 300);
  EXPECT_THAT(listener.waitFor(2), ElementsAre("1@100", "3@300"));
}

TEST_F(EventHandlerTest, APatternAsksForNameNameSpaceTypeAndValue) {
  const uint32_t id = declare(event("T", 0), true);
  const auto pattern = [](const char* key, const char* nameSpace, OVEventValueType type,
                          const void* value) {
    KeyValueSetPtr set = newSet();
    ov_event_key_value_set_add(set.get(), key, nameSpace, type, value, nullptr);
    return set;
  };
  const int one = 1;
  const double oneAsDouble = 1;
  const gboolean oneAsBool = TRUE;
  Listener right;
  Listener anyValue;
  Listener all;
  Listener otherValue;
  Listener otherType;
  Listener asBool;
  Listener otherSpace;
  Listener otherKey;
  const int two = 2;
  subscribe(pattern("value", nullptr, OV_EVENT_VALUE_INT, &two), otherValue);
  subscribe(pattern("value", nullptr, OV_EVENT_VALUE_DOUBLE, &oneAsDouble), otherType);
  subscribe(pattern("value", nullptr, OV_EVENT_VALUE_BOOL, &oneAsBool), asBool);
  subscribe(pattern("value", "tnsorva", OV_EVENT_VALUE_INT, &one), otherSpace);
  subscribe(pattern("values", nullptr, OV_EVENT_VALUE_INT, nullptr), otherKey);
  subscribe(pattern("value", nullptr, OV_EVENT_VALUE_INT, &one), right);
  subscribe(pattern("value", nullptr, OV_EVENT_VALUE_STRING, nullptr), anyValue);
  subscribe(newSet(), all);
  send(id, event("T", 1), 0);
  EXPECT_THAT(right.waitFor(1), ElementsAre("1@0"));
  EXPECT_THAT(anyValue.waitFor(1), ElementsAre("1@0"));
  EXPECT_THAT(all.waitFor(1), ElementsAre("1@0"));  // the last to be told
  EXPECT_THAT(otherValue.getTold(), IsEmpty());
  EXPECT_THAT(otherType.getTold(), IsEmpty());
  EXPECT_THAT(asBool.getTold(), IsEmpty());
  EXPECT_THAT(otherSpace.getTold(), IsEmpty());
  EXPECT_THAT(otherKey.getTold(), IsEmpty());
}

TEST_F(EventHandlerTest, AnEventWithoutTheValueDoesNotMatchAPatternWithOne) {
  const KeyValueSetPtr keys = topicOnly("T");
  ov_event_key_value_set_add(keys.get(), "value", nullptr, OV_EVENT_VALUE_INT, nullptr, nullptr);
  const uint32_t id = declare(keys, true);
  Listener withValue;
  Listener fence;
  subscribe(event("T", 1), withValue);
  subscribe(topicOnly("T"), fence);
  send(id, keys, 5);
  EXPECT_THAT(fence.waitFor(1), ElementsAre("-1@5"));
  EXPECT_THAT(withValue.getTold(), IsEmpty());
}

TEST_F(EventHandlerTest, ThePresentStateOfStatefulEventsComesFirst) {
  const uint32_t sent = declare(event("T", 1));
  declare(event("T", 50));
  declare(event("U", 60));
  const uint32_t stateless = declare(event("T", 70), true);
  send(sent, event("T", 2), 20);
  send(stateless, event("T", 71), 25);
  Listener listener;
  subscribe(topicOnly("T"), listener);
  send(sent, event("T", 3), 30);
  EXPECT_THAT(listener.waitFor(3), ElementsAre("2@20", "50@0", "3@30"));
}

TEST_F(EventHandlerTest, WhatIsSentAroundTheSubscriptionIsToldOnceAndInOrder) {
  const uint32_t id = declare(event("T", 0));
  Listener first;
  subscribe(topicOnly("T"), first);
  first.waitFor(1);

  // While the main context stands still, signals pile up on both sides of the second subscription.
  std::promise<void> gate;
  main.post([&] { gate.get_future().wait(); });
  send(id, event("T", 1), 10);
  send(id, event("T", 2), 20);
  Listener second;
  subscribe(topicOnly("T"), second);
  send(id, event("T", 3), 30);
  send(id, event("T", 2), 20);
  gate.set_value();

  EXPECT_THAT(first.waitFor(5), ElementsAre("0@0", "1@10", "2@20", "3@30", "2@20"));
  EXPECT_THAT(second.waitFor(3), ElementsAre("2@20", "3@30", "2@20"));
}

TEST_F(EventHandlerTest, CallbacksRunOnTheMainContext) {
  std::thread::id mainThread;
  main.invoke([&] { mainThread = std::this_thread::get_id(); });
  std::thread::id toldOn;
  Listener listener;
  listener.during = [&](uint32_t) { toldOn = std::this_thread::get_id(); };
  declare(event("T", 1));
  subscribe(topicOnly("T"), listener);
  listener.waitFor(1);
  EXPECT_EQ(mainThread, toldOn);
}

TEST_F(EventHandlerTest, TheCallbackIsGivenItsSubscription) {
  uint32_t told = 0;
  Listener listener;
  listener.during = [&](uint32_t id) { told = id; };
  declare(event("T", 1));
  Listener other;
  subscribe(topicOnly("T"), other);
  const uint32_t id = subscribe(topicOnly("T"), listener);
  listener.waitFor(1);
  EXPECT_EQ(id, told);
}

TEST_F(EventHandlerTest, NothingIsToldAfterTheEndOfASubscription) {
  const uint32_t id = declare(event("T", 0), true);
  Listener ended;
  Listener fence;
  const uint32_t subscription = subscribe(topicOnly("T"), ended);
  subscribe(topicOnly("T"), fence);
  send(id, event("T", 1), 1);
  ended.waitFor(1);
  EXPECT_TRUE(unsubscribe(subscription));
  send(id, event("T", 2), 2);
  fence.waitFor(2);
  EXPECT_THAT(ended.getTold(), ElementsAre("1@1"));
}

TEST_F(EventHandlerTest, AnEndBeforeThePresentStateWasToldKeepsItBack) {
  declare(event("T", 1));
  Listener ended;
  Listener fence;
  std::promise<void> gate;
  main.post([&] { gate.get_future().wait(); });
  const uint32_t subscription = subscribe(topicOnly("T"), ended);
  EXPECT_TRUE(unsubscribe(subscription));
  subscribe(topicOnly("T"), fence);
  gate.set_value();
  fence.waitFor(1);
  EXPECT_THAT(ended.getTold(), IsEmpty());
}

TEST_F(EventHandlerTest, ASubscriptionEndsOnce) {
  Listener listener;
  const uint32_t subscription = subscribe(topicOnly("T"), listener);
  EXPECT_TRUE(unsubscribe(subscription));
  GError* error = nullptr;
  EXPECT_FALSE(ov_event_handler_unsubscribe(handler.get(), subscription, &error));
  EXPECT_EQ("No subscription 1 of this handler", takeMessage(error));
  EXPECT_FALSE(unsubscribe(0));
}

TEST_F(EventHandlerTest, ACallbackMayEndItsOwnSubscription) {
  const uint32_t id = declare(event("T", 0), true);
  Listener ending;
  Listener fence;
  bool ended = false;
  ending.during = [&](uint32_t subscription) { ended = unsubscribe(subscription); };
  subscribe(topicOnly("T"), ending);
  subscribe(topicOnly("T"), fence);
  send(id, event("T", 1), 1);
  send(id, event("T", 2), 2);
  fence.waitFor(2);
  EXPECT_TRUE(ended);
  EXPECT_THAT(ending.getTold(), ElementsAre("1@1"));
}

TEST_F(EventHandlerTest, ACallbackMayFreeTheHandler) {
  declare(event("T", 1));
  EventHandlerPtr second = newHandler();
  Listener freeing;
  freeing.during = [&](uint32_t) { second.reset(); };
  uint32_t id = 0;
  ASSERT_TRUE(ov_event_handler_subscribe(second.get(), topicOnly("T").get(), &Listener::onEvent,
                                         &freeing, &id, nullptr));
  freeing.waitFor(1);
  EXPECT_EQ(nullptr, second);
}

TEST_F(EventHandlerTest, ACallbackMayUseTheHandler) {
  const uint32_t id = declare(event("T", 0), true);
  const uint32_t echo = declare(event("E", 0), true);
  Listener listener;
  Listener echoes;
  listener.during = [&](uint32_t) { send(echo, event("E", 7), 70); };
  subscribe(topicOnly("T"), listener);
  subscribe(topicOnly("E"), echoes);
  send(id, event("T", 1), 1);
  EXPECT_THAT(echoes.waitFor(1), ElementsAre("7@70"));
}

TEST_F(EventHandlerTest, TheEndOfASubscriptionWaitsForARunningCallback) {
  declare(event("T", 1));
  std::promise<void> entered;
  std::promise<void> gate;
  std::atomic<bool> hasLeft = false;
  Listener listener;
  listener.during = [&](uint32_t) {
    entered.set_value();
    gate.get_future().wait();
    hasLeft = true;
  };
  const uint32_t subscription = subscribe(topicOnly("T"), listener);
  entered.get_future().wait();
  std::future<bool> leftBeforeEnd = std::async(std::launch::async, [&] {
    unsubscribe(subscription);
    return hasLeft.load();
  });
  EXPECT_EQ(std::future_status::timeout, leftBeforeEnd.wait_for(std::chrono::milliseconds(100)));
  gate.set_value();
  EXPECT_TRUE(leftBeforeEnd.get());
}

TEST_F(EventHandlerTest, FreeingTheHandlerWaitsForARunningCallback) {
  declare(event("T", 1));
  EventHandlerPtr second = newHandler();
  std::promise<void> entered;
  std::promise<void> gate;
  std::atomic<bool> hasLeft = false;
  Listener listener;
  listener.during = [&](uint32_t) {
    entered.set_value();
    gate.get_future().wait();
    hasLeft = true;
  };
  uint32_t id = 0;
  ASSERT_TRUE(ov_event_handler_subscribe(second.get(), topicOnly("T").get(), &Listener::onEvent,
                                         &listener, &id, nullptr));
  entered.get_future().wait();
  std::future<bool> leftBeforeEnd = std::async(std::launch::async, [&] {
    second.reset();
    return hasLeft.load();
  });
  EXPECT_EQ(std::future_status::timeout, leftBeforeEnd.wait_for(std::chrono::milliseconds(100)));
  gate.set_value();
  EXPECT_TRUE(leftBeforeEnd.get());
}

TEST_F(EventHandlerTest, AServiceThatReturnsIsHeard) {
  Listener listener;
  subscribe(topicOnly("T"), listener);
  service.reset();
  uint32_t id = 0;
  EXPECT_FALSE(ov_event_handler_declare(handler.get(), event("T", 0).get(), TRUE, &id, nullptr));
  service = std::make_unique<EventService>();
  id = declare(event("T", 0), true);
  send(id, event("T", 4), 40);
  EXPECT_THAT(listener.waitFor(1), ElementsAre("4@40"));
}

TEST_F(EventHandlerTest, AServiceThatReturnsIsToldEveryEventWithItsLastValues) {
  const uint32_t kept = declare(event("T", 1));
  const uint32_t dropped = declare(event("U", 2));
  send(kept, event("T", 3), 30);
  service.reset();
  send(kept, event("T", 4), 40);
  EXPECT_TRUE(ov_event_handler_undeclare(handler.get(), dropped, nullptr));
  const uint32_t late = declare(event("V", 5));
  service = std::make_unique<EventService>();
  EXPECT_THAT(callsOnceThereAre(2),
              UnorderedElementsAre(declarationOf("T", 4), declarationOf("V", 5)));
  send(kept, event("T", 6), 60);
  send(late, event("V", 7), 70);
  EXPECT_THAT(service->getCalls().back(), AllOf(StartsWith("Send "), EndsWith(" 70")));
}

TEST_F(EventHandlerTest, AServiceThatReturnsIsToldOnceWhoeverNoticesItFirst) {
  const uint32_t id = declare(event("T", 1));
  service.reset();
  service = std::make_unique<EventService>();
  send(id, event("T", 2), 20);
  // Whatever the main context has heard by now has been dealt with.
  main.invoke([] {});
  std::vector<std::string> calls = service->getCalls();
  std::erase_if(calls, [](const std::string& call) { return !call.starts_with("Declare "); });
  EXPECT_EQ(1U, calls.size());
}

TEST_F(EventHandlerTest, ASubscriptionIsToldTheStateOfAServiceThatReturns) {
  const uint32_t id = declare(event("T", 1));
  Listener listener;
  subscribe(topicOnly("T"), listener);
  EXPECT_THAT(listener.waitFor(1), ElementsAre("1@0"));
  service.reset();
  send(id, event("T", 2), 20);
  service = std::make_unique<EventService>();
  EXPECT_THAT(listener.waitFor(2), ElementsAre("1@0", "2@0"));
}

TEST_F(EventHandlerTest, ALostBusIsFoundAgainAndTheServiceToldEverything) {
  const uint32_t id = declare(event("T", 1));
  Listener listener;
  subscribe(topicOnly("T"), listener);
  EXPECT_THAT(listener.waitFor(1), ElementsAre("1@0"));
  service.reset();
  PrivateBus::restart();
  send(id, event("T", 2), 20);
  service = std::make_unique<EventService>();
  EXPECT_THAT(callsOnceThereAre(1), ElementsAre(declarationOf("T", 2)));
  EXPECT_THAT(listener.waitFor(2), ElementsAre("1@0", "2@0"));
  send(id, event("T", 3), 30);
  EXPECT_THAT(listener.waitFor(3), ElementsAre("1@0", "2@0", "3@30"));
}

TEST_F(EventHandlerTest, StatelessEventsThatNobodyHearsAreErrors) {
  const uint32_t id = declare(event("T", 1), true);
  service.reset();
  EXPECT_FALSE(ov_event_handler_send_event(handler.get(), id, event("T", 2).get(), 20, nullptr));
}

TEST_F(EventHandlerTest, ASubscriptionWithoutTheServiceFails) {
  service.reset();
  Listener listener;
  uint32_t id = 0;
  EXPECT_FALSE(ov_event_handler_subscribe(handler.get(), topicOnly("T").get(), &Listener::onEvent,
                                          &listener, &id, nullptr));
}

}  // namespace
