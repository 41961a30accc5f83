#include "config/json_parser.h"

#include <gtest/gtest.h>

namespace {

TEST(JsonParserTest, StartsWithoutADocument) {
  const JsonParser parser;
  EXPECT_FALSE(parser.isValid());
  EXPECT_EQ(parser.get(), nullptr);
}

TEST(JsonParserTest, DecodesAnObject) {
  JsonParser parser;
  EXPECT_TRUE(parser.decode(R"({"a": 1})"));
  EXPECT_TRUE(parser.isValid());
  EXPECT_EQ(json_integer_value(json_object_get(parser.get(), "a")), 1);
}

TEST(JsonParserTest, ATextThatIsNoJsonIsRefusedWithTheLibrarysError) {
  constexpr const char* TEXT = R"({"a": })";
  json_error_t expected;
  ASSERT_EQ(json_loads(TEXT, 0, &expected), nullptr);
  JsonParser parser;
  EXPECT_FALSE(parser.decode(TEXT));
  EXPECT_FALSE(parser.isValid());
  EXPECT_EQ(parser.getError(), expected.text);
  EXPECT_NE(parser.getError(), "");
}

TEST(JsonParserTest, AnEmptyTextIsRefused) {
  JsonParser parser;
  EXPECT_FALSE(parser.decode(""));
  EXPECT_NE(parser.getError(), "");
}

TEST(JsonParserTest, DecodingReplacesTheDocument) {
  JsonParser parser;
  parser.decode(R"({"a": 1})");
  EXPECT_TRUE(parser.decode(R"({"b": 2})"));
  EXPECT_EQ(json_object_get(parser.get(), "a"), nullptr);
  EXPECT_EQ(json_integer_value(json_object_get(parser.get(), "b")), 2);
}

TEST(JsonParserTest, AFailedDecodingLeavesNoDocument) {
  JsonParser parser;
  parser.decode(R"({"a": 1})");
  EXPECT_FALSE(parser.decode("nonsense"));
  EXPECT_FALSE(parser.isValid());
}

TEST(JsonParserTest, LetsGoOfTheDocument) {
  JsonParser parser;
  parser.decode("{}");
  json_t* const document = json_incref(parser.get());
  parser.decref();
  EXPECT_FALSE(parser.isValid());
  EXPECT_EQ(document->refcount, 1U);
  json_decref(document);
  parser.decref();
}

TEST(JsonParserTest, FindsMembersOfTheRightKind) {
  JsonParser parser;
  parser.decode(R"({"list": [1], "object": {"x": 1}, "number": 3})");
  EXPECT_EQ(json_array_size(JsonParser::getArray(parser.get(), "list")), 1U);
  EXPECT_NE(JsonParser::getObject(parser.get(), "object"), nullptr);
}

TEST(JsonParserTest, MembersOfAnotherKindAreNotFound) {
  JsonParser parser;
  parser.decode(R"({"list": [1], "object": {"x": 1}, "number": 3, "nothing": null})");
  EXPECT_EQ(JsonParser::getArray(parser.get(), "object"), nullptr);
  EXPECT_EQ(JsonParser::getObject(parser.get(), "list"), nullptr);
  for (const char* key : {"number", "nothing", "absent"}) {
    EXPECT_EQ(JsonParser::getArray(parser.get(), key), nullptr) << key;
    EXPECT_EQ(JsonParser::getObject(parser.get(), key), nullptr) << key;
  }
}

TEST(JsonParserTest, NothingIsFoundInNothing) {
  EXPECT_EQ(JsonParser::getArray(nullptr, "list"), nullptr);
  EXPECT_EQ(JsonParser::getObject(nullptr, "object"), nullptr);
}

}  // namespace
