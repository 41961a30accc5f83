#include "bridge/head_map.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace device::bridge {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
namespace space = onvif::space;

HeadFacts genericFacts() {
  HeadFacts facts;
  facts.positions = {{space::POSITION, {-1, 1}, {-1, 1}}};
  facts.zoomPositions = {{space::ZOOM_POSITION, {0, 1}, {}}};
  facts.velocities = {{space::VELOCITY, {-1, 1}, {-1, 1}}};
  return facts;
}

HeadFacts degreeFacts() {
  HeadFacts facts = genericFacts();
  facts.positions.push_back({space::POSITION_DEGREES, {-170, 170}, {-90, 30}});
  return facts;
}

HeadTold toldAngles() {
  HeadTold told;
  told.fieldAngles = {6, 60};
  return told;
}

HeadTold toldRanges() {
  HeadTold told = toldAngles();
  told.pan = Range{-180, 180};
  told.tilt = Range{-90, 20};
  return told;
}

void expectDegrees(double pan, double tilt, const HeadMap& map, const Vector2& position) {
  const auto degrees = map.degreesOf(position);
  ASSERT_TRUE(degrees);
  EXPECT_NEAR(pan, degrees->pan, 1e-9);
  EXPECT_NEAR(tilt, degrees->tilt, 1e-9);
}

void expectPosition(double x, double y, const char* uri, const Vector2& position) {
  EXPECT_NEAR(x, position.x, 1e-9);
  EXPECT_NEAR(y, position.y, 1e-9);
  EXPECT_EQ(uri, position.space);
}

TEST(HeadMapTest, DegreesAreDegrees) {
  const HeadMap map(degreeFacts(), toldAngles());
  EXPECT_THAT(map.whatIsMissing(), IsEmpty());
  expectDegrees(-35, -20, map, {-35, -20, space::POSITION_DEGREES});
  expectPosition(-35, -20, space::POSITION_DEGREES, map.positionOf({-35, -20}));
}

// -170 + 1.5 / 2 * 340 = 85; -90 + 0.25 / 2 * 120 = -75.
TEST(HeadMapTest, GenericStatusHasTheRangesOfTheDegrees) {
  expectDegrees(85, -75, HeadMap(degreeFacts(), toldAngles()), {0.5, -0.75, ""});
}

// -180 + 1.25 / 2 * 360 = 45; -90 + 1 / 2 * 110 = -35.
TEST(HeadMapTest, GenericPositionsNeedTheRangesThatTheUserTells) {
  EXPECT_THAT(HeadMap(genericFacts(), toldAngles()).whatIsMissing(), HasSubstr("range"));
  const HeadMap map(genericFacts(), toldRanges());
  expectDegrees(45, -35, map, {0.25, 0, ""});
  expectPosition(0.25, 0, space::POSITION, map.positionOf({45, -35}));
}

TEST(HeadMapTest, DegreesByTheNameOfGenericOnesAreTakenAsListed) {
  HeadFacts facts = genericFacts();
  facts.positions = {{space::POSITION, {0, 360}, {0, 90}}};
  const HeadMap map(facts, toldAngles());
  expectDegrees(-90, 30, map, {270, 30, ""});
  expectPosition(270, 30, space::POSITION, map.positionOf({-90, 30}));
}

TEST(HeadMapTest, DefaultSpaceIsThatOfTheConfiguration) {
  HeadFacts facts = degreeFacts();
  facts.defaultPosition = space::POSITION_DEGREES;
  expectDegrees(0.5, -0.75, HeadMap(facts, toldAngles()), {0.5, -0.75, ""});
}

TEST(HeadMapTest, OtherSpacesAreNotGuessedAt) {
  EXPECT_FALSE(HeadMap(degreeFacts(), toldAngles()).degreesOf({0, 0, "urn:other"}));
}

TEST(HeadMapTest, TargetsBeyondTheRangeAreAtItsEnd) {
  const HeadMap map(degreeFacts(), toldAngles());
  expectPosition(170, 30, space::POSITION_DEGREES, map.positionOf({175, 50}));
  expectPosition(-170, -90, space::POSITION_DEGREES, map.positionOf({-175, -95}));
}

TEST(HeadMapTest, InvertedAxesAreSoInPositionsAndSpeeds) {
  HeadTold told = toldAngles();
  told.invertPan = true;
  told.invertTilt = true;
  const HeadMap map(degreeFacts(), told);
  expectDegrees(35, 20, map, {-35, -20, space::POSITION_DEGREES});
  expectPosition(-35, -20, space::POSITION_DEGREES, map.positionOf({35, 20}));
  expectPosition(-0.5, 0.25, space::VELOCITY, map.velocityOf(50, -25));
}

TEST(HeadMapTest, InvertedSpeedsLeavePositionsAlone) {
  HeadTold told = toldAngles();
  told.invertPanSpeed = true;
  const HeadMap map(degreeFacts(), told);
  expectDegrees(-35, -20, map, {-35, -20, space::POSITION_DEGREES});
  expectPosition(-0.5, -0.25, space::VELOCITY, map.velocityOf(50, -25));
  told.invertPan = true;
  expectPosition(0.5, -0.25, space::VELOCITY, HeadMap(degreeFacts(), told).velocityOf(50, -25));
}

TEST(HeadMapTest, SpeedsAreSharesOfTheListedOnes) {
  HeadFacts facts = degreeFacts();
  facts.velocities = {{space::VELOCITY, {-0.5, 0.5}, {-0.5, 0.5}}};
  facts.zoomVelocities = {{space::ZOOM_VELOCITY, {-1, 1}, {}}};
  const HeadMap map(facts, toldAngles());
  expectPosition(0.25, -0.5, space::VELOCITY, map.velocityOf(50, -100));
  EXPECT_DOUBLE_EQ(-0.3, map.zoomVelocityOf(-30).x);
}

// 60 / 6 = 10 times at most: 20 degrees are 3 times, (3 - 1) / 9 of 9999 above 1 is 2223.
TEST(HeadMapTest, ZoomIsEvenInTheMagnification) {
  const HeadMap map(degreeFacts(), toldAngles());
  EXPECT_EQ(1, map.zoomOfFieldAngle(60));
  EXPECT_EQ(2223, map.zoomOfFieldAngle(20));
  EXPECT_EQ(9999, map.zoomOfFieldAngle(6));
  EXPECT_EQ(9999, map.zoomOfFieldAngle(1));
  EXPECT_NEAR(20, map.fieldAngleOfZoom(2223), 1e-9);
  HeadReading reading;
  reading.fieldAngle = 20;
  reading.zoom = Vector1{0.9, ""};
  EXPECT_EQ(ZoomLaw::fieldAngle, map.zoomLaw(reading)) << "before the position";
  EXPECT_EQ(2223, map.zoomOf(reading));
}

// A picture of 60 degrees on 6 mm: 3 / tan(30) = 5.196 mm. At 17.0138 mm it is
// 2 atan(3 / 17.0138) = 20 degrees.
TEST(HeadMapTest, ZoomByFocalLength) {
  HeadFacts facts = degreeFacts();
  facts.zoomPositions = {{space::ZOOM_MILLIMETRES, {5, 60}, {}}};
  facts.defaultZoomPosition = space::ZOOM_MILLIMETRES;
  HeadTold told = toldAngles();
  told.sensorWidth = 6;
  const HeadMap map(facts, told);
  const double length = 3 / std::tan(10 * std::numbers::pi / 180);
  HeadReading reading;
  reading.zoom = Vector1{length, ""};
  EXPECT_EQ(ZoomLaw::millimetres, map.zoomLaw(reading));
  EXPECT_EQ(2223, map.zoomOf(reading));
  EXPECT_NEAR(length, map.zoomPositionOf(2223).x, 1e-9);
  EXPECT_EQ(space::ZOOM_MILLIMETRES, map.zoomPositionOf(2223).space);
}

// Half-way between 60 and 15 degrees in the logarithm are 30: 2 times, 1 / 9 of 9999 above 1.
// Of a head that tells millimetres and its field angle, and takes generic positions too.
TEST(HeadMapTest, TableInMillimetresIsCommandedInMillimetres) {
  HeadFacts facts = genericFacts();
  facts.zoomPositions.push_back({space::ZOOM_MILLIMETRES, {5, 60}, {}});
  facts.defaultZoomPosition = space::ZOOM_MILLIMETRES;
  HeadTold told = toldAngles();
  told.zoomTable = {{5, 60}, {60, 6}};
  const HeadMap map(facts, told);
  const Vector1 wide = map.zoomPositionOf(HeadMap::LEAST_ZOOM);
  EXPECT_EQ(space::ZOOM_MILLIMETRES, wide.space);
  EXPECT_NEAR(5, wide.x, 1e-9);
  EXPECT_NEAR(60, map.zoomPositionOf(HeadMap::MOST_ZOOM).x, 0.01);
  HeadReading reading;
  reading.zoom = Vector1{60, space::ZOOM_MILLIMETRES};
  reading.fieldAngle = 6.5;
  EXPECT_EQ(ZoomLaw::table, map.zoomLaw(reading));
  reading.zoom = Vector1{1, space::ZOOM_POSITION};
  EXPECT_EQ(ZoomLaw::fieldAngle, map.zoomLaw(reading)) << "the table has no such numbers";
}

// 5 to 20 might be either, by their size.
TEST(HeadMapTest, UnitOfATableThatIsToldCounts) {
  HeadFacts facts = genericFacts();
  facts.zoomPositions = {{space::ZOOM_POSITION, {0, 100}, {}},
                         {space::ZOOM_MILLIMETRES, {5, 20}, {}}};
  HeadTold told = toldRanges();
  told.zoomTable = {{5, 60}, {20, 6}};
  EXPECT_EQ(space::ZOOM_POSITION, HeadMap(facts, told).zoomPositionOf(1).space) << "by size";
  told.zoomUnit = ZoomUnit::millimetres;
  EXPECT_EQ(space::ZOOM_MILLIMETRES, HeadMap(facts, told).zoomPositionOf(1).space);
  facts.zoomPositions[0].x = {0, 1};
  told.zoomUnit = ZoomUnit::generic;
  EXPECT_EQ(space::ZOOM_POSITION, HeadMap(facts, told).zoomPositionOf(1).space);
}

// Numbers keep their degrees; the head is sent, and said to go, no further.
TEST(HeadMapTest, EndsHoldTheHeadBack) {
  HeadTold told = toldRanges();
  told.pan = Range{-100, 100};
  told.panEnds = Range{-90, 80};
  const HeadMap map(genericFacts(), told);
  expectDegrees(50, -35, map, {0.5, 0, space::POSITION});
  EXPECT_NEAR(0.8, map.positionOf({95, -35}).x, 1e-9);
  EXPECT_NEAR(-0.9, map.positionOf({-120, -35}).x, 1e-9);
  ASSERT_TRUE(map.limits());
  EXPECT_EQ((Range{-90, 80}), map.limits()->pan);
  HeadTold inDegrees = toldAngles();
  inDegrees.tiltEnds = Range{-90, 10};
  EXPECT_DOUBLE_EQ(10, HeadMap(degreeFacts(), inDegrees).positionOf({0, 25}).y);
}

TEST(HeadMapTest, ZoomByATable) {
  HeadTold told = toldAngles();
  told.zoomTable = {{0, 60}, {0.4, 15}, {1, 6}};
  const HeadMap map(degreeFacts(), told);
  HeadReading reading;
  reading.zoom = Vector1{0.2, ""};
  EXPECT_EQ(ZoomLaw::table, map.zoomLaw(reading));
  EXPECT_EQ(1112, map.zoomOf(reading));
  EXPECT_NEAR(0.2, map.zoomPositionOf(1112).x, 1e-9);
  reading.zoom = Vector1{1, ""};
  EXPECT_EQ(9999, map.zoomOf(reading));
  EXPECT_NEAR(1, map.zoomPositionOf(9999).x, 1e-3);
  EXPECT_NEAR(0, map.zoomPositionOf(1).x, 1e-9);
}

// Told to go to 1112 it is at 0.2, and 29 degrees of its own, as it tells, would be another zoom.
TEST(HeadMapTest, ZoomIsToldAsItWasSentWhereThereIsATable) {
  HeadTold told = toldAngles();
  told.zoomTable = {{0, 60}, {0.4, 15}, {1, 6}};
  const HeadMap map(degreeFacts(), told);
  HeadReading reading;
  reading.zoom = map.zoomPositionOf(1112);
  reading.fieldAngle = 29;
  EXPECT_EQ(1112, map.zoomOf(reading));
  reading.zoom.reset();
  EXPECT_EQ(map.zoomOfFieldAngle(29), map.zoomOf(reading)) << "where no position is told";
}

// Half of the way from 1 to 10 times is 5.5 times: 4.5 / 9 of 9999 above 1.
TEST(HeadMapTest, ZoomWithoutAnyLawIsGuessed) {
  const HeadMap map(degreeFacts(), toldAngles());
  HeadReading reading;
  reading.zoom = Vector1{0.5, ""};
  EXPECT_EQ(ZoomLaw::guessed, map.zoomLaw(reading));
  EXPECT_EQ(5001, map.zoomOf(reading));
  EXPECT_FALSE(map.zoomOf(HeadReading()));
}

TEST(HeadMapTest, FieldAnglesHaveToBeTold) {
  EXPECT_THAT(HeadMap(degreeFacts(), HeadTold()).whatIsMissing(), HasSubstr("field angles"));
}

}  // namespace
}  // namespace device::bridge
