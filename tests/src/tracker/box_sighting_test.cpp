#include "tracker/box_sighting.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "src/ptz/video_channel_fixture.h"

namespace {

// The fixture's pixel is 0.05 degrees; its scene has 4096 units to each side of the middle, pan 10,
// tilt -20: 4096 / 48 units to a degree of pan, 4096 / 27 to one of tilt.
Point at(double pan, double tilt) {
  return {static_cast<std::int16_t>(std::lround((pan - 10.0) * 4096.0 / 48.0)),
          static_cast<std::int16_t>(std::lround((tilt + 20.0) * 4096.0 / 27.0))};
}

Polygon outlineOf(const std::vector<Point>& vertices) {
  return Polygon(vertices);
}

class BoxSightingTest : public VideoChannelFixture {
 protected:
  BoxSightingTest() {
    EXPECT_TRUE(channel.init());
    channel.prepare();
  }

  VideoChannel channel{0};
};

constexpr double PIXEL = 0.05;  // deg

TEST_F(BoxSightingTest, ABoxStandsOnItsLowerEdge) {
  const auto seen =
      sightingOf(channel, outlineOf({at(20, -30), at(20, -24), at(22, -24), at(22, -30)}));
  ASSERT_TRUE(seen);
  EXPECT_NEAR(seen->sighting.pan, 21.0, PIXEL);
  EXPECT_NEAR(seen->sighting.footTilt, -30.0, PIXEL);
  EXPECT_NEAR(seen->sighting.headTilt, -24.0, PIXEL);
  EXPECT_NEAR(seen->tilt, -27.0, PIXEL);
  EXPECT_NEAR(seen->height, 6.0, 2 * PIXEL);
  EXPECT_FALSE(seen->isFootCut);
  EXPECT_FALSE(seen->isHeadCut);
}

// Head to the left, foot to the right: a box around it tells of neither.
TEST_F(BoxSightingTest, AnOutlineStandsOnItsLowestPoint) {
  const auto seen = sightingOf(
      channel, outlineOf({at(20, -24), at(21, -23.5), at(24, -29), at(23, -30), at(21, -26)}));
  ASSERT_TRUE(seen);
  EXPECT_NEAR(seen->sighting.footTilt, -30.0, PIXEL);
  EXPECT_NEAR(seen->sighting.headTilt, -23.5, PIXEL);
  EXPECT_NEAR(seen->sighting.pan, 22.0, PIXEL);  // the middle of 20 and 24
  EXPECT_NEAR(seen->width, 4.0 * std::cos(26.75 * std::numbers::pi / 180.0), 2 * PIXEL);
}

TEST_F(BoxSightingTest, WhatEndsAtThePicturesBorderIsCutThere) {
  const auto foot =
      sightingOf(channel, outlineOf({at(20, -47), at(20, -40), at(21, -39), at(22, -47)}));
  ASSERT_TRUE(foot);
  EXPECT_TRUE(foot->isFootCut);
  EXPECT_FALSE(foot->isHeadCut);
  const auto head = sightingOf(channel, outlineOf({at(20, 7), at(20, -2), at(22, -2), at(22, 7)}));
  ASSERT_TRUE(head);
  EXPECT_FALSE(head->isFootCut);
  EXPECT_TRUE(head->isHeadCut);
}

// What is left of him is wider to the side that is cut last, and its middle is not his.
TEST_F(BoxSightingTest, WhoseFootIsCutIsWhereHisHeadIs) {
  const auto seen = sightingOf(
      channel, outlineOf({at(16, -43), at(20, -39), at(21, -39), at(21, -47), at(16, -47)}));
  ASSERT_TRUE(seen);
  EXPECT_TRUE(seen->isFootCut);
  EXPECT_FALSE(seen->isHeadCut);
  EXPECT_NEAR(seen->sighting.pan, 20.5, PIXEL);  // the middle of 20 and 21
  EXPECT_NEAR(seen->pan, 18.5, PIXEL);           // of all that is seen: 16 and 21
}

TEST_F(BoxSightingTest, WhoseHeadIsCutIsWhereHisFeetAre) {
  const auto seen =
      sightingOf(channel, outlineOf({at(20, -2), at(21, -2), at(25, 3), at(25, 7), at(20, 7)}));
  ASSERT_TRUE(seen);
  EXPECT_FALSE(seen->isFootCut);
  EXPECT_TRUE(seen->isHeadCut);
  EXPECT_NEAR(seen->sighting.pan, 20.5, PIXEL);
}

// Of two feet one is beyond the picture: nothing tells where he is.
TEST_F(BoxSightingTest, WhoIsCutAtHeadAndHalfHisFeetIsCutAtBoth) {
  const auto head =
      sightingOf(channel, outlineOf({at(57, -2), at(58, -1.7), at(58, 7), at(56, 7), at(56, 2)}));
  ASSERT_TRUE(head);
  EXPECT_TRUE(head->isFootCut);
  EXPECT_TRUE(head->isHeadCut);
  const auto foot = sightingOf(
      channel, outlineOf({at(57, -39), at(58, -39.3), at(58, -47), at(56, -47), at(56, -43)}));
  ASSERT_TRUE(foot);
  EXPECT_TRUE(foot->isFootCut);
  EXPECT_TRUE(foot->isHeadCut);
}

TEST_F(BoxSightingTest, NothingIsTakenForAPointBeyondThePicture) {
  const auto seen =
      sightingOf(channel, outlineOf({Point{32767, 32767}, Point{-32768, -32768}, Point{0, 0}}));
  ASSERT_TRUE(seen);
  EXPECT_TRUE(std::isfinite(seen->sighting.pan));
  EXPECT_TRUE(std::isfinite(seen->width));
}

TEST_F(BoxSightingTest, WithoutALensThereIsNoDirection) {
  lens.set(0, 0.0, 0.0, 0);
  VideoChannel blind(0);
  ASSERT_TRUE(blind.init());
  blind.prepare();
  EXPECT_FALSE(sightingOf(blind, outlineOf({at(20, -30), at(20, -24), at(22, -24), at(22, -30)})));
  EXPECT_FALSE(sightingOf(blind, outlineOf({at(20, -30), at(20, -24), at(23, -25), at(22, -30)})));
}

}  // namespace
