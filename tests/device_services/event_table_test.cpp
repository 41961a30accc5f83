#include "services/event_table.h"

#include <gtest/gtest.h>

namespace device {
namespace {

EventKey key(const std::string& name, std::optional<EventValue> value,
             const std::string& nameSpace = "") {
  return {name, nameSpace, std::move(value), false, false, "", "", ""};
}

class EventTableTest : public testing::Test {
 protected:
  std::uint32_t declare(EventKeys keys, bool stateless, const std::string& owner = "a") {
    const auto [status, id] = table.declare(owner, std::move(keys), stateless, 1);
    EXPECT_EQ(EventStatus_e::ok, status);
    return id;
  }

  // The event as it was sent.
  Event send(std::uint32_t id, const EventKeys& keys, std::int64_t time) {
    auto [status, event] = table.send("a", id, keys, time);
    EXPECT_EQ(EventStatus_e::ok, status);
    return std::move(event);
  }

  EventTable table;
};

TEST_F(EventTableTest, DeclarationsHaveIdsOfTheirOwnFromOne) {
  const EventKeys keys = {key("topic0", "x")};
  EXPECT_EQ(1u, declare(keys, false));
  EXPECT_EQ(2u, declare(keys, false));
  EXPECT_EQ(EventStatus_e::ok, table.undeclare("a", 2));
  EXPECT_EQ(3u, declare(keys, false));
}

TEST_F(EventTableTest, EventWithoutKeysIsRefused) {
  EXPECT_EQ(EventStatus_e::noKeys, table.declare("a", {}, false, 1).status);
}

TEST_F(EventTableTest, SameKeyTwiceIsRefusedUnlessTheNameSpaceDiffers) {
  EXPECT_EQ(EventStatus_e::duplicateKey,
            table.declare("a", {key("k", 1), key("k", 2)}, false, 1).status);
  EXPECT_EQ(EventStatus_e::ok,
            table.declare("a", {key("k", 1), key("k", 2, "tns1")}, false, 1).status);
}

TEST_F(EventTableTest, SendGivesAllKeysWithTheChangesMerged) {
  const auto id = declare({key("topic0", "x"), key("active", false)}, false);
  const Event sent = send(id, {key("active", true)}, 7);
  EXPECT_EQ("x", valueOf<std::string>(sent.keys, "topic0"));
  EXPECT_EQ(true, valueOf<bool>(sent.keys, "active"));
  EXPECT_EQ(7, sent.time);
}

TEST_F(EventTableTest, StatefulEventKeepsWhatWasSent) {
  const auto id = declare({key("active", false)}, false);
  send(id, {key("active", true)}, 7);
  EXPECT_EQ(true, valueOf<bool>(table.getEvents().at(id).keys, "active"));
  EXPECT_EQ(7, table.getEvents().at(id).time);
}

TEST_F(EventTableTest, StatelessEventForgetsWhatWasSent) {
  const auto id = declare({key("text", ""), key("count", 0)}, true);
  send(id, {key("text", "hello")}, 7);
  const Event sent = send(id, {key("count", 3)}, 8);
  EXPECT_EQ("", valueOf<std::string>(sent.keys, "text"));
  EXPECT_EQ(3, valueOf<std::int32_t>(sent.keys, "count"));
}

TEST_F(EventTableTest, KeyWithoutValueTakesTheFirstOneSentAndKeepsIt) {
  const auto id = declare({key("active", std::nullopt)}, false);
  send(id, {key("active", true)}, 7);
  const Event sent = send(id, {key("active", std::nullopt)}, 8);
  EXPECT_EQ(true, valueOf<bool>(sent.keys, "active"));
}

TEST_F(EventTableTest, UnknownKeyOrOtherTypeIsRefusedAndChangesNothing) {
  const auto id = declare({key("active", false), key("count", 1)}, false);
  EXPECT_EQ(EventStatus_e::unknownKey,
            table.send("a", id, {key("active", true), key("other", 1)}, 7).status);
  EXPECT_EQ(EventStatus_e::wrongType,
            table.send("a", id, {key("active", true), key("count", "1")}, 7).status);
  EXPECT_EQ(EventStatus_e::unknownKey,
            table.send("a", id, {key("active", true, "tns1")}, 7).status);
  EXPECT_EQ(false, valueOf<bool>(table.getEvents().at(id).keys, "active"));
  EXPECT_EQ(1, table.getEvents().at(id).time);
}

TEST_F(EventTableTest, OwnersReachTheirOwnEventsOnly) {
  const auto id = declare({key("active", false)}, false, "a");
  EXPECT_EQ(EventStatus_e::unknownDeclaration, table.send("b", id, {}, 7).status);
  EXPECT_EQ(EventStatus_e::unknownDeclaration, table.undeclare("b", id));
  EXPECT_EQ(EventStatus_e::ok, table.undeclare("a", id));
  EXPECT_EQ(EventStatus_e::unknownDeclaration, table.undeclare("a", id));
}

TEST_F(EventTableTest, AllEventsOfAnOwnerGoTogether) {
  declare({key("k", 1)}, false, "a");
  declare({key("k", 1)}, false, "b");
  declare({key("k", 1)}, true, "a");
  EXPECT_EQ((std::vector<std::uint32_t>{1, 3}), table.undeclareAll("a"));
  EXPECT_FALSE(table.hasEventsOf("a"));
  EXPECT_TRUE(table.hasEventsOf("b"));
}

}  // namespace
}  // namespace device
