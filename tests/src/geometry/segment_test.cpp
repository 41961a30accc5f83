#include "geometry/segment.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "geometry/polygon.h"

namespace {

using Points = std::vector<Point>;

Polyline track(Point from, Point to) {
  return Polyline(Points{from, to});
}

// Upwards at x = 0, so that its left is where x is negative.
const Segment UPWARDS({0, -1000}, {0, 1000}, FenceDirection_e::leftToRight);

TEST(Segment, HoldsItsTwoPointsAndDirections) {
  const Segment segment({100, 200}, {400, -100}, FenceDirection_e::rightToLeft);
  EXPECT_EQ((Points{{100, 200}, {400, -100}}), segment.getPoints());
  EXPECT_EQ((MathVector{300, -300}), segment.getDirection());
  EXPECT_EQ((MathVector{300, 300}), segment.getNormal());
  EXPECT_EQ(FenceDirection_e::rightToLeft, segment.getFenceDirection());
}

TEST(Segment, OffsetIsTheLineEquationsConstant) {
  const Segment segment({100, 200}, {400, -100}, FenceDirection_e::both);
  // -(100 * 300) - (200 * 300)
  EXPECT_EQ(-90000, segment.getOffset());
}

TEST(Segment, OffsetMakesBothEndsSolveTheLineEquation) {
  std::mt19937 random(3);
  std::uniform_int_distribution<int> coordinate(-4096, 4096);
  const auto next = [&] { return static_cast<std::int16_t>(coordinate(random)); };
  for (int i = 0; i < 500; ++i) {
    const Point a{next(), next()};
    const Point b{next(), next()};
    const Segment segment(a, b, FenceDirection_e::both);
    for (const Point& p : {a, b}) {
      EXPECT_EQ(0, segment.getNormal().x * p.x + segment.getNormal().y * p.y + segment.getOffset());
    }
  }
}

TEST(Segment, FenceDirectionsAreSigns) {
  EXPECT_EQ(1, static_cast<int>(FenceDirection_e::leftToRight));
  EXPECT_EQ(-1, static_cast<int>(FenceDirection_e::rightToLeft));
  EXPECT_EQ(0, static_cast<int>(FenceDirection_e::both));
}

TEST(Segment, AlarmSideOfAPointIsTheSignOfItsDistanceAlongTheNormal) {
  EXPECT_TRUE(UPWARDS.isOnAlarmSide(Point{-1, 0}));
  EXPECT_FALSE(UPWARDS.isOnAlarmSide(Point{1, 0}));
  EXPECT_FALSE(UPWARDS.isOnAlarmSide(Point{0, 0}));

  const Segment other({0, -1000}, {0, 1000}, FenceDirection_e::rightToLeft);
  EXPECT_FALSE(other.isOnAlarmSide(Point{-1, 0}));
  EXPECT_TRUE(other.isOnAlarmSide(Point{1, 0}));
}

TEST(Segment, AlarmSideTurnsWithTheOrderOfTheEnds) {
  const Segment downwards({0, 1000}, {0, -1000}, FenceDirection_e::leftToRight);
  EXPECT_TRUE(downwards.isOnAlarmSide(Point{1, 0}));
  EXPECT_FALSE(downwards.isOnAlarmSide(Point{-1, 0}));
}

TEST(Segment, AlarmSideReachesBeyondTheFencesEnds) {
  EXPECT_TRUE(UPWARDS.isOnAlarmSide(Point{-1, 4000}));
  EXPECT_TRUE(UPWARDS.isOnAlarmSide(Point{-1, -4000}));
}

TEST(Segment, AlarmSideOfBothIsTheLineItself) {
  const Segment segment({0, -1000}, {0, 1000}, FenceDirection_e::both);
  EXPECT_TRUE(segment.isOnAlarmSide(Point{0, 17}));
  EXPECT_FALSE(segment.isOnAlarmSide(Point{1, 17}));
}

TEST(Segment, PolygonIsOnTheAlarmSideWithAnyCornerOfItsBox) {
  EXPECT_TRUE(UPWARDS.isOnAlarmSide(Polygon(-200, -100, -10, 10)));
  EXPECT_TRUE(UPWARDS.isOnAlarmSide(Polygon(-1, 100, -10, 10)));
  EXPECT_FALSE(UPWARDS.isOnAlarmSide(Polygon(0, 100, -10, 10)));
}

TEST(Segment, PolygonsAlarmSideIsThatOfItsBoxNotOfItsOutline) {
  // Up the diagonal; the box's corner at (0, 100) is left of it, no vertex is.
  const Segment diagonal({0, 0}, {1000, 1000}, FenceDirection_e::leftToRight);
  const Polygon outline(Points{{0, 0}, {100, 100}, {100, 0}});
  for (const Point& vertex : outline.getVertices()) {
    EXPECT_FALSE(diagonal.isOnAlarmSide(vertex));
  }
  EXPECT_TRUE(diagonal.isOnAlarmSide(outline));
}

TEST(Segment, PolygonIsJudgedByEachCorner) {
  // Each line cuts off one corner of the box 0..100, which lies to its left.
  const Polygon box(0, 100, 0, 100);
  constexpr auto LEFT = FenceDirection_e::leftToRight;
  EXPECT_TRUE(Segment({20, -10}, {-10, 20}, LEFT).isOnAlarmSide(box));  // (0, 0)
  EXPECT_TRUE(Segment({-10, 80}, {20, 110}, LEFT).isOnAlarmSide(box));  // (0, 100)
  EXPECT_TRUE(Segment({80, 110}, {110, 80}, LEFT).isOnAlarmSide(box));  // (100, 100)
  EXPECT_TRUE(Segment({110, 20}, {80, -10}, LEFT).isOnAlarmSide(box));  // (100, 0)
  EXPECT_FALSE(Segment({-10, -10}, {-20, 500}, LEFT).isOnAlarmSide(box));
}

TEST(Segment, IntersectValueIsTheShareOfTheTrackIn1024ths) {
  EXPECT_EQ(256, UPWARDS.getIntersectValue(track({-1000, 0}, {3000, 0})));
  EXPECT_EQ(768, UPWARDS.getIntersectValue(track({3000, 0}, {-1000, 0})));
  EXPECT_EQ(512, UPWARDS.getIntersectValue(track({-100, -100}, {100, 100})));
}

TEST(Segment, IntersectValueAtTheTracksEnds) {
  EXPECT_EQ(0, UPWARDS.getIntersectValue(track({0, 500}, {300, 0})));
  EXPECT_EQ(1024, UPWARDS.getIntersectValue(track({300, 0}, {0, 500})));
}

TEST(Segment, IntersectValueIsTruncated) {
  // 1/3 of 1024 is 341.33, 2/3 is 682.67.
  EXPECT_EQ(341, UPWARDS.getIntersectValue(track({-100, 0}, {200, 0})));
  EXPECT_EQ(682, UPWARDS.getIntersectValue(track({-200, 0}, {100, 0})));
}

TEST(Segment, IntersectValueOfATrackThatTouchesOnlyTheLineOutsideTheFenceIsMinusOne) {
  EXPECT_EQ(-1, UPWARDS.getIntersectValue(track({-100, 1001}, {100, 1001})));
  EXPECT_EQ(-1, UPWARDS.getIntersectValue(track({0, 1001}, {100, 1500})));
}

TEST(Segment, IntersectValueAtTheFencesEndCounts) {
  EXPECT_EQ(512, UPWARDS.getIntersectValue(track({-100, 1000}, {100, 1000})));
}

TEST(Segment, IntersectValueOfAParallelTrackIsMinusOne) {
  EXPECT_EQ(-1, UPWARDS.getIntersectValue(track({50, -100}, {50, 100})));
  // On the fence itself: they share points, but cross nowhere.
  EXPECT_EQ(-1, UPWARDS.getIntersectValue(track({0, -100}, {0, 100})));
}

TEST(Segment, IntersectValueOfATrackThatStandsStillIsMinusOne) {
  EXPECT_EQ(-1, UPWARDS.getIntersectValue(track({0, 0}, {0, 0})));
}

TEST(Segment, IntersectValueOfATrackThatDoesNotReachTheFenceIsMinusOne) {
  EXPECT_EQ(-1, UPWARDS.getIntersectValue(track({-1000, 0}, {-1, 0})));
}

TEST(Segment, IntersectValueNeedsATrackOfTwoPoints) {
  EXPECT_EQ(-1, UPWARDS.getIntersectValue(Polyline()));
  EXPECT_EQ(-1, UPWARDS.getIntersectValue(Polyline(Points{{0, 0}})));
  EXPECT_EQ(-1, UPWARDS.getIntersectValue(Polyline(Points{{-100, 0}, {100, 0}, {200, 0}})));
}

std::int64_t cross(const Point& a, const Point& b, const Point& c) {
  return std::int64_t{b.x - a.x} * (c.y - a.y) - std::int64_t{b.y - a.y} * (c.x - a.x);
}

// Whether the segments cross at an inner point of both.
bool crossProperly(const Point& a, const Point& b, const Point& c, const Point& d) {
  return ((cross(a, b, c) > 0) != (cross(a, b, d) > 0)) &&
         ((cross(c, d, a) > 0) != (cross(c, d, b) > 0));
}

TEST(Segment, IntersectValueAgreesWithTheAreasOnBothSides) {
  std::mt19937 random(4);
  std::uniform_int_distribution<int> coordinate(-4096, 4096);
  const auto next = [&] {
    return Point{static_cast<std::int16_t>(coordinate(random)),
                 static_cast<std::int16_t>(coordinate(random))};
  };
  int crossed = 0;
  for (int i = 0; i < 2000; ++i) {
    const Point a = next(), b = next(), from = next(), to = next();
    const std::int64_t before = cross(a, b, from);
    const std::int64_t after = cross(a, b, to);
    if (before == 0 || after == 0 || cross(from, to, a) == 0 || cross(from, to, b) == 0) {
      continue;
    }
    const int value = Segment(a, b, FenceDirection_e::both).getIntersectValue(track(from, to));
    if (!crossProperly(a, b, from, to)) {
      EXPECT_EQ(-1, value);
      continue;
    }
    ++crossed;
    const double exact = 1024.0 * static_cast<double>(before) / static_cast<double>(before - after);
    EXPECT_LE(value, exact + 0.01);
    EXPECT_GT(value, exact - 1.01);
  }
  EXPECT_GT(crossed, 100);
}

TEST(Segment, IntersectsLikeItsPolyline) {
  EXPECT_TRUE(UPWARDS.doesIntersect(track({-10, 0}, {10, 0})));
  EXPECT_FALSE(UPWARDS.doesIntersect(track({1, 0}, {10, 0})));
  EXPECT_TRUE(UPWARDS.doesIntersect(Polygon(-10, 10, 900, 1100)));
  EXPECT_FALSE(UPWARDS.doesIntersect(Polygon(-10, 10, 1001, 1100)));
}

}  // namespace
