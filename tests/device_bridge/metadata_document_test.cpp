#include "onvif_client/metadata_document.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace device::onvif {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

// 2026-01-01T12:00:00Z, as the calendar has it.
constexpr std::int64_t NOON = 1767268800LL * 1000000;

std::string documentOf(const std::string& content) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><tt:MetadataStream "
         "xmlns:tt=\"http://www.onvif.org/ver10/schema\">" +
         content + "</tt:MetadataStream>";
}

std::string frameOf(const std::string& content, const std::string& attributes = "") {
  return documentOf("<tt:VideoAnalytics><tt:Frame " + attributes + ">" + content +
                    "</tt:Frame></tt:VideoAnalytics>");
}

std::string objectOf(const std::string& shape, const std::string& more = "") {
  return "<tt:Object ObjectId=\"12\"><tt:Appearance>" + shape + "</tt:Appearance>" + more +
         "</tt:Object>";
}

SeenObject readObject(const std::string& document, const PixelSize& pixels = {}) {
  const MetadataDocument read = readMetadata(document, pixels);
  EXPECT_THAT(read.frames, SizeIs(1));
  EXPECT_THAT(read.frames.at(0).objects, SizeIs(1));
  return read.frames.at(0).objects.at(0);
}

std::string complaintOf(const std::string& document) {
  try {
    readMetadata(document);
    return "";
  } catch (const MetadataError& error) {
    return error.what();
  }
}

constexpr char BOX[] =
    R"(<tt:Shape><tt:BoundingBox left="-0.5" top="0.4" right="-0.25" bottom="0"/>
       <tt:CenterOfGravity x="-0.375" y="0.25"/></tt:Shape>)";

TEST(MetadataDocumentTest, ReadsTimeSourceBoxAndCentreOfAPlainFrame) {
  const MetadataDocument read = readMetadata(
      frameOf(objectOf(BOX), R"(UtcTime="2026-01-01T12:00:00.123Z" Source="tracker")"));
  ASSERT_THAT(read.frames, SizeIs(1));
  EXPECT_EQ(NOON + 123000, read.frames[0].time);
  EXPECT_EQ("tracker", read.frames[0].source);
  const SeenObject& object = read.frames[0].objects.at(0);
  EXPECT_EQ("12", object.id);
  EXPECT_EQ((SeenBox{-0.5, 0, -0.25, 0.4}), object.box);
  EXPECT_EQ((SeenPoint{-0.375, 0.25}), object.centre);
}

TEST(MetadataDocumentTest, TimesMayLackTheirZoneAndHaveUpToSevenDigits) {
  for (const auto& [text, microseconds] :
       std::initializer_list<std::pair<const char*, std::int64_t>>{
           {"2026-01-01T12:00:00", 0},
           {"2026-01-01T12:00:00Z", 0},
           {"2026-01-01T12:00:00.5", 500000},
           {"2026-01-01T12:00:00.1234567Z", 123456},
           {"2026-01-01T14:00:00.25+02:00", 250000}}) {
    const auto time = readMetadata(frameOf("", std::string("UtcTime=\"") + text + "\"")).frames[0];
    ASSERT_TRUE(time.time) << text;
    EXPECT_NEAR(static_cast<double>(NOON + microseconds), static_cast<double>(*time.time), 1)
        << text;
  }
  EXPECT_FALSE(readMetadata(frameOf("", "UtcTime=\"noon\"")).frames[0].time);
}

// Pixels of 1920 x 1080 with y downwards: x / 960 - 1, 1 - y / 540.
TEST(MetadataDocumentTest, TransformationOfTheFrameLeadsToThePicture) {
  const SeenObject object = readObject(frameOf(
      R"(<tt:Transformation><tt:Translate x="-1" y="1"/><tt:Scale x="0.0010416666666666667"
          y="-0.001851851851851852"/></tt:Transformation>)" +
      objectOf(R"(<tt:Shape><tt:BoundingBox left="96" top="54" right="192" bottom="270"/>
                  <tt:CenterOfGravity x="144" y="162"/></tt:Shape>)")));
  ASSERT_TRUE(object.box);
  EXPECT_NEAR(-0.9, object.box->left, 1e-9);
  EXPECT_NEAR(-0.8, object.box->right, 1e-9);
  EXPECT_NEAR(0.9, object.box->top, 1e-9);
  EXPECT_NEAR(0.5, object.box->bottom, 1e-9);
  ASSERT_TRUE(object.centre);
  EXPECT_NEAR(-0.85, object.centre->x, 1e-9);
  EXPECT_NEAR(0.7, object.centre->y, 1e-9);
}

// Inner: 0.5 * 0.2 + 0.1 = 0.2; outer: 2 * 0.2 - 0.3 = 0.1. The other way round it would be
// 0.5 * (2 * 0.2 - 0.3) + 0.1 = 0.15.
TEST(MetadataDocumentTest, TransformationOfTheAppearanceIsAppliedBeforeThatOfTheFrame) {
  const SeenObject object = readObject(
      frameOf(R"(<tt:Transformation><tt:Translate x="-0.3" y="0"/><tt:Scale x="2" y="1"/>
                 </tt:Transformation>)" +
              objectOf(R"(<tt:Transformation><tt:Translate x="0.1" y="0"/><tt:Scale x="0.5" y="1"/>
                          </tt:Transformation><tt:Shape><tt:CenterOfGravity x="0.2" y="0.6"/>
                          </tt:Shape>)")));
  ASSERT_TRUE(object.centre);
  EXPECT_NEAR(0.1, object.centre->x, 1e-12);
  EXPECT_NEAR(0.6, object.centre->y, 1e-12);
}

TEST(MetadataDocumentTest, SwappedTopAndBottomAreABoxAllTheSame) {
  EXPECT_EQ(
      (SeenBox{-0.5, 0, -0.25, 0.4}),
      readObject(frameOf(objectOf(
                     R"(<tt:Shape><tt:BoundingBox left="-0.25" top="0" right="-0.5" bottom="0.4"/>
                        </tt:Shape>)")))
          .box);
}

constexpr char PIXEL_BOX[] =
    R"(<tt:Shape><tt:BoundingBox left="160" top="0" right="320" bottom="180"/></tt:Shape>)";

TEST(MetadataDocumentTest, PixelsWithoutTransformationNeedTheUsersSize) {
  EXPECT_THAT(complaintOf(frameOf(objectOf(PIXEL_BOX))), HasSubstr("pixels"));
  // Of 640 x 360: 2 * 160 / 640 - 1 = -0.5, 1 - 2 * 180 / 360 = 0.
  EXPECT_EQ((SeenBox{-0.5, 0, 0, 1}), readObject(frameOf(objectOf(PIXEL_BOX)), {640, 360}).box);
}

TEST(MetadataDocumentTest, LargestPolygonCountsAndGoesCounterClockwise) {
  const SeenObject object = readObject(frameOf(objectOf(
      R"(<tt:Shape><tt:Polygon><tt:Point x="0" y="0"/><tt:Point x="0.1" y="0"/>
         <tt:Point x="0" y="0.1"/></tt:Polygon>
         <tt:Polygon><tt:Point x="0" y="0"/><tt:Point x="0" y="0.5"/><tt:Point x="0.5" y="0"/>
         </tt:Polygon></tt:Shape>)")));
  EXPECT_THAT(object.outline, ElementsAre(SeenPoint{0.5, 0}, SeenPoint{0, 0.5}, SeenPoint{0, 0}));
}

TEST(MetadataDocumentTest, ClassesComeInTheNewFormAndInTheOld) {
  const SeenObject object = readObject(frameOf(objectOf(
      R"(<tt:Class><tt:ClassCandidate><tt:Type>Vehical</tt:Type><tt:Likelihood>0.25</tt:Likelihood>
         </tt:ClassCandidate><tt:Extension><tt:OtherTypes><tt:Type>Bag</tt:Type>
         <tt:Likelihood>0.5</tt:Likelihood></tt:OtherTypes></tt:Extension>
         <tt:Type Likelihood="0.75">Human</tt:Type><tt:Type>Face</tt:Type></tt:Class>)")));
  std::string text;
  for (const SeenClass& one : object.classes) {
    text += one.name + " " + std::to_string(one.likelihood).substr(0, 4) + " ";
  }
  EXPECT_EQ("Vehical 0.25 Bag 0.50 Human 0.75 Face 1.00 ", text);
}

TEST(MetadataDocumentTest, BehaviourTellsWhatStandsAndWhatWasTakenAway) {
  EXPECT_TRUE(readObject(frameOf(objectOf(BOX, "<tt:Behaviour><tt:Idle/></tt:Behaviour>"))).isIdle);
  EXPECT_TRUE(
      readObject(frameOf(objectOf(BOX, "<tt:Behaviour><tt:Removed/></tt:Behaviour>"))).isRemoved);
}

TEST(MetadataDocumentTest, ChangesComeInTheirOrderWithSmallLettersOrLarge) {
  const auto changes =
      readMetadata(frameOf(R"(<tt:ObjectTree><tt:Rename><tt:from ObjectId="1"/><tt:to ObjectId="2"/>
                     </tt:Rename><tt:Split><tt:From ObjectId="3"/><tt:To ObjectId="4"/>
                     <tt:To ObjectId="3"/></tt:Split><tt:Merge><tt:from ObjectId="5"/>
                     <tt:from ObjectId="6"/><tt:to ObjectId="5"/></tt:Merge>
                     <tt:Delete ObjectId="9"/></tt:ObjectTree>)"))
          .frames.at(0)
          .changes;
  ASSERT_THAT(changes, SizeIs(4));
  EXPECT_EQ(SeenAction::rename, changes[0].action);
  EXPECT_EQ(SeenAction::split, changes[1].action);
  EXPECT_THAT(changes[1].from, ElementsAre("3"));
  EXPECT_THAT(changes[1].to, ElementsAre("4", "3"));
  EXPECT_EQ(SeenAction::merge, changes[2].action);
  EXPECT_THAT(changes[2].from, ElementsAre("5", "6"));
  EXPECT_THAT(changes[2].to, ElementsAre("5"));
  EXPECT_EQ(SeenAction::deletion, changes[3].action);
  EXPECT_THAT(changes[3].from, ElementsAre("9"));
}

TEST(MetadataDocumentTest, ObjectIsKnownByItsUuidWhereItHasNoNumber) {
  const MetadataDocument read = readMetadata(
      frameOf("<tt:Object UUID=\"a-b\"/><tt:Object/><tt:Object ObjectId=\"99999999999999\"/>"));
  ASSERT_THAT(read.frames.at(0).objects, SizeIs(2));
  EXPECT_EQ("a-b", read.frames[0].objects[0].id);
  EXPECT_EQ("99999999999999", read.frames[0].objects[1].id);
}

TEST(MetadataDocumentTest, HeadIsReadOfItsOwnPartAndOfFrames) {
  constexpr char STATUS[] =
      R"(<tt:PTZStatus><tt:Position><tt:PanTilt x="0.25" y="-0.5"/><tt:Zoom x="+0.1"/></tt:Position>
         <tt:MoveStatus><tt:PanTilt>MOVING</tt:PanTilt><tt:Zoom>UNKNOWN</tt:Zoom></tt:MoveStatus>
         <tt:FieldOfView hfov="31.5" vfov="18"/></tt:PTZStatus>)";
  const MetadataDocument read = readMetadata(
      documentOf(std::string("<tt:PTZ>") + STATUS + "</tt:PTZ><tt:VideoAnalytics><tt:Frame>" +
                 STATUS + "</tt:Frame></tt:VideoAnalytics>"));
  ASSERT_THAT(read.head, SizeIs(2));
  for (const HeadReading& head : read.head) {
    EXPECT_DOUBLE_EQ(0.25, head.panTilt->x);
    EXPECT_DOUBLE_EQ(-0.5, head.panTilt->y);
    EXPECT_DOUBLE_EQ(0.1, head.zoom->x);
    EXPECT_EQ(true, head.panTiltMoves);
    EXPECT_FALSE(head.zoomMoves);
    EXPECT_EQ(31.5, head.fieldAngle);
  }
}

TEST(MetadataDocumentTest, TheOldNameOfTheRootIsReadToo) {
  EXPECT_THAT(readMetadata("<MetaDataStream xmlns=\"http://www.onvif.org/ver10/schema\">"
                           "<VideoAnalytics><Frame/></VideoAnalytics></MetaDataStream>")
                  .frames,
              SizeIs(1));
}

TEST(MetadataDocumentTest, WhatIsNoDocumentIsRefusedInWords) {
  EXPECT_THAT(complaintOf("$EXI\xA0"), HasSubstr("EXI"));
  EXPECT_THAT(complaintOf("\x80\x40\x10"), HasSubstr("EXI"));
  EXPECT_THAT(complaintOf("<tt:MetadataStream"), HasSubstr("cannot be read"));
  EXPECT_THAT(complaintOf("<a/>"), HasSubstr("is none"));
  EXPECT_THAT(complaintOf("<!DOCTYPE a><a/>"), HasSubstr("cannot be read"));
}

TEST(MetadataDocumentTest, WhatHasNoNumbersIsLeftOut) {
  const SeenObject object = readObject(
      frameOf(objectOf(R"(<tt:Shape><tt:BoundingBox left="a" top="0" right="0" bottom="0"/>
                          <tt:CenterOfGravity x="nan" y="0"/></tt:Shape>)")));
  EXPECT_FALSE(object.box);
  EXPECT_FALSE(object.centre);
}

}  // namespace
}  // namespace device::onvif
