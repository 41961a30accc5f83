#include "geometry/prepared_area.h"

#include <gm.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <span>
#include <vector>

#include "geometry/gm_points.h"
#include "geometry/polygon.h"

namespace {

using Points = std::vector<Point>;
using Relation = PreparedArea::Relation_e;
using Place = PreparedArea::Place_e;

const Points SQUARE{{0, 0}, {0, 100}, {100, 100}, {100, 0}};

// A U that is open at the top.
const Points CUP{{0, 0}, {0, 100}, {20, 100}, {20, 20}, {80, 20}, {80, 100}, {100, 100}, {100, 0}};

Polygon boxAround(int x, int y, int half) {
  return {x - half, x + half, y - half, y + half};
}

TEST(PreparedArea, APointIsInsideOutsideOrNearTheBorder) {
  const PreparedArea area{Polygon(SQUARE)};
  EXPECT_EQ(Place::inside, area.locate({50, 50}));
  EXPECT_EQ(Place::outside, area.locate({150, 50}));
  EXPECT_EQ(Place::outside, area.locate({-50, 50}));
  EXPECT_EQ(Place::outside, area.locate({50, 150}));
  EXPECT_EQ(Place::outside, area.locate({50, -50}));
  EXPECT_EQ(Place::border, area.locate({0, 50}));
  EXPECT_EQ(Place::border, area.locate({100, 100}));
}

TEST(PreparedArea, OneStepFromTheBorderIsNearItAndTwoAreNot) {
  const PreparedArea area{Polygon(SQUARE)};
  EXPECT_EQ(Place::border, area.locate({1, 50}));
  EXPECT_EQ(Place::inside, area.locate({2, 50}));
  EXPECT_EQ(Place::border, area.locate({-1, 50}));
  EXPECT_EQ(Place::outside, area.locate({-2, 50}));
}

TEST(PreparedArea, TheOpeningOfACupIsOutside) {
  const PreparedArea area{Polygon(CUP)};
  EXPECT_EQ(Place::outside, area.locate({50, 60}));
  EXPECT_EQ(Place::inside, area.locate({50, 10}));
  EXPECT_EQ(Place::inside, area.locate({10, 60}));
  EXPECT_EQ(Place::inside, area.locate({90, 60}));
}

TEST(PreparedArea, AnOutlineInTheOpeningOfACupIsApartFromIt) {
  const PreparedArea area{Polygon(CUP)};
  EXPECT_EQ(Relation::apart, area.relate(boxAround(50, 60, 20)));
  EXPECT_EQ(Relation::within, area.relate(boxAround(50, 10, 5)));
  EXPECT_EQ(Relation::unsure, area.relate(boxAround(50, 20, 5)));
}

TEST(PreparedArea, AnOutlineThatTouchesIsNeitherApartNorWithin) {
  const PreparedArea area{Polygon(SQUARE)};
  EXPECT_EQ(Relation::unsure, area.relate(boxAround(110, 50, 10)));
  EXPECT_EQ(Relation::apart, area.relate(boxAround(111, 50, 10)));
  EXPECT_EQ(Relation::unsure, area.relate(boxAround(90, 50, 10)));
  EXPECT_EQ(Relation::within, area.relate(boxAround(89, 50, 10)));
}

TEST(PreparedArea, AnOutlineAroundTheAreaIsNotApart) {
  const PreparedArea area{Polygon(SQUARE)};
  EXPECT_EQ(Relation::unsure, area.relate(boxAround(50, 50, 200)));
}

TEST(PreparedArea, TheMiddleOfAnAreaThatCrossesItselfTwiceIsOutside) {
  // A five-pointed star drawn in one go: its core is covered twice, which the even-odd rule leaves
  // out.
  const PreparedArea area{
      Polygon(Points{{0, 1000}, {588, -809}, {-951, 309}, {951, 309}, {-588, -809}})};
  EXPECT_EQ(Place::outside, area.locate({0, 0}));
  EXPECT_EQ(Place::inside, area.locate({0, 800}));
  EXPECT_EQ(Relation::apart, area.relate(boxAround(0, 0, 100)));
}

TEST(PreparedArea, AnEmptyOutlineOrAreaTellsNothingOrIsApart) {
  Polygon empty;
  empty.initialize(std::span(SQUARE).first(0));
  EXPECT_EQ(Relation::unsure, PreparedArea(Polygon(SQUARE)).relate(empty));
  EXPECT_EQ(Relation::apart, PreparedArea(empty).relate(Polygon(SQUARE)));
  EXPECT_EQ(Place::outside, PreparedArea(empty).locate({50, 50}));
}

TEST(PreparedArea, EveryVertexOfASimpleOutlineIsACorner) {
  for (std::size_t i = 0; i < CUP.size(); ++i) {
    EXPECT_TRUE(PreparedArea::isCorner(CUP, i));
  }
}

TEST(PreparedArea, APointOnAStraightLineIsACornerButTheTipOfASpikeIsNot) {
  const Points outline{{0, 0}, {50, 0}, {100, 0}, {100, 100}, {100, 300}, {100, 100}, {0, 100}};
  EXPECT_TRUE(PreparedArea::isCorner(outline, 1));
  EXPECT_FALSE(PreparedArea::isCorner(outline, 4));
}

TEST(PreparedArea, AVertexThatTheOutlinePassesAgainIsNoCorner) {
  // The last edge leads through (50, 0).
  const Points outline{{50, 0}, {60, 50}, {0, 50}, {0, 0}, {100, 0}};
  EXPECT_FALSE(PreparedArea::isCorner(outline, 0));
  const Points twice{{0, 0}, {10, 0}, {10, 10}, {0, 0}, {-10, 0}, {-10, -10}};
  EXPECT_FALSE(PreparedArea::isCorner(twice, 0));
  EXPECT_TRUE(PreparedArea::isCorner(twice, 1));
}

TEST(PreparedArea, ARepeatedVertexIsNoCorner) {
  const Points outline{{0, 0}, {0, 0}, {1, 1}, {1, 0}};
  EXPECT_FALSE(PreparedArea::isCorner(outline, 0));
  EXPECT_FALSE(PreparedArea::isCorner(outline, 1));
  EXPECT_TRUE(PreparedArea::isCorner(outline, 2));
}

// The two upper ends of the cup lie on one line.
TEST(PreparedArea, AnEdgeBoundsAreaUnlessAnotherLiesAlongIt) {
  for (std::size_t i = 0; i < CUP.size(); ++i) {
    EXPECT_EQ(i != 1 && i != 5, PreparedArea::isBorder(CUP, i));
  }
  const Points spike{{0, 0}, {100, 0}, {100, 100}, {100, 300}, {100, 100}, {0, 100}};
  EXPECT_TRUE(PreparedArea::isBorder(spike, 0));
  EXPECT_FALSE(PreparedArea::isBorder(spike, 2));
  EXPECT_FALSE(PreparedArea::isBorder(spike, 3));
  const Points repeated{{0, 0}, {0, 0}, {1, 1}, {1, 0}};
  EXPECT_FALSE(PreparedArea::isBorder(repeated, 0));
  EXPECT_TRUE(PreparedArea::isBorder(repeated, 2));
}

TEST(PreparedArea, CommonPointsSpanWhatBothHaveInCommon) {
  const PreparedArea area{Polygon(SQUARE)};
  std::vector<Point> points(16);
  const auto common = [&](const Polygon& outline) {
    points.resize(16);
    points.resize(area.collectCommonPoints(outline, points));
    return points;
  };
  // A box across the right side: two of its corners and two crossings.
  EXPECT_THAT(
      common({90, 130, 40, 60}),
      testing::UnorderedElementsAre(Point{90, 40}, Point{90, 60}, Point{100, 40}, Point{100, 60}));
  // Across a corner: that, too.
  EXPECT_THAT(common({90, 130, 90, 130}), testing::IsSupersetOf({Point{90, 90}, Point{100, 100},
                                                                 Point{100, 90}, Point{90, 100}}));
  EXPECT_THAT(common({150, 180, 90, 130}), testing::IsEmpty());
}

TEST(PreparedArea, TooManyCommonPointsAreNone) {
  const PreparedArea area{Polygon(SQUARE)};
  std::vector<Point> points(3);
  EXPECT_EQ(0U, area.collectCommonPoints({90, 130, 40, 60}, points));
  points.resize(4);
  EXPECT_EQ(4U, area.collectCommonPoints({90, 130, 40, 60}, points));
}

TEST(PreparedArea, CoversWhatLiesClearlyToOneSideOfItsBorder) {
  const PreparedArea area{Polygon(SQUARE)};
  const Polygon outline(80, 120, 40, 60);
  EXPECT_TRUE(area.covers(outline, Points{{85, 45}, {90, 55}, {98, 50}}));
  EXPECT_FALSE(area.covers(outline, Points{{85, 45}, {90, 55}, {99, 50}}));
  EXPECT_FALSE(area.covers(outline, Points{{85, 45}, {110, 50}}));
  EXPECT_FALSE(area.covers(outline, Points{{110, 45}}));
  EXPECT_FALSE(area.covers(outline, Points{}));
}

TEST(PreparedArea, OutlinesWithoutAreaHaveNone) {
  EXPECT_TRUE(PreparedArea::hasArea(SQUARE));
  EXPECT_FALSE(PreparedArea::hasArea(Points{}));
  EXPECT_FALSE(PreparedArea::hasArea(Points{{1, 1}, {1, 1}, {1, 1}}));
  EXPECT_FALSE(PreparedArea::hasArea(Points{{0, 0}, {10, 10}, {20, 20}, {5, 5}}));
}

TEST(PreparedArea, AnOutlineWalkedTwiceHasNoAreaByTheEvenOddRule) {
  Points twice = SQUARE;
  twice.insert(twice.end(), SQUARE.begin(), SQUARE.end());
  EXPECT_FALSE(PreparedArea::hasArea(twice));
}

TEST(PreparedArea, LimitsOfTheCoordinatesDoNotOverflow) {
  const PreparedArea area{
      Polygon(Points{{-32768, -32768}, {-32768, 32767}, {32767, 32767}, {32767, -32768}})};
  EXPECT_EQ(Place::inside, area.locate({0, 0}));
  EXPECT_EQ(Place::border, area.locate({32767, 32767}));
  EXPECT_EQ(Place::border, area.locate({-32768, -32768}));
  EXPECT_EQ(Relation::within, area.relate(boxAround(0, 0, 1000)));
}

double distanceToEdge(const Point& p, const Point& a, const Point& b) {
  const double dx = b.x - a.x;
  const double dy = b.y - a.y;
  const double length = dx * dx + dy * dy;
  const double along = length > 0 ? ((p.x - a.x) * dx + (p.y - a.y) * dy) / length : 0.0;
  const double t = std::clamp(along, 0.0, 1.0);
  return std::hypot(p.x - (a.x + t * dx), p.y - (a.y + t * dy));
}

double distanceToBorder(const Point& p, const Points& outline) {
  double nearest = 1e9;
  for (std::size_t i = 0; i < outline.size(); ++i) {
    nearest = std::min(nearest, distanceToEdge(p, outline[i], outline[(i + 1) % outline.size()]));
  }
  return nearest;
}

class PreparedAreaRandom : public testing::TestWithParam<int> {
 protected:
  Points outline(int size, int count) {
    std::uniform_int_distribution<int> coordinate(-size, size);
    Points points;
    for (int i = 0; i < count; ++i) {
      points.push_back({static_cast<std::int16_t>(coordinate(random)),
                        static_cast<std::int16_t>(coordinate(random))});
    }
    return points;
  }

  int number(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); }

  std::mt19937 random{static_cast<unsigned>(GetParam())};
};

TEST_P(PreparedAreaRandom, PlacesAgreeWithTheLibraryAndTheDistance) {
  for (int i = 0; i < 200; ++i) {
    const Points points = outline(60, number(3, 9));
    const PreparedArea area{Polygon(points)};
    for (int j = 0; j < 40; ++j) {
      const Point p{static_cast<std::int16_t>(number(-70, 70)),
                    static_cast<std::int16_t>(number(-70, 70))};
      const bool isInside = gm_inside_p({p.x, p.y}, toGmPoints(points), gmCount(points)) == 1;
      const Place place = area.locate(p);
      if (place == Place::border) {
        EXPECT_LE(distanceToBorder(p, points), 2.5) << "too cautious";
      } else {
        EXPECT_EQ(isInside, place == Place::inside);
        EXPECT_GE(distanceToBorder(p, points), 1.0);
      }
      if (distanceToBorder(p, points) < 1.0) {
        EXPECT_EQ(Place::border, place);
      }
    }
  }
}

TEST_P(PreparedAreaRandom, RelationsAreThoseOfTheLibrary) {
  int sure = 0;
  for (int i = 0; i < 2000; ++i) {
    const Points points = outline(100, number(3, 9));
    Points moved = outline(15, number(3, 12));
    const int x = number(-100, 100);
    const int y = number(-100, 100);
    for (Point& p : moved) {
      p = {static_cast<std::int16_t>(p.x + x), static_cast<std::int16_t>(p.y + y)};
    }
    const Points& other = moved;
    const bool meets = gm_intersect_pp(toGmPoints(points), gmCount(points), toGmPoints(other),
                                       gmCount(other)) == 1;
    const Relation relation = PreparedArea(Polygon(points)).relate(Polygon(other));
    if (relation == Relation::unsure) {
      continue;
    }
    ++sure;
    EXPECT_EQ(meets, relation == Relation::within);
    for (const Point& p : other) {
      const bool isInside = gm_inside_p({p.x, p.y}, toGmPoints(points), gmCount(points)) == 1;
      EXPECT_EQ(isInside, relation == Relation::within);
    }
  }
  EXPECT_GT(sure, 500);
}

INSTANTIATE_TEST_SUITE_P(Seeds, PreparedAreaRandom, testing::Range(1, 5));

}  // namespace
