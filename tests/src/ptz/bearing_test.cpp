#include "ptz/bearing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace {

struct Arc {
  double first = -1.0;
  double second = -1.0;

  bool operator==(const Arc&) const = default;
};

Arc boundsOf(const std::vector<double>& list) {
  Arc arc;
  Bearing::bounds(list, arc.first, arc.second);
  return arc;
}

TEST(BearingTest, NormalizeBringsIntoOneTurn) {
  EXPECT_DOUBLE_EQ(Bearing::normalize(0.0), 0.0);
  EXPECT_DOUBLE_EQ(Bearing::normalize(360.0), 0.0);
  EXPECT_DOUBLE_EQ(Bearing::normalize(359.5), 359.5);
  EXPECT_DOUBLE_EQ(Bearing::normalize(-1.0), 359.0);
  EXPECT_DOUBLE_EQ(Bearing::normalize(-360.0), 0.0);
  EXPECT_DOUBLE_EQ(Bearing::normalize(-725.0), 355.0);
  EXPECT_DOUBLE_EQ(Bearing::normalize(1085.0), 5.0);
}

TEST(BearingTest, ShortestDiffGoesTheShortWayRound) {
  EXPECT_DOUBLE_EQ(Bearing::shortestDiff(20.0, 10.0), 10.0);
  EXPECT_DOUBLE_EQ(Bearing::shortestDiff(350.0, 10.0), -20.0);
  EXPECT_DOUBLE_EQ(Bearing::shortestDiff(10.0, 350.0), 20.0);
  EXPECT_DOUBLE_EQ(Bearing::shortestDiff(170.0, -170.0), -20.0);
  EXPECT_DOUBLE_EQ(Bearing::shortestDiff(-170.0, 170.0), 20.0);
}

TEST(BearingTest, ShortestDiffLeavesHalfATurnAsItIs) {
  EXPECT_DOUBLE_EQ(Bearing::shortestDiff(180.0, 0.0), 180.0);
  EXPECT_DOUBLE_EQ(Bearing::shortestDiff(0.0, 180.0), -180.0);
}

TEST(BearingTest, ShortestDiffCorrectsByOneTurnOnly) {
  EXPECT_DOUBLE_EQ(Bearing::shortestDiff(360.0, -360.0), 360.0);
  EXPECT_DOUBLE_EQ(Bearing::shortestDiff(-360.0, 360.0), -360.0);
}

// -541 + 360 is still below -180: the second correction is the other way only.
TEST(BearingTest, ShortestDiffDoesNotFoldFurther) {
  EXPECT_DOUBLE_EQ(Bearing::shortestDiff(-541.0, 0.0), -181.0);
  EXPECT_DOUBLE_EQ(Bearing::shortestDiff(541.0, 0.0), 181.0);
}

TEST(BearingTest, ClockwiseDiffIsNeverNegative) {
  EXPECT_DOUBLE_EQ(Bearing::clockwiseDiff(10.0, 30.0), 20.0);
  EXPECT_DOUBLE_EQ(Bearing::clockwiseDiff(30.0, 10.0), 340.0);
  EXPECT_DOUBLE_EQ(Bearing::clockwiseDiff(350.0, 10.0), 20.0);
  EXPECT_DOUBLE_EQ(Bearing::clockwiseDiff(-10.0, 10.0), 20.0);
  EXPECT_DOUBLE_EQ(Bearing::clockwiseDiff(45.0, 45.0), 0.0);
  EXPECT_DOUBLE_EQ(Bearing::clockwiseDiff(0.0, 360.0), 0.0);
}

TEST(BearingTest, CenterLiesOnTheShorterArc) {
  EXPECT_DOUBLE_EQ(Bearing::center(10.0, 30.0), 20.0);
  EXPECT_DOUBLE_EQ(Bearing::center(30.0, 10.0), 20.0);
  EXPECT_DOUBLE_EQ(Bearing::center(350.0, 20.0), 5.0);
  EXPECT_DOUBLE_EQ(Bearing::center(0.0, 180.0), 90.0);
}

TEST(BearingTest, CenterIsNotNegative) {
  EXPECT_DOUBLE_EQ(Bearing::center(-30.0, -10.0), 340.0);
  EXPECT_DOUBLE_EQ(Bearing::center(340.0, 10.0), 355.0);
  EXPECT_DOUBLE_EQ(Bearing::center(170.0, -170.0), 180.0);
}

TEST(BearingTest, BoundsOfNothingLeavesBothUntouched) {
  EXPECT_EQ(boundsOf({}), (Arc{-1.0, -1.0}));
}

TEST(BearingTest, BoundsOfOneBearingIsThatBearingTwice) {
  EXPECT_EQ(boundsOf({77.0}), (Arc{77.0, 77.0}));
}

TEST(BearingTest, BoundsAcrossNorth) {
  EXPECT_EQ(boundsOf({350.0, 10.0, 20.0}), (Arc{350.0, 20.0}));
}

TEST(BearingTest, BoundsOfPlainBearings) {
  EXPECT_EQ(boundsOf({30.0, 10.0, 20.0}), (Arc{10.0, 30.0}));
}

// Bearings are kept as they were handed in; only gaps are measured on the circle.
TEST(BearingTest, BoundsAcrossTheSeamOfSignedBearings) {
  EXPECT_EQ(boundsOf({170.0, 175.0, -175.0, -160.0}), (Arc{170.0, -160.0}));
}

TEST(BearingTest, TheEarliestOfEqualGapsIsLeftOut) {
  EXPECT_EQ(boundsOf({0.0, 90.0, 180.0, 270.0}), (Arc{90.0, 0.0}));
  EXPECT_EQ(boundsOf({180.0, 0.0}), (Arc{180.0, 0.0}));
}

// Such are the edges of an object without width: there is no gap above 0.
TEST(BearingTest, BoundsOfEqualBearingsIsThatBearingTwice) {
  EXPECT_EQ(boundsOf({12.5, 12.5}), (Arc{12.5, 12.5}));
  EXPECT_EQ(boundsOf({-180.0, -180.0, -180.0}), (Arc{-180.0, -180.0}));
}

// Against a search over all arcs: the shortest clockwise arc from one bearing to another that holds
// every bearing.
TEST(BearingTest, BoundsIsTheShortestArcThatHoldsAll) {
  std::mt19937 random(20240517);
  std::uniform_real_distribution<double> bearing(-180.0, 180.0);
  const auto clockwise = [](double a, double b) { return std::fmod(b - a + 720.0, 360.0); };
  for (int round = 0; round < 2000; ++round) {
    std::vector<double> list(2 + random() % 7);
    std::generate(list.begin(), list.end(), [&] { return bearing(random); });
    double shortest = 360.0;
    for (const double first : list) {
      double length = 0.0;
      for (const double other : list) {
        length = std::max(length, clockwise(first, other));
      }
      shortest = std::min(shortest, length);
    }
    const Arc arc = boundsOf(list);
    EXPECT_NEAR(clockwise(arc.first, arc.second), shortest, 1e-9);
    for (const double one : list) {
      EXPECT_LE(clockwise(arc.first, one), shortest + 1e-9);
    }
  }
}

TEST(BearingTest, DifferencesOfRandomBearingsAgreeWithTheirDirections) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> bearing(-180.0, 180.0);
  const auto radians = [](double degrees) { return degrees * M_PI / 180.0; };
  for (int round = 0; round < 2000; ++round) {
    const double a = bearing(random);
    const double b = bearing(random);
    const double turn = std::atan2(std::sin(radians(a - b)), std::cos(radians(a - b)));
    EXPECT_NEAR(Bearing::shortestDiff(a, b), turn * 180.0 / M_PI, 1e-9);
    const double middle = radians(Bearing::center(a, b));
    EXPECT_NEAR(std::cos(middle - radians(a)), std::cos(middle - radians(b)), 1e-9);
    EXPECT_GE(std::cos(middle - radians(a)), -1e-9);
  }
}

}  // namespace
