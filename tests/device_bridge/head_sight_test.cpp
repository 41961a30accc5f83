#include "bridge/head_sight.h"

#include <gtest/gtest.h>

namespace device::bridge {
namespace {

constexpr std::int64_t MS = 1000;
constexpr std::int64_t SECOND = 1000 * MS;

HeadMap map() {
  HeadFacts facts;
  facts.positions = {{onvif::space::POSITION_DEGREES, {-180, 180}, {-90, 90}}};
  facts.defaultPosition = onvif::space::POSITION_DEGREES;
  HeadTold told;
  told.fieldAngles = {6, 60};
  return {facts, told};
}

HeadReading at(double pan, std::optional<bool> moves = std::nullopt) {
  HeadReading reading;
  reading.panTilt = Vector2{pan, -10, ""};
  reading.panTiltMoves = moves;
  reading.zoomMoves = moves;
  return reading;
}

TEST(HeadSightTest, StatusIsToldAsItWasAndForASecond) {
  HeadSight sight(true);
  EXPECT_FALSE(sight.status(0));
  sight.told(at(12), map(), SECOND);
  const auto status = sight.status(2 * SECOND);
  ASSERT_TRUE(status);
  EXPECT_DOUBLE_EQ(12, status->pan);
  EXPECT_DOUBLE_EQ(-10, status->tilt);
  EXPECT_DOUBLE_EQ(60, status->pictureWidth);
  EXPECT_FALSE(sight.status(2 * SECOND + 1));
}

TEST(HeadSightTest, NewestCountsWhereverItComesFrom) {
  HeadSight sight(true);
  sight.told(at(12), map(), SECOND);
  sight.told(at(11), map(), SECOND - 1);
  EXPECT_DOUBLE_EQ(12, sight.status(SECOND)->pan);
  EXPECT_EQ(SECOND, sight.getTaken());
}

TEST(HeadSightTest, WhatAReadingLeavesOutStaysAsItWas) {
  HeadSight sight(true);
  HeadReading reading = at(12);
  reading.fieldAngle = 20;
  sight.told(reading, map(), SECOND);
  HeadReading zoomOnly;
  zoomOnly.fieldAngle = 30;
  sight.told(zoomOnly, map(), SECOND + 1);
  EXPECT_DOUBLE_EQ(12, sight.status(SECOND + 1)->pan);
  EXPECT_NEAR(30, sight.status(SECOND + 1)->pictureWidth, 0.01);
  sight.told(at(13), map(), SECOND + 2);
  EXPECT_NEAR(30, sight.status(SECOND + 2)->pictureWidth, 0.01);
}

TEST(HeadSightTest, ReadingWithoutAPlaceMakesTheLastPlaceNoNewer) {
  HeadSight sight(true);
  sight.told(at(12), map(), SECOND);
  HeadReading zoomOnly;
  zoomOnly.fieldAngle = 30;
  sight.told(zoomOnly, map(), SECOND + 900 * MS);
  EXPECT_EQ(SECOND, sight.getTaken());
  EXPECT_TRUE(sight.status(2 * SECOND));
  EXPECT_FALSE(sight.status(2 * SECOND + 1));
}

// Its status tells how wide its picture is, its metadata tell the zoom's position alone.
TEST(HeadSightTest, ZoomIsNotGuessedWhileItIsTold) {
  HeadSight sight(true);
  HeadReading told = at(12);
  told.zoom = Vector1{0.5, ""};
  told.fieldAngle = 20;
  sight.told(told, map(), SECOND);
  HeadReading guessed = at(12.01);
  guessed.zoom = Vector1{0.5, ""};
  sight.told(guessed, map(), SECOND + 50 * MS);
  EXPECT_NEAR(20, sight.status(SECOND + 50 * MS)->pictureWidth, 0.01) << "and not 10.9";
  sight.told(guessed, map(), 2 * SECOND + MS);
  EXPECT_NEAR(60 / 5.5, sight.status(2 * SECOND + MS)->pictureWidth, 0.01) << "half of ten times";
}

TEST(HeadSightTest, MotionIsWhatTheHeadSays) {
  HeadSight sight(true);
  sight.told(at(12, true), map(), SECOND);
  EXPECT_TRUE(sight.status(SECOND)->panMoving);
  EXPECT_TRUE(sight.status(SECOND)->zoomMoving);
  sight.told(at(12, false), map(), SECOND + 1);
  EXPECT_FALSE(sight.status(SECOND + 1)->moving());
}

TEST(HeadSightTest, MotionThatIsNotToldIsSeenByThePosition) {
  HeadSight sight(true);
  sight.told(at(12), map(), SECOND);
  sight.told(at(12.1), map(), SECOND + 100 * MS);
  EXPECT_TRUE(sight.status(SECOND + 100 * MS)->tiltMoving);
  EXPECT_FALSE(sight.status(SECOND + 100 * MS)->zoomMoving);
  sight.told(at(12.12), map(), SECOND + 300 * MS);
  EXPECT_TRUE(sight.status(SECOND + 300 * MS)->panMoving);
  sight.told(at(12.12), map(), SECOND + 401 * MS);
  EXPECT_FALSE(sight.status(SECOND + 401 * MS)->panMoving) << "0.02 degrees in 300 ms";
}

TEST(HeadSightTest, HeadThatIsKnownToLieIsNotBelieved) {
  HeadSight sight(false);
  sight.told(at(12, true), map(), SECOND);
  sight.told(at(12, true), map(), SECOND + 100 * MS);
  EXPECT_FALSE(sight.status(SECOND + 100 * MS)->moving());
  sight.told(at(13, false), map(), SECOND + 200 * MS);
  EXPECT_TRUE(sight.status(SECOND + 200 * MS)->panMoving);
}

TEST(HeadSightTest, MotionThatIsToldForASecondInOnePlaceIsNone) {
  HeadSight sight(true);
  for (int i = 0; i < 10; ++i) {
    sight.told(at(12, true), map(), SECOND + i * 100 * MS);
    EXPECT_TRUE(sight.status(SECOND + i * 100 * MS)->panMoving);
  }
  sight.told(at(12, true), map(), 2 * SECOND);
  EXPECT_FALSE(sight.status(2 * SECOND)->panMoving);
  sight.told(at(12.2, true), map(), 2 * SECOND + 100 * MS);
  EXPECT_TRUE(sight.status(2 * SECOND + 100 * MS)->panMoving);
}

}  // namespace
}  // namespace device::bridge
