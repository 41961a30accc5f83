#include "onvif/topic.h"

#include <gtest/gtest.h>

#include "onvif/fault.h"

namespace device::onvif {
namespace {

constexpr char TOPICS[] = "http://www.onvif.org/ver10/topics";
const Topic MOTION{TOPICS, {"VideoSource", "MotionAlarm"}};
const Topic CELL{TOPICS, {"RuleEngine", "CellMotionDetector", "Motion"}};

TopicFilter filterOf(const std::string& content) {
  const XmlDocument document(
      "<f xmlns:n=\"http://docs.oasis-open.org/wsn/b-2\" xmlns:t=\"http://www.onvif.org/ver10/"
      "topics\">" +
      content + "</f>");
  return TopicFilter(document.root());
}

TopicFilter expression(const std::string& text) {
  return filterOf(
      "<n:TopicExpression Dialect=\"http://www.onvif.org/ver10/tev/topicExpression/"
      "ConcreteSet\">" +
      text + "</n:TopicExpression>");
}

TEST(TopicTest, WithoutExpressionEverythingPasses) {
  EXPECT_TRUE(TopicFilter().passes(MOTION));
  EXPECT_TRUE(filterOf("").passes(MOTION));
  EXPECT_TRUE(filterOf("<n:MessageContent/>").passes(MOTION));
}

TEST(TopicTest, PathIsThatTopicAlone) {
  const TopicFilter filter = expression("t:VideoSource/MotionAlarm");
  EXPECT_TRUE(filter.passes(MOTION));
  EXPECT_FALSE(filter.passes(CELL));
  EXPECT_FALSE(filter.passes({TOPICS, {"VideoSource"}}));
  EXPECT_FALSE(filter.passes({TOPICS, {"VideoSource", "MotionAlarm", "More"}}));
  EXPECT_FALSE(filter.passes({"urn:other", {"VideoSource", "MotionAlarm"}}));
}

TEST(TopicTest, SubtreeIsTheTopicAndAllBelow) {
  const TopicFilter filter = expression("t:RuleEngine//.");
  EXPECT_TRUE(filter.passes(CELL));
  EXPECT_TRUE(filter.passes({TOPICS, {"RuleEngine"}}));
  EXPECT_FALSE(filter.passes(MOTION));
}

TEST(TopicTest, ExpressionsAreAlternatives) {
  const TopicFilter filter = expression(" t:VideoSource/MotionAlarm | t:RuleEngine//. ");
  EXPECT_TRUE(filter.passes(MOTION));
  EXPECT_TRUE(filter.passes(CELL));
  EXPECT_FALSE(filter.passes({TOPICS, {"PTZController"}}));
}

TEST(TopicTest, StarIsAnyOneLevel) {
  const TopicFilter filter = expression("t:RuleEngine/*/Motion");
  EXPECT_TRUE(filter.passes(CELL));
  EXPECT_FALSE(filter.passes({TOPICS, {"RuleEngine", "Motion"}}));
}

TEST(TopicTest, LevelsMayRepeatTheirPrefix) {
  EXPECT_TRUE(expression("t:VideoSource/t:MotionAlarm").passes(MOTION));
}

TEST(TopicTest, WhatCannotBeUnderstoodIsAFault) {
  EXPECT_THROW(expression("unknown:A"), Fault);
  EXPECT_THROW(expression("A"), Fault);  // there is no default vocabulary
  EXPECT_THROW(expression(""), Fault);
  EXPECT_THROW(expression("t:"), Fault);
  EXPECT_THROW(expression("t:A//B"), Fault);
  EXPECT_THROW(expression("t:A|"), Fault);
  EXPECT_THROW(filterOf("<n:TopicExpression Dialect=\"urn:x\">t:A</n:TopicExpression>"), Fault);
  EXPECT_THROW(filterOf("<n:MessageContent>boolean(1)</n:MessageContent>"), Fault);
  std::string many = "t:A";
  for (int i = 0; i < 100; ++i) {
    many += "|t:A";
  }
  EXPECT_THROW(expression(many), Fault);
}

}  // namespace
}  // namespace device::onvif
