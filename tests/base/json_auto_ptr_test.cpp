#include "base/json_auto_ptr.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

TEST(JsonAutoPtrTest, StartsEmpty) {
  const JsonAutoPtr value;
  EXPECT_FALSE(value);
  EXPECT_EQ(value.get(), nullptr);
}

TEST(JsonAutoPtrTest, NullIsAllowed) {
  JsonAutoPtr value(nullptr);
  const JsonAutoPtr copy(value);
  EXPECT_FALSE(copy);
  value.free();
  EXPECT_EQ(value.release(), nullptr);
}

TEST(JsonAutoPtrTest, TakesOverTheReferenceAndReleasesIt) {
  json_t* const json = json_object();
  json_incref(json);
  {
    const JsonAutoPtr value(json);
    EXPECT_EQ(value.get(), json);
    EXPECT_TRUE(value);
    EXPECT_EQ(json->refcount, 2U);
  }
  EXPECT_EQ(json->refcount, 1U);
  json_decref(json);
}

TEST(JsonAutoPtrTest, ACopyTakesAReferenceOfItsOwn) {
  const JsonAutoPtr value(json_object());
  {
    const JsonAutoPtr copy(value);
    EXPECT_EQ(copy.get(), value.get());
    EXPECT_EQ(value.get()->refcount, 2U);
  }
  EXPECT_EQ(value.get()->refcount, 1U);
}

TEST(JsonAutoPtrTest, AssignmentReleasesTheOldValue) {
  json_t* const old = json_object();
  json_incref(old);
  JsonAutoPtr value(old);
  const JsonAutoPtr other(json_array());
  value = other;
  EXPECT_EQ(old->refcount, 1U);
  EXPECT_EQ(value.get(), other.get());
  EXPECT_EQ(other.get()->refcount, 2U);
  json_decref(old);
}

TEST(JsonAutoPtrTest, AssigningItselfChangesNothing) {
  JsonAutoPtr value(json_object());
  const JsonAutoPtr& same = value;
  value = same;
  ASSERT_TRUE(value);
  EXPECT_EQ(value.get()->refcount, 1U);
}

TEST(JsonAutoPtrTest, AMoveHandsTheReferenceOver) {
  JsonAutoPtr value(json_object());
  json_t* const json = value.get();
  const JsonAutoPtr moved(std::move(value));
  EXPECT_EQ(moved.get(), json);
  EXPECT_EQ(json->refcount, 1U);
}

TEST(JsonAutoPtrTest, ReleaseGivesTheReferenceUp) {
  JsonAutoPtr value(json_object());
  json_t* const json = value.release();
  EXPECT_FALSE(value);
  EXPECT_EQ(json->refcount, 1U);
  json_decref(json);
}

TEST(JsonAutoPtrTest, FreeReleasesTheReference) {
  JsonAutoPtr value(json_object());
  json_t* const json = json_incref(value.get());
  value.free();
  EXPECT_FALSE(value);
  EXPECT_EQ(json->refcount, 1U);
  json_decref(json);
}

}  // namespace
