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

}  // namespace
