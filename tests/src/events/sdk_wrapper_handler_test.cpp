#include <gtest/gtest.h>

#include <cstdint>
#include <thread>
#include <vector>

#include "events/event_key_value_set.h"
#include "events/sdk_wrapper.h"
#include "src/events/wrapper_test_base.h"

namespace {

using FakeEvents::Value;

// Events of a caller that has a handler and keys of its own.
class SdkWrapperHandlerTest : public InitializedWrapperTest {};

TEST_F(SdkWrapperHandlerTest, DeclaresSendsAndUndeclares) {
  OVEventHandler* const handler = sdk_wrapper_handler_new();
  ASSERT_NE(handler, nullptr);
  std::uint32_t id = 0;
  EXPECT_TRUE(
      sdk_wrapper_handler_declare(handler, EventKeyValueSet().add("value", nullptr, 0), false, id));
  EXPECT_NE(id, 0U);
  EXPECT_TRUE(sdk_wrapper_handler_send(handler, id, EventKeyValueSet().add("value", nullptr, 3)));
  ASSERT_EQ(FakeEvents::sent().size(), 1U);
  EXPECT_EQ(FakeEvents::sent()[0].keys.size(), 1U) << "no key is added to the caller's";
  EXPECT_EQ(FakeEvents::sent()[0].keys.at("value").value, Value(3));
  EXPECT_EQ(FakeEvents::sent()[0].declaration, id);
  EXPECT_TRUE(sdk_wrapper_handler_undeclare(handler, id));
  EXPECT_TRUE(FakeEvents::activeDeclarations().empty());
  sdk_wrapper_handler_free(handler);
  EXPECT_EQ(FakeEvents::handlersFreed(), 1);
}

TEST_F(SdkWrapperHandlerTest, DeclaresAsStatelessOrStateful) {
  OVEventHandler* const handler = sdk_wrapper_handler_new();
  std::uint32_t id = 0;
  sdk_wrapper_handler_declare(handler, EventKeyValueSet(), true, id);
  sdk_wrapper_handler_declare(handler, EventKeyValueSet(), false, id);
  EXPECT_TRUE(FakeEvents::declarations().at(0).stateless);
  EXPECT_FALSE(FakeEvents::declarations().at(1).stateless);
  sdk_wrapper_handler_free(handler);
}

TEST_F(SdkWrapperHandlerTest, AHandlerThatCannotBeMadeIsNull) {
  FakeEvents::failHandlers(1);
  EXPECT_EQ(sdk_wrapper_handler_new(), nullptr);
}

TEST_F(SdkWrapperHandlerTest, FailuresComeBackAsFalse) {
  OVEventHandler* const handler = sdk_wrapper_handler_new();
  std::uint32_t id = 0;
  FakeEvents::failDeclares(1);
  EXPECT_FALSE(sdk_wrapper_handler_declare(handler, EventKeyValueSet(), false, id));
  ASSERT_TRUE(sdk_wrapper_handler_declare(handler, EventKeyValueSet(), false, id));
  FakeEvents::failSends(1);
  EXPECT_FALSE(sdk_wrapper_handler_send(handler, id, EventKeyValueSet()));
  EXPECT_FALSE(sdk_wrapper_handler_undeclare(handler, id + 1));
  sdk_wrapper_handler_free(handler);
}

TEST_F(SdkWrapperHandlerTest, OtherThreadsMayUseTheWrapperAtTheSameTime) {
  OVEventHandler* const handler = sdk_wrapper_handler_new();
  std::uint32_t id = 0;
  ASSERT_TRUE(sdk_wrapper_handler_declare(handler, EventKeyValueSet(), false, id));
  ASSERT_TRUE(sdk_wrapper_event_add("name", "Topic", "Nice", SDK_EVENT_STATEFUL));
  constexpr int EACH = 200;
  std::thread other([&] {
    for (int i = 0; i < EACH; ++i) {
      EXPECT_TRUE(sdk_wrapper_handler_send(handler, id, EventKeyValueSet()));
    }
  });
  for (int i = 0; i < EACH; ++i) {
    EXPECT_TRUE(sdk_wrapper_event_send("name", i % 2, nullptr, nullptr));
  }
  other.join();
  EXPECT_EQ(FakeEvents::sent().size(), 2U * EACH);
  sdk_wrapper_handler_free(handler);
}

}  // namespace
