#include "onvif_server/metadata.h"

#include <gtest/gtest.h>

#include "device_onvif/call.h"

namespace device::onvif {
namespace {

constexpr std::int64_t NEW_YEAR = 1767225600000000;  // 2026-01-01T00:00:00Z

OverviewCamera cameraOf(int rotation) {
  return OverviewCamera(
      {.position = {0, 0, 5}, .horizontalFov = 60, .rotation = rotation, .distortion = {}});
}

// 2048 is half of the way from the centre to the edge.
FrameObject object() {
  return {.id = 12,
          .box = {{{-2048, 0}, {-2048, 1024}, {0, 1024}, {0, 0}}},
          .outline = {{-2048, 0}, {-1024, 1024}, {0, 0}},
          .velocity = {},
          .confidence = 2048};
}

CallAnswer read(const Frame& frame, int rotation = 0) {
  return CallAnswer(analyticsDocument(frame, cameraOf(rotation), NEW_YEAR + 1234000));
}

TEST(MetadataTest, FrameTellsItsTimeAndEachObjectsShape) {
  const CallAnswer stream = read({.timestamp = 1, .objects = {object()}, .events = {}});
  EXPECT_EQ("MetadataStream", stream.name());
  EXPECT_EQ("2026-01-01T00:00:01.234Z", stream.at("Frame").attribute("UtcTime"));
  EXPECT_EQ("12", stream.at("Object").attribute("ObjectId"));
  const CallAnswer box = stream.at("BoundingBox");
  EXPECT_EQ(-0.5, box.number("left"));
  EXPECT_EQ(0.25, box.number("top"));
  EXPECT_EQ(0, box.number("right"));
  EXPECT_EQ(0, box.number("bottom"));
  // The mean of the outline: (-0.5 - 0.25 + 0) / 3 and (0 + 0.25 + 0) / 3.
  EXPECT_NEAR(-0.25, stream.at("CenterOfGravity").number("x"), 1e-4);
  EXPECT_NEAR(0.0833, stream.at("CenterOfGravity").number("y"), 1e-4);
  EXPECT_EQ(3, stream.count("Point"));
  EXPECT_EQ(-0.25, stream.at("Point", 1).number("x"));
  EXPECT_EQ("Human", stream.at("Type").text());
  EXPECT_EQ("0.5", stream.at("Type").attribute("Likelihood"));
  EXPECT_EQ(0, stream.count("ObjectTree"));
}

// A receiver turns scene coordinates of a sensor at 90 degrees to (y, -x).
TEST(MetadataTest, ShapesLieInTheUprightPicture) {
  const CallAnswer box =
      read({.timestamp = 1, .objects = {object()}, .events = {}}, 90).at("BoundingBox");
  EXPECT_EQ(0, box.number("left"));
  EXPECT_EQ(0.25, box.number("right"));
  EXPECT_EQ(0.5, box.number("top"));
  EXPECT_EQ(0, box.number("bottom"));
}

TEST(MetadataTest, TreeTellsSplitsAndMergesBeforeDeletions) {
  const CallAnswer tree =
      read({.timestamp = 1,
            .objects = {},
            .events = {{.action = FrameAction::deletion, .from = {9, 8}, .to = {}},
                       {.action = FrameAction::merge, .from = {3}, .to = {4}},
                       {.action = FrameAction::split, .from = {5}, .to = {6}}}})
          .at("ObjectTree");
  EXPECT_EQ(2, tree.count("Delete"));
  EXPECT_EQ("8", tree.at("Delete", 1).attribute("ObjectId"));
  const CallAnswer merge = tree.at("Merge");
  EXPECT_EQ("3", merge.at("from").attribute("ObjectId"));
  EXPECT_EQ("4", merge.at("from", 1).attribute("ObjectId"));
  EXPECT_EQ("3", merge.at("to").attribute("ObjectId"));
  const CallAnswer split = tree.at("Split");
  EXPECT_EQ("5", split.at("from").attribute("ObjectId"));
  EXPECT_EQ("6", split.at("to").attribute("ObjectId"));
  EXPECT_EQ("5", split.at("to", 1).attribute("ObjectId"));
  const std::string text =
      analyticsDocument({.timestamp = 1,
                         .objects = {},
                         .events = {{.action = FrameAction::deletion, .from = {9}, .to = {}},
                                    {.action = FrameAction::split, .from = {5}, .to = {6, 7}}}},
                        cameraOf(0), NEW_YEAR);
  EXPECT_LT(text.find("Split"), text.find("Delete"));
}

TEST(MetadataTest, EventsAreTheMessagesOfPullPoints) {
  const CallAnswer stream(eventDocument({{.topic = {ns::TOPICS, {"VideoSource", "MotionAlarm"}},
                                          .source = {{"Source", "source_overview1"}},
                                          .data = {{"State", "true"}},
                                          .operation = PropertyOperation::changed,
                                          .time = NEW_YEAR}}));
  EXPECT_EQ("tns1:VideoSource/MotionAlarm", stream.at("Event").at("Topic").text());
  EXPECT_EQ("Changed", stream.at("Message").at("Message").attribute("PropertyOperation"));
}

}  // namespace
}  // namespace device::onvif
