#include "services/event_service.h"

#include <gtest/gtest.h>

#include <memory>

#include "private_bus.h"

namespace device {
namespace {

class EventServiceTest : public testing::Test {
 protected:
  static std::unique_ptr<BusClient> newClient() {
    return std::make_unique<BusClient>("com.orva.EventService", "/com/orva/EventService");
  }

  static GVariant* keys(std::optional<EventValue> value) {
    return toVariant({{"topic0", "tns1", "Test", false, false, "", "", "Test"},
                      {"active", "", std::move(value), false, true, "tag", "", ""}});
  }

  static GVariant* change(EventValue value) {
    return toVariant({{"active", "", std::move(value), false, false, "", "", ""}});
  }

  static std::uint32_t declare(BusClient& client, bool stateless = false) {
    const Reply reply = client.call(
        "Declare", g_variant_new("(@a(ssavusss)b)", keys(false), stateless ? TRUE : FALSE));
    std::uint32_t id = 0;
    if (reply.ok()) {
      g_variant_get(reply.value.get(), "(u)", &id);
    }
    return id;
  }

  static Reply send(BusClient& client, std::uint32_t id, EventValue value) {
    return client.call(
        "Send", g_variant_new("(u@a(ssavusss)x)", id, change(std::move(value)), gint64{1234}));
  }

  DbusDaemon bus;
  GObjectPtr<GDBusConnection> connection = connectToSystemBus();
  EventService service{connection.get()};
  std::unique_ptr<BusClient> client = newClient();
  std::unique_ptr<BusClient> watcher = newClient();
};

TEST_F(EventServiceTest, DeclarationIsToldToEverybody) {
  const auto id = declare(*client);
  EXPECT_EQ(1u, id);
  ASSERT_TRUE(iterateUntil([&] { return watcher->count("Declared") == 1; }));
  guint told = 0;
  gboolean stateless = TRUE;
  GVariant* toldKeys = nullptr;
  g_variant_get(watcher->signals[0].arguments.get(), "(ub@a(ssavusss))", &told, &stateless,
                &toldKeys);
  const GVariantPtr owned(toldKeys);
  EXPECT_EQ(id, told);
  EXPECT_FALSE(stateless);
  const GVariantPtr expected(g_variant_ref_sink(keys(false)));
  EXPECT_TRUE(g_variant_equal(expected.get(), toldKeys));
}

TEST_F(EventServiceTest, SentSignalHoldsAllKeysAndTheTime) {
  const auto id = declare(*client);
  ASSERT_TRUE(send(*client, id, true).ok());
  ASSERT_TRUE(iterateUntil([&] { return watcher->count("Sent") == 1; }));
  guint told = 0;
  GVariant* toldKeys = nullptr;
  gint64 time = 0;
  g_variant_get(watcher->signals.back().arguments.get(), "(u@a(ssavusss)x)", &told, &toldKeys,
                &time);
  const GVariantPtr owned(toldKeys);
  const GVariantPtr expected(g_variant_ref_sink(keys(true)));
  EXPECT_EQ(id, told);
  EXPECT_TRUE(g_variant_equal(expected.get(), toldKeys));
  EXPECT_EQ(1234, time);
}

TEST_F(EventServiceTest, ListGivesThePresentState) {
  const auto id = declare(*client);
  declare(*client, true);
  send(*client, id, true);
  const Reply reply = watcher->call("List", nullptr);
  ASSERT_TRUE(reply.ok());
  const GVariantPtr events(g_variant_get_child_value(reply.value.get(), 0));
  ASSERT_EQ(2u, g_variant_n_children(events.get()));
  guint listed = 0;
  gboolean stateless = TRUE;
  GVariant* listedKeys = nullptr;
  gint64 time = 0;
  g_variant_get_child(events.get(), 0, "(ub@a(ssavusss)x)", &listed, &stateless, &listedKeys,
                      &time);
  const GVariantPtr owned(listedKeys);
  const GVariantPtr expected(g_variant_ref_sink(keys(true)));
  EXPECT_EQ(id, listed);
  EXPECT_FALSE(stateless);
  EXPECT_TRUE(g_variant_equal(expected.get(), listedKeys));
  EXPECT_EQ(1234, time);
}

TEST_F(EventServiceTest, ClientCannotTouchAnothersEvent) {
  const auto id = declare(*client);
  EXPECT_EQ(INVALID_ARGS, send(*watcher, id, true).error);
  EXPECT_EQ(INVALID_ARGS, watcher->call("Undeclare", g_variant_new("(u)", id)).error);
}

TEST_F(EventServiceTest, WrongTypeAndUnknownValueTypeAreRefused) {
  const auto id = declare(*client);
  EXPECT_EQ(INVALID_ARGS, send(*client, id, "yes").error);
  GVariant* strange = g_variant_new_parsed("@a(ssavusss) [('k', '', [<byte 1>], 0, '', '', '')]");
  EXPECT_EQ(INVALID_ARGS,
            client->call("Declare", g_variant_new("(@a(ssavusss)b)", strange, FALSE)).error);
  GVariant* several = g_variant_new_parsed("@a(ssavusss) [('k', '', [<1>, <2>], 0, '', '', '')]");
  EXPECT_EQ(INVALID_ARGS,
            client->call("Declare", g_variant_new("(@a(ssavusss)b)", several, FALSE)).error);
}

TEST_F(EventServiceTest, UndeclaredEventIsToldAndGone) {
  const auto id = declare(*client);
  EXPECT_TRUE(client->call("Undeclare", g_variant_new("(u)", id)).ok());
  EXPECT_TRUE(iterateUntil([&] { return watcher->count("Undeclared") == 1; }));
  EXPECT_EQ(INVALID_ARGS, send(*client, id, true).error);
  EXPECT_TRUE(service.getTable().getEvents().empty());
}

TEST_F(EventServiceTest, EventsOfAClientThatLeavesAreUndeclared) {
  declare(*client);
  declare(*client);
  const auto stays = declare(*watcher);
  client->leave();
  EXPECT_TRUE(iterateUntil([&] { return watcher->count("Undeclared") == 2; }));
  ASSERT_EQ(1u, service.getTable().getEvents().size());
  EXPECT_EQ(stays, service.getTable().getEvents().begin()->first);
}

TEST_F(EventServiceTest, ClientThatUndeclaredEverythingMayDeclareAgainAndLeave) {
  client->call("Undeclare", g_variant_new("(u)", declare(*client)));
  declare(*client);
  client->leave();
  EXPECT_TRUE(iterateUntil([&] { return watcher->count("Undeclared") == 2; }));
  EXPECT_TRUE(service.getTable().getEvents().empty());
}

TEST_F(EventServiceTest, DeviceDeclaresAndSendsItself) {
  const auto id = service.declare({{"is_moving", "", false, false, true, "", "", ""}}, false);
  EXPECT_TRUE(service.send(id, {{"is_moving", "", true, false, false, "", "", ""}}));
  EXPECT_TRUE(iterateUntil([&] { return watcher->count("Sent") == 1; }));
  EXPECT_FALSE(service.send(id, {{"other", "", true, false, false, "", "", ""}}));
  EXPECT_EQ(INVALID_ARGS, send(*client, id, true).error);
}

TEST_F(EventServiceTest, ObserversSeeEverySend) {
  std::vector<Event> seen;
  service.observe([&](const Event& event) { seen.push_back(event); });
  const auto id = declare(*client);
  send(*client, id, true);
  ASSERT_EQ(1u, seen.size());
  EXPECT_EQ(id, seen[0].id);
  EXPECT_EQ(true, valueOf<bool>(seen[0].keys, "active"));
}

TEST_F(EventServiceTest, SecondServiceOnTheSameBusIsRefused) {
  const auto other = connectToSystemBus();
  EXPECT_THROW(EventService{other.get()}, std::runtime_error);
}

TEST(EventKeysTest, EveryTypeOfValueSurvivesTheBus) {
  const EventKeys keys = {{"i", "a", std::int32_t{-5}, true, false, "", "n", ""},
                          {"b", "", true, false, true, "t", "", "v"},
                          {"d", "", 0.25, true, true, "", "", ""},
                          {"s", "", "text", false, false, "", "", ""},
                          {"none", "", std::nullopt, false, false, "", "", ""}};
  const GVariantPtr variant(g_variant_ref_sink(toVariant(keys)));
  const auto back = eventKeysFromVariant(variant.get(), StrangeValue::refuse);
  ASSERT_TRUE(back);
  ASSERT_EQ(keys.size(), back->size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    EXPECT_EQ(keys[i].name, (*back)[i].name);
    EXPECT_EQ(keys[i].nameSpace, (*back)[i].nameSpace);
    EXPECT_EQ(keys[i].value, (*back)[i].value);
    EXPECT_EQ(keys[i].isSource, (*back)[i].isSource);
    EXPECT_EQ(keys[i].isData, (*back)[i].isData);
    EXPECT_EQ(keys[i].userTag, (*back)[i].userTag);
    EXPECT_EQ(keys[i].niceName, (*back)[i].niceName);
    EXPECT_EQ(keys[i].valueNiceName, (*back)[i].valueNiceName);
  }
}

}  // namespace
}  // namespace device
