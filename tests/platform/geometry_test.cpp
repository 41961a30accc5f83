#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "gm.h"
#include "platform/judge.h"
#include "platform/polygons.h"

namespace {

using polygons::Generator;
using polygons::Points;

constexpr int16_t LOW = std::numeric_limits<int16_t>::min();
constexpr int16_t HIGH = std::numeric_limits<int16_t>::max();

int size(const Points& points) {
  return static_cast<int>(points.size());
}

int inside(gm_point point, const Points& polygon) {
  return gm_inside_p(point, polygon.data(), size(polygon));
}

int touch(const Points& a, const Points& b) {
  const int result = gm_intersect_pp(a.data(), size(a), b.data(), size(b));
  EXPECT_EQ(result, gm_intersect_pp(b.data(), size(b), a.data(), size(a)));
  return result;
}

int touchesLine(const Points& polygon, const Points& line) {
  return gm_intersect_ps(polygon.data(), size(polygon), line.data(), size(line));
}

int linesTouch(const Points& a, const Points& b) {
  const int result = gm_intersect_ss(a.data(), size(a), b.data(), size(b));
  EXPECT_EQ(result, gm_intersect_ss(b.data(), size(b), a.data(), size(a)));
  return result;
}

const Points SQUARE{{0, 0}, {10, 0}, {10, 10}, {0, 10}};
// A square of 10 by 10 whose upper edge is notched down to (5, 2).
const Points NOTCHED{{0, 0}, {10, 0}, {10, 10}, {5, 2}, {0, 10}};
// Two triangles that meet in (5, 5): one to the left, one to the right.
const Points BOW_TIE{{0, 0}, {10, 10}, {10, 0}, {0, 10}};
// A five-pointed star drawn in one stroke; its middle is covered twice.
const Points STAR{{0, 100}, {59, -81}, {-95, 31}, {95, 31}, {-59, -81}};

TEST(GmInside, TellsInsideFromOutside) {
  EXPECT_EQ(1, inside({5, 5}, SQUARE));
  EXPECT_EQ(0, inside({11, 5}, SQUARE));
  EXPECT_EQ(0, inside({-1, 5}, SQUARE));
  EXPECT_EQ(0, inside({5, 11}, SQUARE));
  EXPECT_EQ(0, inside({5, -1}, SQUARE));
}

TEST(GmInside, EveryVertexIsInside) {
  for (const Points& polygon : {SQUARE, NOTCHED, BOW_TIE, STAR}) {
    for (const gm_point vertex : polygon) {
      EXPECT_EQ(1, inside(vertex, polygon));
    }
  }
}

TEST(GmInside, PointsOnEdgesAreInside) {
  EXPECT_EQ(1, inside({5, 0}, SQUARE));
  EXPECT_EQ(1, inside({5, 10}, SQUARE));
  EXPECT_EQ(1, inside({0, 5}, SQUARE));
  EXPECT_EQ(1, inside({10, 5}, SQUARE));
  EXPECT_EQ(1, inside({3, 3}, BOW_TIE));
}

TEST(GmInside, PointBesideAHorizontalEdgeInLineWithItIsOutside) {
  for (const int16_t y : {0, 10}) {
    EXPECT_EQ(0, inside({-1, y}, SQUARE));
    EXPECT_EQ(0, inside({11, y}, SQUARE));
  }
}

TEST(GmInside, VerticesAtThePointsHeightCountOnce) {
  const Points diamond{{0, -5}, {5, 0}, {0, 5}, {-5, 0}};
  EXPECT_EQ(1, inside({0, 0}, diamond));
  EXPECT_EQ(0, inside({-6, 0}, diamond));
  EXPECT_EQ(0, inside({6, 0}, diamond));
  EXPECT_EQ(0, inside({-1, 5}, diamond));
  EXPECT_EQ(0, inside({-1, -5}, diamond));
}

TEST(GmInside, StepsAtThePointsHeightDoNotMislead) {
  // A stair whose step runs along y = 5.
  const Points stair{{0, 0}, {10, 0}, {10, 10}, {6, 10}, {6, 5}, {3, 5}, {3, 8}, {0, 8}};
  EXPECT_EQ(1, inside({1, 5}, stair));
  EXPECT_EQ(1, inside({4, 5}, stair));
  EXPECT_EQ(1, inside({8, 5}, stair));
  EXPECT_EQ(0, inside({4, 6}, stair));
  EXPECT_EQ(0, inside({-1, 5}, stair));
}

TEST(GmInside, NotchIsOutside) {
  EXPECT_EQ(0, inside({5, 3}, NOTCHED));
  EXPECT_EQ(1, inside({5, 2}, NOTCHED));
  EXPECT_EQ(1, inside({5, 1}, NOTCHED));
}

TEST(GmInside, SelfCrossingOutlinesFollowTheEvenOddRule) {
  EXPECT_EQ(1, inside({1, 5}, BOW_TIE));
  EXPECT_EQ(1, inside({9, 5}, BOW_TIE));
  EXPECT_EQ(0, inside({5, 9}, BOW_TIE));
  EXPECT_EQ(0, inside({5, 1}, BOW_TIE));
  EXPECT_EQ(0, inside({0, 0}, STAR));
  EXPECT_EQ(1, inside({0, 60}, STAR));
}

TEST(GmInside, OrientationDoesNotMatter) {
  const Points reversed(NOTCHED.rbegin(), NOTCHED.rend());
  for (int16_t x = -1; x <= 11; ++x) {
    for (int16_t y = -1; y <= 11; ++y) {
      EXPECT_EQ(inside({x, y}, NOTCHED), inside({x, y}, reversed));
    }
  }
}

TEST(GmInside, DegenerateOutlinesHoldTheirBorderOnly) {
  EXPECT_EQ(0, gm_inside_p({0, 0}, nullptr, 0));
  EXPECT_EQ(1, inside({3, 4}, {{3, 4}}));
  EXPECT_EQ(0, inside({3, 5}, {{3, 4}}));
  EXPECT_EQ(1, inside({2, 2}, {{0, 0}, {4, 4}}));
  EXPECT_EQ(0, inside({2, 3}, {{0, 0}, {4, 4}}));
  EXPECT_EQ(0, inside({5, 5}, {{0, 0}, {4, 4}}));
}

TEST(GmInside, ExactAtTheEndsOfTheRange) {
  const Points half{{LOW, LOW}, {HIGH, LOW}, {HIGH, HIGH}};
  EXPECT_EQ(1, inside({0, 0}, half));
  EXPECT_EQ(0, inside({0, 1}, half));
  EXPECT_EQ(1, inside({1, 0}, half));
  // The line from (-32768, -32768) to (32767, 32766) passes just below the diagonal.
  const Points sliver{{LOW, LOW}, {HIGH, HIGH - 1}, {HIGH, HIGH}};
  EXPECT_EQ(1, inside({0, 0}, sliver));
  EXPECT_EQ(0, inside({0, -1}, sliver));
  EXPECT_EQ(0, inside({0, 1}, sliver));
}

TEST(GmInside, AgreesWithTheTurnsOfTheBorder) {
  for (const int range : {4, 12, 100, 4096, 32767}) {
    Generator generator(static_cast<uint32_t>(1000 + range), range);
    for (int i = 0; i < 3000; ++i) {
      const Points polygon = generator.any();
      gm_point point = generator.point();
      if (i % 4 == 0) {
        point = polygon[static_cast<size_t>(i / 4) % polygon.size()];
      }
      ASSERT_EQ(polygons::isInside(point, polygon), inside(point, polygon) == 1)
          << "range " << range << " case " << i;
    }
  }
}

TEST(GmIntersectPolygons, OverlappingOnesShareArea) {
  EXPECT_EQ(1, touch(SQUARE, {{5, 5}, {15, 5}, {15, 15}, {5, 15}}));
  EXPECT_EQ(1, touch(SQUARE, SQUARE));
}

TEST(GmIntersectPolygons, OneInsideTheOtherCounts) {
  EXPECT_EQ(1, touch(SQUARE, {{4, 4}, {6, 4}, {5, 6}}));
}

TEST(GmIntersectPolygons, TouchingCounts) {
  EXPECT_EQ(1, touch(SQUARE, {{10, 10}, {20, 10}, {20, 20}}));        // a vertex
  EXPECT_EQ(1, touch(SQUARE, {{10, 2}, {20, 2}, {20, 8}, {10, 8}}));  // part of an edge
  EXPECT_EQ(1, touch(SQUARE, {{10, 5}, {20, 0}, {20, 10}}));          // a vertex on an edge
}

TEST(GmIntersectPolygons, OneStepApartDoesNotCount) {
  EXPECT_EQ(0, touch(SQUARE, {{11, 0}, {20, 0}, {20, 10}, {11, 10}}));
  EXPECT_EQ(0, touch(SQUARE, {{11, 11}, {20, 11}, {20, 20}}));
}

TEST(GmIntersectPolygons, InTheNotchIsOutside) {
  EXPECT_EQ(0, touch(NOTCHED, {{5, 4}, {6, 10}, {4, 10}}));
  EXPECT_EQ(1, touch(NOTCHED, {{5, 2}, {6, 10}, {4, 10}}));
}

TEST(GmIntersectPolygons, AHoleOfASelfCrossingOutlineIsOutside) {
  const Points small{{-5, -5}, {5, -5}, {5, 5}, {-5, 5}};
  EXPECT_EQ(0, touch(STAR, small));
  EXPECT_EQ(1, touch(STAR, {{-5, 50}, {5, 50}, {5, 60}, {-5, 60}}));
}

TEST(GmIntersectPolygons, BoxesThatOverlapAreNotEnough) {
  EXPECT_EQ(0, touch({{0, 0}, {10, 0}, {0, 10}}, {{10, 10}, {10, 1}, {1, 10}}));
}

TEST(GmIntersectPolygons, WithoutVerticesNothingIsShared) {
  EXPECT_EQ(0, gm_intersect_pp(SQUARE.data(), size(SQUARE), nullptr, 0));
  EXPECT_EQ(0, gm_intersect_pp(nullptr, 0, nullptr, 0));
}

TEST(GmIntersectPolygons, AgreesWithTheJudge) {
  for (const int range : {3, 6, 12, 40}) {
    Generator generator(static_cast<uint32_t>(2000 + range), range);
    int shared = 0;
    for (int i = 0; i < 500; ++i) {
      const Points a = generator.any();
      Points b = generator.anyWith(a);
      if (i % 2 == 0) {  // moved away, to be apart or only just touching about half the time
        for (gm_point& point : b) {
          point.x = static_cast<int16_t>(point.x + range);
        }
      }
      const bool expected = judge::distance(judge::polygon(a), judge::polygon(b)) < 1e-6;
      shared += expected ? 1 : 0;
      ASSERT_EQ(expected, touch(a, b) == 1) << "range " << range << " case " << i;
    }
    EXPECT_GT(shared, 50);
    EXPECT_LT(shared, 490);
  }
}

TEST(GmIntersectPolygonLine, CrossingTouchingAndInsideCount) {
  EXPECT_EQ(1, touchesLine(SQUARE, {{-5, 5}, {15, 5}}));
  EXPECT_EQ(1, touchesLine(SQUARE, {{3, 3}, {4, 4}}));
  EXPECT_EQ(1, touchesLine(SQUARE, {{10, 10}, {20, 20}}));
  EXPECT_EQ(1, touchesLine(SQUARE, {{0, 20}, {20, 0}}));  // passes through the corner (10, 10)
  EXPECT_EQ(1, touchesLine(SQUARE, {{-5, 0}, {15, 0}}));  // runs along an edge
  EXPECT_EQ(1, touchesLine(SQUARE, {{-5, -5}, {20, -5}, {20, 5}, {5, 5}}));
}

TEST(GmIntersectPolygonLine, ApartDoesNotCount) {
  EXPECT_EQ(0, touchesLine(SQUARE, {{0, 21}, {21, 0}}));
  EXPECT_EQ(0, touchesLine(NOTCHED, {{4, 10}, {5, 3}, {6, 10}}));
  EXPECT_EQ(0, touchesLine(SQUARE, {{-5, -1}, {15, -1}}));
}

TEST(GmIntersectPolygonLine, ALineIsNotClosed) {
  EXPECT_EQ(0, touchesLine(SQUARE, {{-5, 5}, {-5, 15}, {15, 15}, {15, 5}}));
}

TEST(GmIntersectPolygonLine, OnePointIsALineToo) {
  EXPECT_EQ(1, touchesLine(SQUARE, {{5, 5}}));
  EXPECT_EQ(1, touchesLine(SQUARE, {{10, 5}}));
  EXPECT_EQ(0, touchesLine(SQUARE, {{11, 5}}));
  EXPECT_EQ(0, gm_intersect_ps(SQUARE.data(), size(SQUARE), nullptr, 0));
}

TEST(GmIntersectPolygonLine, AgreesWithTheJudge) {
  for (const int range : {3, 6, 12, 40}) {
    Generator generator(static_cast<uint32_t>(3000 + range), range);
    for (int i = 0; i < 500; ++i) {
      const Points polygon = generator.any();
      const Points line = generator.points(generator.number(1, 4));
      const bool expected = judge::distance(judge::polygon(polygon), judge::line(line)) < 1e-6;
      ASSERT_EQ(expected, touchesLine(polygon, line) == 1) << "range " << range << " case " << i;
    }
  }
}

TEST(GmIntersectLines, CrossingAndTouchingCount) {
  EXPECT_EQ(1, linesTouch({{0, 0}, {10, 10}}, {{0, 10}, {10, 0}}));
  EXPECT_EQ(1, linesTouch({{0, 0}, {10, 10}}, {{10, 10}, {20, 0}}));
  EXPECT_EQ(1, linesTouch({{0, 0}, {10, 0}}, {{5, 0}, {5, 5}}));
  EXPECT_EQ(1, linesTouch({{0, 0}, {10, 0}}, {{5, 0}, {15, 0}}));
  EXPECT_EQ(1, linesTouch({{0, 0}, {10, 0}}, {{10, 0}, {15, 0}}));
}

TEST(GmIntersectLines, ApartDoesNotCount) {
  EXPECT_EQ(0, linesTouch({{0, 0}, {10, 0}}, {{11, 0}, {15, 0}}));
  EXPECT_EQ(0, linesTouch({{0, 0}, {10, 0}}, {{0, 1}, {10, 1}}));
  EXPECT_EQ(0, linesTouch({{0, 0}, {10, 10}}, {{1, 0}, {11, 10}}));
  EXPECT_EQ(0, linesTouch({{0, 0}, {10, 0}}, {{5, 1}, {5, 5}}));
}

TEST(GmIntersectLines, NeitherLineIsClosed) {
  EXPECT_EQ(0, linesTouch({{0, 0}, {10, 0}, {10, 10}}, {{4, 6}, {5, 6}}));
  EXPECT_EQ(0, linesTouch({{0, 0}, {10, 0}, {10, 10}}, {{0, 5}, {5, 6}, {6, 8}}));
}

TEST(GmIntersectLines, SinglePoints) {
  EXPECT_EQ(1, linesTouch({{3, 3}}, {{3, 3}}));
  EXPECT_EQ(0, linesTouch({{3, 3}}, {{3, 4}}));
  EXPECT_EQ(1, linesTouch({{3, 3}}, {{0, 0}, {6, 6}}));
  EXPECT_EQ(0, linesTouch({{7, 7}}, {{0, 0}, {6, 6}}));
  EXPECT_EQ(1, linesTouch({{3, 3}, {3, 3}}, {{0, 0}, {6, 6}}));
  EXPECT_EQ(0, gm_intersect_ss(nullptr, 0, nullptr, 0));
}

TEST(GmIntersectLines, ExactAtTheEndsOfTheRange) {
  const Points diagonal{{LOW, LOW}, {HIGH, HIGH}};
  EXPECT_EQ(1, linesTouch(diagonal, {{LOW, HIGH}, {HIGH, LOW}}));
  EXPECT_EQ(1, linesTouch(diagonal, {{0, 0}, {HIGH, LOW}}));
  EXPECT_EQ(0, linesTouch(diagonal, {{1, 0}, {HIGH, LOW}}));
  EXPECT_EQ(0, linesTouch(diagonal, {{LOW + 1, LOW}, {HIGH, HIGH - 1}}));
}

TEST(GmIntersectLines, AgreesWithTheJudge) {
  for (const int range : {3, 6, 12, 40}) {
    Generator generator(static_cast<uint32_t>(4000 + range), range);
    for (int i = 0; i < 1000; ++i) {
      const Points a = generator.points(generator.number(1, 4));
      const Points b = generator.points(generator.number(1, 4));
      const bool expected = judge::distance(judge::line(a), judge::line(b)) < 1e-6;
      ASSERT_EQ(expected, linesTouch(a, b) == 1) << "range " << range << " case " << i;
    }
  }
}

gm_point centroidOf(const Points& polygon) {
  gm_point centroid{77, 77};
  EXPECT_EQ(0, gm_centroid_p(polygon.data(), size(polygon), &centroid));
  return centroid;
}

void expectNoCentroid(const Points& polygon) {
  gm_point centroid{77, 77};
  EXPECT_EQ(-1, gm_centroid_p(polygon.data(), size(polygon), &centroid));
  EXPECT_EQ((gm_point{77, 77}), centroid);
}

TEST(GmCentroid, IsThatOfTheAreaNotOfTheVertices) {
  // Vertices crowd at the left edge, the area does not.
  const Points crowded{{0, 0}, {12, 0}, {12, 6}, {0, 6}, {0, 5}, {0, 4}, {0, 3}, {0, 2}, {0, 1}};
  EXPECT_EQ((gm_point{6, 3}), centroidOf(crowded));
  EXPECT_EQ((gm_point{3, 4}), centroidOf({{0, 0}, {9, 0}, {0, 12}}));
}

TEST(GmCentroid, OrientationDoesNotMatter) {
  EXPECT_EQ((gm_point{3, 4}), centroidOf({{0, 12}, {9, 0}, {0, 0}}));
}

TEST(GmCentroid, OfAConcaveArea) {
  // An L of three squares of 2 by 2: the mean of (1,1), (3,1), (1,3) is (5/3, 5/3).
  EXPECT_EQ((gm_point{2, 2}), centroidOf({{0, 0}, {4, 0}, {4, 2}, {2, 2}, {2, 4}, {0, 4}}));
}

TEST(GmCentroid, HalvesGoAwayFromZero) {
  EXPECT_EQ((gm_point{1, 2}), centroidOf({{0, 1}, {1, 1}, {1, 2}, {0, 2}}));
  EXPECT_EQ((gm_point{-1, -2}), centroidOf({{0, -1}, {-1, -1}, {-1, -2}, {0, -2}}));
}

TEST(GmCentroid, FailsWithoutArea) {
  gm_point centroid{77, 77};
  EXPECT_EQ(-1, gm_centroid_p(nullptr, 0, &centroid));
  expectNoCentroid({{1, 1}});
  expectNoCentroid({{1, 1}, {5, 5}});
  expectNoCentroid({{1, 1}, {5, 5}, {3, 3}});
  expectNoCentroid(BOW_TIE);  // both halves cancel out
}

TEST(GmCentroid, FailsBeyondTheRange) {
  // Two opposed triangles of areas A and A - 1/2 far apart: the centroid lies far outside of both.
  expectNoCentroid({{-30000, 0}, {-30000, 100}, {30000, 0}, {30000, 99}});
}

TEST(GmCentroid, ExactAtTheEndsOfTheRange) {
  EXPECT_EQ((gm_point{-1, -1}),  // halves away from zero
            centroidOf({{LOW, LOW}, {HIGH, LOW}, {HIGH, HIGH}, {LOW, HIGH}}));
  const gm_point corner = centroidOf({{HIGH, HIGH}, {HIGH - 1, HIGH}, {HIGH, HIGH - 1}});
  EXPECT_EQ((gm_point{HIGH, HIGH}), corner);
}

TEST(GmCentroid, AgreesWithTheMomentsInFloatingPoint) {
  for (const int range : {10, 4096, 32767}) {
    Generator generator(static_cast<uint32_t>(5000 + range), range);
    for (int i = 0; i < 1000; ++i) {
      const Points polygon = i % 2 == 0 ? generator.concave(12) : generator.convex(8);
      if (polygons::doubledArea(polygon) == 0) {
        continue;
      }
      // Triangles that fan out from the first vertex.
      long double area = 0;
      long double x = 0;
      long double y = 0;
      for (size_t k = 2; k < polygon.size(); ++k) {
        const gm_point a = polygon[0];
        const gm_point b = polygon[k - 1];
        const gm_point c = polygon[k];
        const long double triangle =
            (b.x - a.x) * (c.y - a.y + 0.0L) - (b.y - a.y) * (c.x - a.x + 0.0L);
        area += triangle;
        x += triangle * (a.x + b.x + c.x) / 3;
        y += triangle * (a.y + b.y + c.y) / 3;
      }
      const gm_point centroid = centroidOf(polygon);
      ASSERT_NEAR(static_cast<double>(x / area), centroid.x, 0.5 + 1e-6);
      ASSERT_NEAR(static_cast<double>(y / area), centroid.y, 0.5 + 1e-6);
    }
  }
}

TEST(GmScale, ScalesBothAxesOnTheirOwn) {
  Points points{{100, 100}, {-7, 3}};
  const int32_t scale[2] = {2 << 16, -(3 << 16)};
  EXPECT_EQ(0, gm_transform_scale(points.data(), size(points), scale));
  EXPECT_EQ((Points{{200, -300}, {-14, -9}}), points);
}

TEST(GmScale, HalvesGoAwayFromZero) {
  Points points{{1, -1}, {3, -3}, {2, -2}};
  const int32_t half[2] = {1 << 15, 1 << 15};
  EXPECT_EQ(0, gm_transform_scale(points.data(), size(points), half));
  EXPECT_EQ((Points{{1, -1}, {2, -2}, {1, -1}}), points);
}

TEST(GmScale, JustBelowAHalfGoesToZero) {
  Points points{{1, -1}};
  const int32_t scale[2] = {(1 << 15) - 1, (1 << 15) - 1};
  EXPECT_EQ(0, gm_transform_scale(points.data(), size(points), scale));
  EXPECT_EQ((Points{{0, 0}}), points);
}

TEST(GmScale, BeyondTheRangeNothingChanges) {
  const Points before{{1, 1}, {16384, 0}};
  Points points = before;
  const int32_t twice[2] = {2 << 16, 2 << 16};
  EXPECT_EQ(-1, gm_transform_scale(points.data(), size(points), twice));
  EXPECT_EQ(before, points);

  points = {{1, 1}, {0, LOW}};
  const int32_t mirror[2] = {1 << 16, -(1 << 16)};
  EXPECT_EQ(-1, gm_transform_scale(points.data(), size(points), mirror));
  EXPECT_EQ((Points{{1, 1}, {0, LOW}}), points);
}

TEST(GmScale, TheEndsOfTheRangeAreReached) {
  Points points{{-16384, LOW}, {HIGH, 0}};
  const int32_t scale[2] = {1 << 16, 1 << 16};
  EXPECT_EQ(0, gm_transform_scale(points.data(), size(points), scale));
  EXPECT_EQ((Points{{-16384, LOW}, {HIGH, 0}}), points);

  Points low{{-16384, 16384}};
  const int32_t twice[2] = {2 << 16, -(2 << 16)};
  EXPECT_EQ(0, gm_transform_scale(low.data(), size(low), twice));
  EXPECT_EQ((Points{{LOW, LOW}}), low);
}

TEST(GmScale, LargestFactor) {
  Points points{{1, -1}};
  const int32_t scale[2] = {std::numeric_limits<int32_t>::min(), 0};
  EXPECT_EQ(0, gm_transform_scale(points.data(), size(points), scale));
  EXPECT_EQ((Points{{LOW, 0}}), points);
}

TEST(GmScale, NothingToScale) {
  const int32_t scale[2] = {0, 0};
  EXPECT_EQ(0, gm_transform_scale(nullptr, 0, scale));
  EXPECT_EQ(-1, gm_transform_scale(nullptr, 1, scale));
}

}  // namespace
