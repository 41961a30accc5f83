#include "world/stage.h"

#include <gtest/gtest.h>

#include <cmath>

namespace device {
namespace {

TEST(PlacementTest, TurnsAndShifts) {
  const Placement placement({1, 1}, {10, 20}, 90);
  EXPECT_NEAR(placement.apply(GroundPoint{1, 1}).x, 10, 1e-12);
  EXPECT_NEAR(placement.apply(GroundPoint{1, 1}).y, 20, 1e-12);
  EXPECT_NEAR(placement.apply(GroundPoint{3, 1}).x, 10, 1e-12);  // east becomes north
  EXPECT_NEAR(placement.apply(GroundPoint{3, 1}).y, 22, 1e-12);
  EXPECT_NEAR(placement.apply(GroundPoint{1, 2}).x, 9, 1e-12);  // north becomes west
}

TEST(PlacementTest, TurnsVelocitiesWithoutShiftingThem) {
  const Placement placement({1, 1}, {10, 20}, 90);
  const Person person = placement.apply(Person{5, {3, 1}, {2, 0}});
  EXPECT_EQ(person.id, 5);
  EXPECT_NEAR(person.position.y, 22, 1e-12);
  EXPECT_NEAR(person.velocity.x, 0, 1e-12);
  EXPECT_NEAR(person.velocity.y, 2, 1e-12);
}

TEST(StageTest, TheMiddleOfARecordingLiesOnTheAxisOfTheCamera) {
  const Stage stage({0, 90, -120}, 40, 30);
  const Bounds bounds{{-8, -4}, {14, 12}};
  for (const auto& [turn, pan] : {std::pair{0, 0.0}, {1, 90.0}, {2, -120.0}, {3, 0.0}}) {
    const GroundPoint middle = stage.placementFor(bounds, turn).apply(GroundPoint{3, 4});
    EXPECT_NEAR(std::hypot(middle.x, middle.y), 40, 1e-9);
    EXPECT_NEAR(directionOf({middle.x, middle.y, 0}).pan, pan, 1e-9);
  }
}

TEST(StageTest, EveryCameraSeesTheSame) {
  const Stage stage({0, 90}, 40, 30);
  const Bounds bounds{{0, 0}, {10, 10}};
  const GroundPoint north = stage.placementFor(bounds, 0).apply(GroundPoint{9, 2});
  const GroundPoint east = stage.placementFor(bounds, 1).apply(GroundPoint{9, 2});
  // Turned by 90 degrees clockwise about the mast.
  EXPECT_NEAR(east.x, north.y, 1e-9);
  EXPECT_NEAR(east.y, -north.x, 1e-9);
}

TEST(StageTest, WithoutATurnTheRecordingsYLeadsAway) {
  const Stage stage({0}, 40, 0);
  const GroundPoint far = stage.placementFor({{0, 0}, {10, 10}}, 0).apply(GroundPoint{5, 10});
  EXPECT_NEAR(far.x, 0, 1e-12);
  EXPECT_NEAR(far.y, 45, 1e-12);
}

}  // namespace
}  // namespace device
