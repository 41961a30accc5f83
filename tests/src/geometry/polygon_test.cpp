#include "geometry/polygon.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <span>
#include <vector>

#include "fakes/log_capture.h"
#include "geometry/polygon_container.h"
#include "geometry/polyline.h"

namespace {

using Points = std::vector<Point>;

Point point(int x, int y) {
  return {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y)};
}

Points verticesOf(const Points& points) {
  return Polygon(points).getVertices();
}

Polygon emptyPolygon() {
  Polygon polygon;
  const Point any{1, 2};
  polygon.initialize(std::span<const Point>(&any, 0));
  return polygon;
}

void expectBox(const Polygon& polygon, int minX, int maxX, int minY, int maxY) {
  EXPECT_EQ(minX, polygon.getMinX());
  EXPECT_EQ(maxX, polygon.getMaxX());
  EXPECT_EQ(minY, polygon.getMinY());
  EXPECT_EQ(maxY, polygon.getMaxY());
  EXPECT_EQ(maxX - minX, polygon.getWidth());
  EXPECT_EQ(maxY - minY, polygon.getHeight());
}

double area(const Polygon& polygon) {
  const Points& v = polygon.getVertices();
  std::int64_t twice = 0;
  for (std::size_t i = 0; i < v.size(); ++i) {
    const Point& a = v[i];
    const Point& b = v[(i + 1) % v.size()];
    twice += std::int64_t{a.x} * b.y - std::int64_t{a.y} * b.x;
  }
  return std::abs(static_cast<double>(twice)) / 2;
}

double area(const PolygonContainer& polygons) {
  double sum = 0;
  for (const auto& polygon : polygons) {
    sum += area(*polygon);
  }
  return sum;
}

TEST(PolygonConstruction, FromNoPointsIsTheUnitTriangle) {
  const Points expected = {{0, 0}, {0, 1}, {1, 0}};
  EXPECT_EQ(expected, Polygon().getVertices());
  EXPECT_EQ(expected, Polygon(std::span<const Point>()).getVertices());
  const Point any{5, 5};
  EXPECT_EQ(expected, Polygon(std::span<const Point>(&any, 0)).getVertices());
  expectBox(Polygon(), 0, 1, 0, 1);
}

TEST(PolygonConstruction, FromOnePointIsATriangleBesideIt) {
  EXPECT_EQ((Points{{3000, 100}, {2999, 101}, {2999, 100}}), verticesOf({{3000, 100}}));
  EXPECT_EQ((Points{{0, 0}, {1, 1}, {1, 0}}), verticesOf({{0, 0}}));
  EXPECT_EQ((Points{{-50, 3000}, {-49, 2999}, {-49, 3000}}), verticesOf({{-50, 3000}}));
  expectBox(Polygon(Points{{3000, 100}}), 2999, 3000, 100, 101);
}

TEST(PolygonConstruction, PadsInwardsFrom2048On) {
  EXPECT_EQ((Points{{2047, 2048}, {2048, 2047}, {2048, 2048}}), verticesOf({{2047, 2048}}));
  EXPECT_EQ((Points{{4096, -4096}, {4095, -4095}, {4095, -4096}}), verticesOf({{4096, -4096}}));
}

TEST(PolygonConstruction, FromTwoEqualPointsHasFourVertices) {
  EXPECT_EQ((Points{{10, 3000}, {10, 3000}, {11, 2999}, {11, 3000}}),
            verticesOf({{10, 3000}, {10, 3000}}));
}

TEST(PolygonConstruction, FromTwoPointsAddsAThirdBesideTheSecond) {
  EXPECT_EQ((Points{{0, 0}, {100, 50}, {101, 51}}), verticesOf({{0, 0}, {100, 50}}));
  EXPECT_EQ((Points{{0, 0}, {2048, 2047}, {2047, 2048}}), verticesOf({{0, 0}, {2048, 2047}}));
}

TEST(PolygonConstruction, FromTwoPointsMayStayWithoutArea) {
  EXPECT_EQ((Points{{0, 0}, {5, 5}, {6, 6}}), verticesOf({{0, 0}, {5, 5}}));
}

TEST(PolygonConstruction, FromThreeOrMorePointsKeepsThem) {
  const Points same = {{7, 7}, {7, 7}, {7, 7}};
  EXPECT_EQ(same, verticesOf(same));
  const Points bent = {{-4096, 0}, {0, 500}, {300, -20}, {4096, 4096}, {0, -700}};
  EXPECT_EQ(bent, verticesOf(bent));
  expectBox(Polygon(bent), -4096, 4096, -700, 4096);
}

TEST(PolygonConstruction, BoxSpansTheWholeRange) {
  const Polygon polygon(Points{{-32768, 32767}, {32767, -32768}, {0, 0}});
  expectBox(polygon, -32768, 32767, -32768, 32767);
  EXPECT_EQ(65535, polygon.getWidth());
}

TEST(PolygonConstruction, AroundACentreUsesIntegerHalves) {
  const Polygon polygon(Point{10, 20}, 5, 7);
  EXPECT_EQ((Points{{8, 17}, {8, 24}, {13, 24}, {13, 17}}), polygon.getVertices());
  expectBox(polygon, 8, 13, 17, 24);
}

TEST(PolygonConstruction, AroundANegativeCentre) {
  const Polygon polygon(Point{-10, -20}, 4, 6);
  EXPECT_EQ((Points{{-12, -23}, {-12, -17}, {-8, -17}, {-8, -23}}), polygon.getVertices());
}

TEST(PolygonConstruction, FromLimits) {
  const Polygon polygon(-1, 2, -3, 4);
  EXPECT_EQ((Points{{-1, -3}, {-1, 4}, {2, 4}, {2, -3}}), polygon.getVertices());
  expectBox(polygon, -1, 2, -3, 4);
}

TEST(PolygonInitialize, ReplacesVerticesAndBox) {
  Polygon polygon(-1, 2, -3, 4);
  const Points points = {{100, 100}, {200, 300}, {150, 50}};
  polygon.initialize(points);
  EXPECT_EQ(points, polygon.getVertices());
  expectBox(polygon, 100, 200, 50, 300);
}

TEST(PolygonInitialize, TakesFewVerticesAsTheyStand) {
  Polygon polygon;
  polygon.initialize(Points{{5, 6}});
  EXPECT_EQ((Points{{5, 6}}), polygon.getVertices());
  expectBox(polygon, 5, 5, 6, 6);
}

TEST(PolygonInitialize, WithoutDataDoesNothing) {
  Polygon polygon(-1, 2, -3, 4);
  polygon.initialize(std::span<const Point>());
  EXPECT_EQ((Points{{-1, -3}, {-1, 4}, {2, 4}, {2, -3}}), polygon.getVertices());
  expectBox(polygon, -1, 2, -3, 4);
}

TEST(PolygonInitialize, WithNoVerticesEmpties) {
  const Polygon polygon = emptyPolygon();
  EXPECT_TRUE(polygon.getVertices().empty());
  EXPECT_EQ(-65535, polygon.getWidth());
  EXPECT_EQ(-65535, polygon.getHeight());
}

TEST(Polygon, CloneIsEqualAndSeparate) {
  const Polygon polygon(Points{{0, 0}, {10, 0}, {0, 20}});
  const std::unique_ptr<Polygon> copy = polygon.clone();
  ASSERT_TRUE(copy);
  EXPECT_NE(&polygon, copy.get());
  EXPECT_EQ(polygon.getVertices(), copy->getVertices());
  expectBox(*copy, 0, 10, 0, 20);
}

const Points PENTAGON = {{0, 0}, {100, -20}, {150, 60}, {80, 120}, {-10, 70}};

TEST(PolygonEquality, HoldsForEveryRotationInBothDirections) {
  const Polygon polygon(PENTAGON);
  Points other = PENTAGON;
  for (int direction = 0; direction < 2; ++direction) {
    for (std::size_t turn = 0; turn < other.size(); ++turn) {
      EXPECT_TRUE(polygon == Polygon(other));
      EXPECT_TRUE(Polygon(other) == polygon);
      std::rotate(other.begin(), other.begin() + 1, other.end());
    }
    std::reverse(other.begin(), other.end());
  }
}

TEST(PolygonEquality, FailsForAnotherVertex) {
  for (std::size_t i = 0; i < PENTAGON.size(); ++i) {
    Points other = PENTAGON;
    ++other[i].x;
    EXPECT_FALSE(Polygon(PENTAGON) == Polygon(other)) << "vertex " << i;
  }
}

TEST(PolygonEquality, FailsForAnotherOrder) {
  Points other = PENTAGON;
  std::swap(other[2], other[3]);
  EXPECT_FALSE(Polygon(PENTAGON) == Polygon(other));
}

TEST(PolygonEquality, FailsForAnotherCount) {
  Points more = PENTAGON;
  more.push_back(PENTAGON[0]);
  EXPECT_FALSE(Polygon(PENTAGON) == Polygon(more));
  EXPECT_FALSE(Polygon(more) == Polygon(PENTAGON));
  EXPECT_FALSE(emptyPolygon() == Polygon(PENTAGON));
  EXPECT_FALSE(Polygon(PENTAGON) == emptyPolygon());
}

TEST(PolygonEquality, HoldsForAnEmptyPair) {
  EXPECT_TRUE(emptyPolygon() == emptyPolygon());
}

TEST(PolygonEquality, LooksOnlyAtTheFirstPlaceOfARepeatedVertex) {
  const Point a{0, 0}, b{10, 0}, c{10, 10}, d{0, 10};
  // A rotation of the first, but its beginning A B is found at the second A only.
  EXPECT_FALSE(Polygon(Points{a, b, a, c, d}) == Polygon(Points{a, c, d, a, b}));
  EXPECT_TRUE(Polygon(Points{a, b, a, c, d}) == Polygon(Points{a, b, a, c, d}));
}

TEST(Polygon, FindPositionGivesTheFirstEqualVertex) {
  const Polygon polygon(Points{{0, 0}, {5, 5}, {5, 5}, {9, 0}});
  EXPECT_EQ(0, polygon.findPosition({0, 0}));
  EXPECT_EQ(1, polygon.findPosition({5, 5}));
  EXPECT_EQ(3, polygon.findPosition({9, 0}));
  EXPECT_EQ(-1, polygon.findPosition({4, 4}));
}

TEST(Polygon, IntersectsPolygonsThatShareAPoint) {
  const Polygon square(0, 100, 0, 100);
  EXPECT_TRUE(square.doesIntersect(Polygon(50, 150, 50, 150)));
  EXPECT_TRUE(square.doesIntersect(Polygon(40, 60, 40, 60)));
  EXPECT_TRUE(Polygon(40, 60, 40, 60).doesIntersect(square));
  EXPECT_TRUE(square.doesIntersect(Polygon(100, 200, 0, 100)));
  EXPECT_TRUE(square.doesIntersect(Polygon(100, 200, 100, 200)));
  EXPECT_FALSE(square.doesIntersect(Polygon(101, 200, 0, 100)));
}

TEST(Polygon, IntersectsPolylinesThatShareAPoint) {
  const Polygon square(0, 100, 0, 100);
  EXPECT_TRUE(square.doesIntersect(Polyline(Points{{-50, 50}, {150, 50}})));
  EXPECT_TRUE(square.doesIntersect(Polyline(Points{{40, 40}, {60, 60}})));
  EXPECT_TRUE(square.doesIntersect(Polyline(Points{{100, 50}, {150, 50}})));
  EXPECT_FALSE(square.doesIntersect(Polyline(Points{{101, 50}, {150, 50}})));
}

TEST(Polygon, HoldsAPolygonWithEveryVertexInside) {
  const Polygon square(0, 100, 0, 100);
  EXPECT_TRUE(square.isPolygonInside(Polygon(10, 90, 10, 90)));
  EXPECT_TRUE(square.isPolygonInside(square));
  EXPECT_FALSE(square.isPolygonInside(Polygon(10, 101, 10, 90)));
  EXPECT_FALSE(Polygon(10, 90, 10, 90).isPolygonInside(square));
}

TEST(Polygon, HoldsAPolygonAcrossItsNotchByItsVertices) {
  // Open at the top between x = 40 and 60; the vertices lie in both arms.
  const Polygon notched(
      Points{{0, 0}, {0, 100}, {40, 100}, {40, 20}, {60, 20}, {60, 100}, {100, 100}, {100, 0}});
  EXPECT_TRUE(notched.isPolygonInside(Polygon(20, 80, 10, 90)));
  EXPECT_FALSE(notched.isPolygonInside(Polygon(45, 55, 30, 90)));
}

TEST(Polygon, HoldsAnEmptyPolygon) {
  EXPECT_TRUE(Polygon(0, 100, 0, 100).isPolygonInside(emptyPolygon()));
}

TEST(Polygon, CentroidIsThatOfTheArea) {
  EXPECT_EQ(point(50, 25), Polygon(0, 100, 0, 50).getCentroid());
  EXPECT_EQ(point(100, 200), Polygon(Points{{0, 0}, {300, 0}, {0, 600}}).getCentroid());
  // An L of 200 x 400 and 200 x 200: (80000 * 100 + 40000 * 300) / 120000 = 166.7 in both axes.
  const Polygon bent(Points{{0, 0}, {0, 400}, {200, 400}, {200, 200}, {400, 200}, {400, 0}});
  EXPECT_EQ(point(167, 167), bent.getCentroid());
}

TEST(Polygon, CentroidWithoutAreaIsTheFirstVertex) {
  EXPECT_EQ(point(30, 40), Polygon(Points{{30, 40}, {60, 80}, {90, 120}}).getCentroid());
}

TEST(Polygon, MoveToShiftsEveryVertexButNotTheBox) {
  Polygon polygon(0, 100, 0, 50);
  polygon.moveTo({-1000, 2000});
  EXPECT_EQ((Points{{-1050, 1975}, {-1050, 2025}, {-950, 2025}, {-950, 1975}}),
            polygon.getVertices());
  EXPECT_EQ(point(-1000, 2000), polygon.getCentroid());
  expectBox(polygon, 0, 100, 0, 50);
}

TEST(PolygonScaling, KeepsTheCentroid) {
  const Polygon polygon(0, 100, 0, 50);
  EXPECT_EQ((Points{{-50, -25}, {-50, 75}, {150, 75}, {150, -25}}),
            polygon.createScaledCopy(2.0f).getVertices());
  EXPECT_EQ((Points{{0, 0}, {0, 50}, {100, 50}, {100, 0}}), polygon.getVertices());
}

TEST(PolygonScaling, ByMinusOneTurnsItAround) {
  EXPECT_EQ((Points{{100, 50}, {100, 0}, {0, 0}, {0, 50}}),
            Polygon(0, 100, 0, 50).createScaledCopy(-1.0f).getVertices());
}

TEST(PolygonScaling, ByOneChangesNothing) {
  EXPECT_EQ(PENTAGON, Polygon(PENTAGON).createScaledCopy(1.0f).getVertices());
}

TEST(PolygonScaling, RoundsTheFactorHalfAwayFromZero) {
  std::mt19937 random(5);
  std::uniform_real_distribution<float> factors(-1.0f, 1.0f);
  constexpr int SIDE = 30000;
  const Polygon polygon(0, SIDE, 0, SIDE);
  for (int i = 0; i < 500; ++i) {
    const float factor = factors(random);
    const double fixed = std::round(static_cast<double>(factor) * 65536);
    const double side = std::round(std::abs(fixed) * SIDE / 65536);
    const Points scaled = polygon.createScaledCopy(factor).getVertices();
    ASSERT_EQ(4u, scaled.size());
    EXPECT_EQ(side, std::abs(scaled[2].x - scaled[0].x)) << factor;
    EXPECT_EQ(side, std::abs(scaled[2].y - scaled[0].y)) << factor;
  }
}

TEST(PolygonScaling, BeyondTheRangeGivesAnUnscaledCopy) {
  const Polygon polygon(0, 4096, 0, 4096);
  const LogCapture log;
  const Polygon copy = polygon.createScaledCopy(10.0f);
  EXPECT_EQ(polygon.getVertices(), copy.getVertices());
  EXPECT_EQ(1, log.count(LOG_WARNING, "Failed to create a scaled copy of a polygon\n"));
}

TEST(PolygonClipping, IntersectGivesWhatLiesInBoth) {
  PolygonContainer result;
  Polygon(0, 1000, 0, 1000).intersect(Polygon(400, 1500, -300, 700), result);
  ASSERT_EQ(1u, result.size());
  EXPECT_TRUE(Polygon(400, 1000, 0, 700) == result[0]);
  expectBox(result[0], 400, 1000, 0, 700);
}

TEST(PolygonClipping, CutOffGivesWhatLiesOutside) {
  PolygonContainer result;
  Polygon(0, 1000, 0, 1000).cutOff(Polygon(400, 1500, -300, 1300), result);
  ASSERT_EQ(1u, result.size());
  EXPECT_TRUE(Polygon(0, 400, 0, 1000) == result[0]);
}

TEST(PolygonClipping, CutOffMayGivePieces) {
  PolygonContainer result;
  Polygon(0, 1000, 0, 1000).cutOff(Polygon(400, 600, -300, 1300), result);
  ASSERT_EQ(2u, result.size());
  const bool isLeftFirst = result[0].getMinX() == 0;
  EXPECT_TRUE(Polygon(0, 400, 0, 1000) == result[isLeftFirst ? 0 : 1]);
  EXPECT_TRUE(Polygon(600, 1000, 0, 1000) == result[isLeftFirst ? 1 : 0]);
}

TEST(PolygonClipping, DisjointPolygons) {
  const Polygon subject(0, 100, 0, 100);
  const Polygon far(500, 600, 500, 600);
  PolygonContainer inside;
  subject.intersect(far, inside);
  EXPECT_TRUE(inside.empty());
  PolygonContainer outside;
  subject.cutOff(far, outside);
  ASSERT_EQ(1u, outside.size());
  EXPECT_TRUE(subject == outside[0]);
}

TEST(PolygonClipping, AddsToWhatTheContainerHolds) {
  PolygonContainer result;
  result.insert(std::make_unique<Polygon>(1, 2, 3, 4));
  Polygon(0, 1000, 0, 1000).intersect(Polygon(400, 1500, -300, 700), result);
  ASSERT_EQ(2u, result.size());
  EXPECT_TRUE(Polygon(1, 2, 3, 4) == result[0]);
}

TEST(PolygonClipping, KeepsAPaddedPointInsideAnArea) {
  const Polygon square(0, 1000, 0, 1000);
  for (const Points& outline :
       {Points{{500, 500}}, Points{{500, 500}, {500, 500}}, Points{{500, 500}, {600, 500}}}) {
    PolygonContainer result;
    Polygon(outline).intersect(square, result);
    ASSERT_EQ(1u, result.size());
    EXPECT_EQ(area(Polygon(outline)), area(result[0]));
  }
}

TEST(PolygonClipping, MovesSharedVerticesOfTheClipPolygonToFreePoints) {
  // Every vertex of the clip polygon is one of the subject's: the first free point of the ring
  // around each is the one up and to the left of it.
  const Polygon square(0, 1000, 0, 1000);
  PolygonContainer inside;
  square.intersect(square, inside);
  ASSERT_EQ(1u, inside.size());
  EXPECT_TRUE(Polygon(0, 999, 1, 1000) == inside[0]);

  PolygonContainer outside;
  square.cutOff(square, outside);
  EXPECT_EQ(1000.0 * 1000 - 999.0 * 999, area(outside));
}

TEST(PolygonClipping, LeavesThePolygonsThemselvesAsTheyAre) {
  const Polygon subject(0, 1000, 0, 1000);
  const Polygon clip(0, 500, 0, 500);
  PolygonContainer result;
  subject.intersect(clip, result);
  EXPECT_EQ((Points{{0, 0}, {0, 1000}, {1000, 1000}, {1000, 0}}), subject.getVertices());
  EXPECT_EQ((Points{{0, 0}, {0, 500}, {500, 500}, {500, 0}}), clip.getVertices());
}

TEST(PolygonClipping, MovesSharedVerticesWithinThePicture) {
  // At the picture's border a ring is clamped: (-4096, -4096) goes up, (-4096, 4096) down, the
  // right corners to the left.
  const Polygon picture(-4096, 4096, -4096, 4096);
  PolygonContainer result;
  picture.intersect(picture, result);
  ASSERT_EQ(1u, result.size());
  EXPECT_TRUE(Polygon(Points{{-4096, -4095}, {-4096, 4095}, {4095, 4096}, {4095, -4095}}) ==
              result[0]);
}

TEST(PolygonClipping, TakesEveryFreePointOnlyOnce) {
  // Both vertices at (0, 0) are the subject's: the first goes to (-1, 1), the second to (-1, -1).
  PolygonContainer result;
  Polygon(0, 1000, 0, 1000).intersect(Polygon(Points{{0, 0}, {0, 0}, {400, -1}, {400, 1}}), result);
  ASSERT_EQ(1u, result.size());
  EXPECT_TRUE(Polygon(0, 400, 0, 1) == result[0]);
}

// What is cut out of a large square whose outline also runs through the given points.
PolygonContainer cutOutOfSquareThrough(const Points& points, const Polygon& clip) {
  Points outline = points;
  for (const Point& corner : Points{{-3000, -3000}, {-3000, 3000}, {3000, 3000}, {3000, -3000}}) {
    outline.push_back(corner);
  }
  PolygonContainer result;
  Polygon(outline).intersect(clip, result);
  return result;
}

bool isSame(const PolygonContainer& a, const PolygonContainer& b) {
  bool same = a.size() == b.size();
  for (std::size_t i = 0; same && i < a.size(); ++i) {
    same = a[i] == b[i];
  }
  return same;
}

Polygon triangleFrom(Point tip) {
  return Polygon(Points{tip, {1500, -2000}, {2000, -1500}});
}

TEST(PolygonClipping, OfARingsSidesTheLeftOneIsTakenFirst) {
  // Of the ring around (0, 0) the subject holds the rows above and below.
  Points taken{{0, 0}, {-1, 1}, {0, 1}, {1, 1}, {1, -1}, {0, -1}, {-1, -1}};
  const PolygonContainer atLeft = cutOutOfSquareThrough(taken, triangleFrom({-1, 0}));
  const PolygonContainer atRight = cutOutOfSquareThrough(taken, triangleFrom({1, 0}));
  ASSERT_FALSE(atLeft.empty());
  ASSERT_FALSE(isSame(atLeft, atRight));
  EXPECT_TRUE(isSame(atLeft, cutOutOfSquareThrough(taken, triangleFrom({0, 0}))));

  taken.push_back({-1, 0});
  const PolygonContainer whereLeftIsTaken = cutOutOfSquareThrough(taken, triangleFrom({1, 0}));
  ASSERT_FALSE(whereLeftIsTaken.empty());
  EXPECT_TRUE(isSame(whereLeftIsTaken, cutOutOfSquareThrough(taken, triangleFrom({0, 0}))));
}

TEST(PolygonClipping, ReplacementGoesOnToTheNextRing) {
  // The subject holds the whole first ring around (0, 0) and the point itself, so that the clip
  // polygon's vertex there goes to the second ring's first point, (-2, 2).
  const Polygon subject(Points{{0, 0},
                               {-1, 1},
                               {0, 1},
                               {1, 1},
                               {1, 0},
                               {1, -1},
                               {0, -1},
                               {-1, -1},
                               {-1, 0},
                               {-3000, -3000},
                               {-3000, 3000},
                               {3000, 3000},
                               {3000, -3000}});
  const Polygon clip(Points{{0, 0}, {1500, -2000}, {2000, -1500}});
  const Polygon moved(Points{{-2, 2}, {1500, -2000}, {2000, -1500}});
  PolygonContainer withShared;
  subject.intersect(clip, withShared);
  PolygonContainer withMoved;
  subject.intersect(moved, withMoved);
  ASSERT_FALSE(withMoved.empty());
  ASSERT_EQ(withMoved.size(), withShared.size());
  for (std::size_t i = 0; i < withMoved.size(); ++i) {
    EXPECT_TRUE(withMoved[i] == withShared[i]);
  }
}

TEST(PolygonClipping, OfRectanglesIsTheRectangleOfTheInnerLimits) {
  std::mt19937 random(6);
  std::uniform_int_distribution<int> coordinate(-4096, 4096);
  int overlapping = 0;
  for (int i = 0; i < 500; ++i) {
    std::array<int, 8> c;
    for (int& value : c) {
      value = coordinate(random);
    }
    for (int k = 0; k < 8; k += 2) {
      if (c[k] > c[k + 1]) {
        std::swap(c[k], c[k + 1]);
      }
    }
    const Polygon a(c[0], c[1], c[2], c[3]);
    const Polygon b(c[4], c[5], c[6], c[7]);
    if (area(a) == 0 || area(b) == 0) {
      continue;
    }
    const bool sharesVertices = std::any_of(b.getVertices().begin(), b.getVertices().end(),
                                            [&](const Point& p) { return a.findPosition(p) >= 0; });
    if (sharesVertices) {
      continue;
    }
    const int left = std::max(c[0], c[4]), right = std::min(c[1], c[5]);
    const int bottom = std::max(c[2], c[6]), top = std::min(c[3], c[7]);
    PolygonContainer inside;
    a.intersect(b, inside);
    PolygonContainer outside;
    a.cutOff(b, outside);
    const double shared =
        left < right && bottom < top ? 1.0 * (right - left) * (top - bottom) : 0.0;
    EXPECT_EQ(area(a) - shared, area(outside));
    if (shared == 0) {
      EXPECT_TRUE(inside.empty());
      continue;
    }
    ++overlapping;
    ASSERT_EQ(1u, inside.size());
    EXPECT_TRUE(Polygon(left, right, bottom, top) == inside[0]);
  }
  EXPECT_GT(overlapping, 50);
}

TEST(PolygonSvg, WithoutStyleHasNoStyleAttribute) {
  EXPECT_EQ("<polygon class=\"area\" points=\" -1.000,0.500 0.000,-1.000 0.250,1.000\" />\n",
            Polygon(Points{{-4096, 2048}, {0, -4096}, {1024, 4096}}).toStringSvg("", "area"));
}

TEST(PolygonSvg, PutsTheStyleBetweenBlanks) {
  EXPECT_EQ(
      "<polygon class=\"area\" points=\" 0.000,0.000 0.000,1.000 1.000,0.000\" style=\"fill:red\"  "
      "/>\n",
      Polygon(Points{{0, 0}, {0, 4096}, {4096, 0}}).toStringSvg("fill:red", "area"));
}

TEST(PolygonSvg, OfTheBoxBeginsAtTheLowerLeftAndGoesToTheRight) {
  const Polygon polygon(Points{{-4096, 0}, {0, 2048}, {1024, -512}});
  EXPECT_EQ(
      "<polygon class=\"object\" points=\" -1.000,-0.125 0.250,-0.125 0.250,0.500 -1.000,0.500\" "
      "/>\n",
      polygon.toBoundingBoxStringSvg("", "object"));
  EXPECT_EQ(
      "<polygon class=\"object\" points=\" -1.000,-0.125 0.250,-0.125 0.250,0.500 -1.000,0.500\" "
      "style=\"s\"  />\n",
      polygon.toBoundingBoxStringSvg("s", "object"));
}

TEST(Polygon, PrintLogsItsVertices) {
  const LogCapture log;
  Polygon(Points{{1, -2}, {3, 4}, {5, 60}}).print();
  std::string logged;
  for (const LogLine& line : log.lines()) {
    logged += line.text;
  }
  for (const char* text : {"(1, -2)", "(3, 4)", "(5, 60)"}) {
    EXPECT_NE(std::string::npos, logged.find(text));
  }
}

TEST(Polygon, TakesPairsOfCoordinatesAsTheConstructorTakesPoints) {
  for (const Points& points :
       {Points{}, Points{{3000, 100}}, Points{{5, 5}, {5, 5}}, Points{{5, 5}, {2048, -7}},
        Points{{0, 0}, {0, 10}, {10, 10}}, Points{{-9, 4}, {1, 12}, {10, 10}, {40, -3}}}) {
    std::vector<std::int32_t> coordinates;
    for (const Point& p : points) {
      coordinates.insert(coordinates.end(), {p.x, p.y});
    }
    Polygon polygon(Points{{-100, -100}, {-100, 100}, {100, 100}, {100, -100}, {0, -200}});
    polygon.assign(coordinates);
    const Polygon expected(points);
    EXPECT_EQ(expected.getVertices(), polygon.getVertices());
    EXPECT_EQ(expected.getMinX(), polygon.getMinX());
    EXPECT_EQ(expected.getMaxX(), polygon.getMaxX());
    EXPECT_EQ(expected.getMinY(), polygon.getMinY());
    EXPECT_EQ(expected.getMaxY(), polygon.getMaxY());
    EXPECT_EQ(expected.getWidth(), polygon.getWidth());
    EXPECT_EQ(expected.getHeight(), polygon.getHeight());
  }
}

TEST(Polygon, OfPairsOfCoordinatesTheLow16BitsCountAndAnOddLastOneDoesNot) {
  Polygon polygon;
  polygon.assign(std::vector<std::int32_t>{65536, 0, 70000, 1, 3, -65535, 9});
  EXPECT_EQ((Points{{0, 0}, {4464, 1}, {3, 1}}), polygon.getVertices());
}

TEST(Polygon, BecomesTheRectangleOfItsLimits) {
  Polygon polygon(Points{{0, 0}, {1, 5}, {7, 7}, {9, -3}, {2, -20}});
  polygon.assignRectangle(-3, 8, 10, 40);
  const Polygon expected(-3, 8, 10, 40);
  EXPECT_EQ(expected.getVertices(), polygon.getVertices());
  EXPECT_EQ(expected.getMinY(), polygon.getMinY());
  EXPECT_EQ(expected.getHeight(), polygon.getHeight());
}

}  // namespace
