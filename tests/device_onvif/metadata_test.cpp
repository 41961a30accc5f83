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

// Of a picture of 1920 x 1080, as places are told wrongly on purpose.
TEST(MetadataTest, PlacesInPixelsHaveTheirTransformationOrNot) {
  const Frame frame{.timestamp = 1, .objects = {object()}, .events = {}};
  const auto told = [&](PlaceCoordinates coordinates) {
    return CallAnswer(
        analyticsDocument(frame, cameraOf(0), NEW_YEAR, {.coordinates = coordinates}));
  };
  const double width = cameraOf(0).pictureWidth();
  const double height = cameraOf(0).pictureHeight();
  const CallAnswer bare = told(PlaceCoordinates::barePixels);
  EXPECT_EQ(width / 4, bare.at("BoundingBox").number("left"));
  EXPECT_EQ(height * 3 / 8, bare.at("BoundingBox").number("top"));
  EXPECT_EQ(width / 2, bare.at("BoundingBox").number("right"));
  EXPECT_EQ(height / 2, bare.at("BoundingBox").number("bottom"));
  EXPECT_EQ(0, bare.count("Transformation"));
  const CallAnswer whole = told(PlaceCoordinates::transformedPixels);
  const CallAnswer box = whole.at("BoundingBox");
  const CallAnswer scale = whole.at("Scale");
  const CallAnswer shift = whole.at("Translate");
  EXPECT_NEAR(-0.5, box.number("left") * scale.number("x") + shift.number("x"), 1e-9);
  EXPECT_NEAR(0.25, box.number("top") * scale.number("y") + shift.number("y"), 1e-9);
}

TEST(MetadataTest, NewNamesAreToldFirst) {
  const CallAnswer stream(analyticsDocument(
      {.timestamp = 1, .objects = {}, .events = {{FrameAction::deletion, {3}, {}}}}, cameraOf(0),
      NEW_YEAR, {.renames = {{12, 13}}}));
  EXPECT_EQ("12", stream.at("Rename").at("from").attribute("ObjectId"));
  EXPECT_EQ("13", stream.at("Rename").at("to").attribute("ObjectId"));
  EXPECT_EQ(1, stream.count("Delete"));
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
