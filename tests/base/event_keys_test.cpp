#include "base/event_keys.h"

#include <gtest/gtest.h>

#include "base/glib_ptr.h"

namespace {

// The form on the bus, written by hand.
GVariantPtr wire(const char* text) {
  return GVariantPtr(g_variant_ref_sink(
      g_variant_parse(G_VARIANT_TYPE("a(ssavusss)"), text, nullptr, nullptr, nullptr)));
}

std::string textOf(const EventKeys& keys) {
  const GVariantPtr variant(g_variant_ref_sink(toVariant(keys)));
  const GTextPtr text(g_variant_print(variant.get(), FALSE));
  return text.get();
}

TEST(EventKeysTest, EachKindOfValueHasItsTypeOnTheBus) {
  const EventKeys keys{{.name = "none", .nameSpace = "tns1"},
                       {.name = "whole", .value = EventValue(-7)},
                       {.name = "flag", .value = EventValue(true)},
                       {.name = "real", .value = EventValue(0.5)},
                       {.name = "text", .value = EventValue(std::string("a"))}};
  EXPECT_EQ(textOf(keys),
            "[('none', 'tns1', [], 0, '', '', ''), ('whole', '', [<-7>], 0, '', '', ''), "
            "('flag', '', [<true>], 0, '', '', ''), ('real', '', [<0.5>], 0, '', '', ''), "
            "('text', '', [<'a'>], 0, '', '', '')]");
}

TEST(EventKeysTest, TheFirstMarkIsTheSourcesTheSecondTheDatas) {
  EXPECT_EQ(textOf({{.name = "a", .isSource = true}}), "[('a', '', [], 1, '', '', '')]");
  EXPECT_EQ(textOf({{.name = "a", .isData = true}}), "[('a', '', [], 2, '', '', '')]");
  const auto both =
      eventKeysFromVariant(wire("[('a', '', [], 3, '', '', '')]").get(), StrangeValue::refuse);
  ASSERT_TRUE(both);
  EXPECT_TRUE(both->front().isSource);
  EXPECT_TRUE(both->front().isData);
}

TEST(EventKeysTest, NamesAndTagsComeBackAsTheyWent) {
  const char* text = "[('a', 'ns', [<'v'>], 2, 'tag other', 'Nice', 'Value')]";
  const auto keys = eventKeysFromVariant(wire(text).get(), StrangeValue::refuse);
  ASSERT_TRUE(keys);
  const EventKey& key = keys->front();
  EXPECT_EQ(key.name, "a");
  EXPECT_EQ(key.nameSpace, "ns");
  EXPECT_EQ(key.value, EventValue(std::string("v")));
  EXPECT_EQ(key.userTag, "tag other");
  EXPECT_EQ(key.niceName, "Nice");
  EXPECT_EQ(key.valueNiceName, "Value");
  EXPECT_EQ(textOf(*keys), text);
}

TEST(EventKeysTest, AValueOfAnotherTypeIsRefusedOrDropped) {
  const GVariantPtr strange =
      wire("[('a', '', [<@x 7>], 0, '', '', ''), ('b', '', [<1>], 0, '', '', '')]");
  EXPECT_FALSE(eventKeysFromVariant(strange.get(), StrangeValue::refuse));
  const auto kept = eventKeysFromVariant(strange.get(), StrangeValue::drop);
  ASSERT_TRUE(kept);
  EXPECT_FALSE(kept->at(0).value);
  EXPECT_EQ(kept->at(1).value, EventValue(1));
}

TEST(EventKeysTest, SeveralValuesAreRefusedOrDropped) {
  const GVariantPtr strange = wire("[('a', '', [<1>, <2>], 0, '', '', '')]");
  EXPECT_FALSE(eventKeysFromVariant(strange.get(), StrangeValue::refuse));
  const auto kept = eventKeysFromVariant(strange.get(), StrangeValue::drop);
  ASSERT_TRUE(kept);
  EXPECT_FALSE(kept->front().value);
}

TEST(EventKeysTest, AKeyIsFoundByNameAndNameSpace) {
  EventKeys keys{{.name = "a", .nameSpace = "x"}, {.name = "a", .nameSpace = "y"}};
  EXPECT_EQ(findKey(keys, "a", "y"), &keys[1]);
  EXPECT_EQ(findKey(keys, "a", ""), nullptr);
  EXPECT_EQ(findKey(keys, "b", "x"), nullptr);
}

TEST(EventKeysTest, AValueIsFoundInAnyNameSpaceByItsType) {
  const EventKeys keys{{.name = "a", .nameSpace = "x"},
                       {.name = "a", .nameSpace = "y", .value = EventValue(true)},
                       {.name = "a", .nameSpace = "z", .value = EventValue(5)}};
  EXPECT_EQ(valueOf<std::int32_t>(keys, "a"), 5);
  EXPECT_EQ(valueOf<bool>(keys, "a"), true);
  EXPECT_EQ(valueOf<std::string>(keys, "a"), std::nullopt);
}

}  // namespace
