#include "base/text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace {

TEST(TextTest, ANumberIsReadFromTheFirstToTheLastCharacter) {
  EXPECT_EQ(text::toNumber<int>("-17"), -17);
  EXPECT_EQ(text::toNumber<double>("2.5e1"), 25.0);
  EXPECT_EQ(text::toNumber<std::uint32_t>("00ff", 16), 255U);
  for (const char* strange : {"", " 17", "17 ", "+17", "17x", "x", "-"}) {
    EXPECT_FALSE(text::toNumber<int>(strange)) << strange;
    EXPECT_FALSE(text::toNumber<double>(strange)) << strange;
  }
}

TEST(TextTest, WhatTheTypeCannotHoldIsNoNumber) {
  EXPECT_EQ(text::toNumber<std::uint16_t>("65535"), 65535);
  EXPECT_FALSE(text::toNumber<std::uint16_t>("65536"));
  EXPECT_FALSE(text::toNumber<std::uint16_t>("-1"));
  EXPECT_FALSE(text::toNumber<double>("1e999"));
}

TEST(TextTest, ALeadingNumberLeavesTheRest) {
  const auto number = text::leadingNumber<int>("34>text");
  ASSERT_TRUE(number.has_value());
  EXPECT_EQ(number->value, 34);
  EXPECT_EQ(number->rest, ">text");
  EXPECT_FALSE(text::leadingNumber<int>(">34"));
}

TEST(TextTest, TrimsBothEndsAndNothingElse) {
  EXPECT_EQ(text::trimmed(" \ta b\t ", " \t"), "a b");
  EXPECT_EQ(text::trimmed("a\r", " \t"), "a\r");
  EXPECT_EQ(text::trimmed(" \t ", " \t"), "");
  EXPECT_EQ(text::trimmed("", " "), "");
}

TEST(TextTest, WordsStandBetweenBlanksHoweverMany) {
  using Words = std::vector<std::string_view>;
  EXPECT_EQ(text::words("  1.0   OK ", " "), (Words{"1.0", "OK"}));
  EXPECT_EQ(text::words("a\tb c", " "), (Words{"a\tb", "c"}));
  EXPECT_EQ(text::words("a\tb c\n", " \t\n"), (Words{"a", "b", "c"}));
  EXPECT_EQ(text::words("word", " "), Words{"word"});
  EXPECT_EQ(text::words("   ", " "), Words{});
  EXPECT_EQ(text::words("", " "), Words{});
}

TEST(TextTest, FormatsAsPrintfDoes) {
  EXPECT_EQ(text::formatted("%05.1f|%-4s|%d%%", 2.25, "ab", 7), "002.2|ab  |7%");
  EXPECT_EQ(text::formatted("%s", ""), "");
}

TEST(TextTest, FormatsTextsOfAnyLength) {
  for (const std::size_t length : {254U, 255U, 256U, 257U, 5000U}) {
    const std::string longer(length, 'x');
    EXPECT_EQ(text::formatted("%s", longer.c_str()), longer) << length;
  }
}

}  // namespace
