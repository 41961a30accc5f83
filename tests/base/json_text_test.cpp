#include "base/json_text.h"

#include <gtest/gtest.h>

#include <cmath>

#include "base/json_auto_ptr.h"

namespace {

TEST(JsonTextTest, WritesByJanssonsFlags) {
  const JsonAutoPtr value(json_pack("{s:f, s:[i]}", "a", 0.123456, "b", 1));
  EXPECT_EQ(toText(value.get(), JSON_COMPACT | JSON_REAL_PRECISION(3)), R"({"a":0.123,"b":[1]})");
}

TEST(JsonTextTest, WhatCannotBeWrittenIsEmpty) {
  EXPECT_EQ(toText(nullptr, JSON_COMPACT), "");
  const JsonAutoPtr bare(json_integer(1));
  EXPECT_EQ(toText(bare.get(), JSON_COMPACT), "");
  EXPECT_EQ(toText(bare.get(), JSON_COMPACT | JSON_ENCODE_ANY), "1");
}

TEST(JsonTextTest, AReadTextIsItsDocument) {
  const JsonRead read = readJson(R"({"a": 1})");
  EXPECT_EQ(json_integer_value(json_object_get(read.document.get(), "a")), 1);
  EXPECT_EQ(read.error, "");
}

TEST(JsonTextTest, WhatCannotBeReadHasAnErrorInstead) {
  for (const char* text : {"", "{", "17", "{} {}"}) {
    json_error_t expected{};
    ASSERT_EQ(json_loads(text, 0, &expected), nullptr) << text;
    const JsonRead read = readJson(text);
    EXPECT_FALSE(read.document) << text;
    EXPECT_EQ(read.error, expected.text) << text;
  }
}

}  // namespace
