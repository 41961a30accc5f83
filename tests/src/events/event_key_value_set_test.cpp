#include "events/event_key_value_set.h"

#include <gtest/gtest.h>

#include <string>

#include "fakes/fake_events.h"
#include "platform/owners.h"

namespace {

class EventKeyValueSetTest : public testing::Test {
 protected:
  EventKeyValueSetTest() { FakeEvents::reset(); }
  ~EventKeyValueSetTest() override { EXPECT_EQ(FakeEvents::setsAlive(), 0); }

  // The keys of a set, as the event service sees them.
  static FakeEvents::Keys keysOf(const EventKeyValueSet& set) {
    const EventHandlerPtr handler(ov_event_handler_new());
    std::uint32_t id = 0;
    EXPECT_TRUE(ov_event_handler_declare(handler.get(), set.get(), FALSE, &id, nullptr));
    return FakeEvents::declarations().back().keys;
  }
};

TEST_F(EventKeyValueSetTest, StartsOkAndEmpty) {
  const EventKeyValueSet set;
  EXPECT_TRUE(set.ok());
  ASSERT_NE(set.get(), nullptr);
  EXPECT_TRUE(keysOf(set).empty());
}

TEST_F(EventKeyValueSetTest, BuildsKeysOfEachType) {
  EventKeyValueSet set;
  set.add("text", "space", std::string("words")).add("number", nullptr, -4);
  set.addBool("switch", nullptr, true);
  EXPECT_TRUE(set.ok());
  const FakeEvents::Keys keys = keysOf(set);
  EXPECT_EQ(keys.at("text").value, FakeEvents::Value("words"));
  EXPECT_EQ(keys.at("text").nameSpace, "space");
  EXPECT_EQ(keys.at("number").value, FakeEvents::Value(-4));
  EXPECT_EQ(keys.at("number").nameSpace, "");
  EXPECT_EQ(keys.at("switch").value, FakeEvents::Value(true));
}

TEST_F(EventKeyValueSetTest, MarksKeys) {
  EventKeyValueSet set;
  set.add("one", nullptr, 1).markAsSource("one", nullptr);
  set.add("two", nullptr, 2).markAsData("two", nullptr);
  set.add("three", "space", 3).markAsUserDefined("three", "space", "tag");
  EXPECT_TRUE(set.ok());
  const FakeEvents::Keys keys = keysOf(set);
  EXPECT_TRUE(keys.at("one").source);
  EXPECT_FALSE(keys.at("one").data);
  EXPECT_TRUE(keys.at("two").data);
  EXPECT_FALSE(keys.at("two").source);
  EXPECT_EQ(keys.at("three").userDefined, "tag");
}

TEST_F(EventKeyValueSetTest, TheFirstFailingStepMakesItNotOk) {
  EventKeyValueSet set;
  FakeEvents::failAdds(1);
  set.add("one", nullptr, 1).add("two", nullptr, 2);
  EXPECT_FALSE(set.ok());
  EXPECT_FALSE(keysOf(set).contains("two")) << "further steps are passed over";
}

TEST_F(EventKeyValueSetTest, MarkingAnAbsentKeyFails) {
  EXPECT_FALSE(EventKeyValueSet().markAsData("nothing", nullptr).ok());
  EXPECT_FALSE(EventKeyValueSet().markAsSource("nothing", nullptr).ok());
  EXPECT_FALSE(EventKeyValueSet().markAsUserDefined("nothing", nullptr, "tag").ok());
  EXPECT_FALSE(EventKeyValueSet().niceName("nothing", nullptr, "Nice").ok());
}

TEST_F(EventKeyValueSetTest, AReleasedSetBelongsToTheCaller) {
  OVEventKeyValueSet* released = nullptr;
  {
    EventKeyValueSet set;
    released = set.release();
    EXPECT_EQ(set.get(), nullptr);
  }
  EXPECT_EQ(FakeEvents::setsAlive(), 1);
  ov_event_key_value_set_free(released);
}

}  // namespace
