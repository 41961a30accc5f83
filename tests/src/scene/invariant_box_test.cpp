#include "scene/invariant_box.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <string>

#include "fakes/log_capture.h"

namespace {

// Odd sizes: halves are 3 and 5, quarters 1 and 2.
constexpr int WIDTH = 7;
constexpr int HEIGHT = 11;
const Point CENTRE = {100, -200};

InvariantBox box(int rotation) {
  return InvariantBox(WIDTH, HEIGHT, rotation, 1.5f);
}

TEST(InvariantBox, SizeIsTurnedUpright) {
  for (const int rotation : {0, 180}) {
    EXPECT_EQ(WIDTH, box(rotation).getWidth()) << rotation;
    EXPECT_EQ(HEIGHT, box(rotation).getHeight()) << rotation;
  }
  for (const int rotation : {90, 270}) {
    EXPECT_EQ(HEIGHT, box(rotation).getWidth()) << rotation;
    EXPECT_EQ(WIDTH, box(rotation).getHeight()) << rotation;
  }
}

TEST(InvariantBox, KnownRotationsAreSilent) {
  const LogCapture log;
  for (const int rotation : {0, 90, 180, 270}) {
    box(rotation);
  }
  EXPECT_TRUE(log.lines().empty());
}

TEST(InvariantBox, AnotherRotationIsTakenAfterAWarning) {
  const LogCapture log;
  const InvariantBox turned = box(45);
  EXPECT_EQ(1, log.count(LOG_WARNING, "Unexpected camera rotation 45\n"));
  EXPECT_EQ(HEIGHT, turned.getWidth());
  EXPECT_EQ(WIDTH, turned.getHeight());
  box(-90);
  EXPECT_EQ(1, log.count(LOG_WARNING, "Unexpected camera rotation -90\n"));
}

TEST(InvariantBox, CorrectedWidthIsInUnitsOfThePicturesHeight) {
  EXPECT_EQ(11, box(0).getAspectCorrectedWidth());  // 7 * 1.5 = 10.5, rounded up
  EXPECT_EQ(11, box(180).getAspectCorrectedWidth());
  EXPECT_EQ(7, box(90).getAspectCorrectedWidth());  // 11 / 1.5 = 7.33
  EXPECT_EQ(7, box(270).getAspectCorrectedWidth());
  EXPECT_EQ(9, InvariantBox(1, 13, 90, 1.5f).getAspectCorrectedWidth());  // 8.67
}

TEST(InvariantBox, CorrectedHeightIsTheHeight) {
  EXPECT_EQ(HEIGHT, box(0).getAspectCorrectedHeight());
  EXPECT_EQ(HEIGHT, box(180).getAspectCorrectedHeight());
  EXPECT_EQ(WIDTH, box(90).getAspectCorrectedHeight());
  EXPECT_EQ(WIDTH, box(270).getAspectCorrectedHeight());
}

TEST(InvariantBox, FeetAreAtTheSideThatIsDown) {
  EXPECT_EQ(-205, box(0).getFootPositionValue(CENTRE));
  EXPECT_EQ(-195, box(180).getFootPositionValue(CENTRE));
  EXPECT_EQ(103, box(90).getFootPositionValue(CENTRE));
  EXPECT_EQ(97, box(270).getFootPositionValue(CENTRE));
}

TEST(InvariantBox, FootBoxIsTheQuarterNearestTheFeet) {
  EXPECT_TRUE(Polygon(97, 103, -205, -202) == box(0).getFootBox(CENTRE));
  EXPECT_TRUE(Polygon(97, 103, -198, -195) == box(180).getFootBox(CENTRE));
  EXPECT_TRUE(Polygon(97, 99, -205, -195) == box(270).getFootBox(CENTRE));
  EXPECT_TRUE(Polygon(101, 103, -205, -195) == box(90).getFootBox(CENTRE));
}

TEST(InvariantBox, ViewedLowerLeftTurnsWithThePicture) {
  EXPECT_EQ((Point{97, -205}), box(0).getViewedLowerLeft(CENTRE));
  EXPECT_EQ((Point{103, -195}), box(180).getViewedLowerLeft(CENTRE));
  EXPECT_EQ((Point{103, -205}), box(90).getViewedLowerLeft(CENTRE));
  EXPECT_EQ((Point{97, -195}), box(270).getViewedLowerLeft(CENTRE));
}

TEST(InvariantBox, UpdateTakesTheNewSize) {
  InvariantBox updated = box(90);
  updated.update(20, 30);
  EXPECT_EQ(30, updated.getWidth());
  EXPECT_EQ(20, updated.getHeight());
}

TEST(InvariantBox, MergeTakesTheLargerOfEachSize) {
  const LogCapture log;
  InvariantBox merged(10, 20, 90, 1.5f);
  merged.merge(InvariantBox(5, 30, 90, 1.5f));
  EXPECT_EQ(30, merged.getWidth());
  EXPECT_EQ(10, merged.getHeight());
  merged.merge(InvariantBox(15, 1, 90, 1.5f));
  EXPECT_EQ(30, merged.getWidth());
  EXPECT_EQ(15, merged.getHeight());
  EXPECT_TRUE(log.lines().empty());
}

TEST(InvariantBox, MergeWithAnotherRotationIsRefused) {
  const LogCapture log;
  InvariantBox merged(10, 20, 0, 1.5f);
  merged.merge(InvariantBox(100, 200, 90, 1.5f));
  EXPECT_EQ(10, merged.getWidth());
  EXPECT_EQ(20, merged.getHeight());
  EXPECT_EQ(1, log.count("Cannot merge two Invariant boxes with different aspect ratio or image "
                         "rotation,box 1: aspect ratio = 1.500000 image rotation = 0 - box 2: "
                         "aspect ratio = 1.500000 image rotation = 90\n"));
  EXPECT_EQ(1u, log.lines().size());
}

TEST(InvariantBox, MergeWithAnotherAspectRatioIsRefused) {
  const LogCapture log;
  InvariantBox merged(10, 20, 180, 1.5f);
  merged.merge(InvariantBox(100, 200, 180, 1.25f));
  EXPECT_EQ(10, merged.getWidth());
  EXPECT_EQ(20, merged.getHeight());
  EXPECT_EQ(1, log.count("Cannot merge two Invariant boxes with different aspect ratio or image "
                         "rotation,box 1: aspect ratio = 1.500000 image rotation = 180 - box 2: "
                         "aspect ratio = 1.250000 image rotation = 180\n"));
}

TEST(InvariantBox, ToStringNamesAllFields) {
  EXPECT_EQ("{width: 7, height: 11, rotation: 90, aspect ratio: 1.500000}", box(90).toString());
}

}  // namespace
