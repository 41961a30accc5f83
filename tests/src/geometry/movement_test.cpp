#include "geometry/movement.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <utility>
#include <vector>

#include "fakes/log_capture.h"

namespace {

using Points = std::vector<Point>;
using Crossed = std::optional<std::pair<std::size_t, std::size_t>>;

// Boxes of different sizes, so that no corner can be taken for another.
constexpr int FROM_HALF_WIDTH = 10;
constexpr int FROM_HALF_HEIGHT = 20;
constexpr int TO_HALF_WIDTH = 30;
constexpr int TO_HALF_HEIGHT = 40;

Polygon box(int x, int y, int halfWidth, int halfHeight) {
  return Polygon(x - halfWidth, x + halfWidth, y - halfHeight, y + halfHeight);
}

Movement moved(int dx, int dy) {
  return Movement(box(0, 0, FROM_HALF_WIDTH, FROM_HALF_HEIGHT),
                  box(dx, dy, TO_HALF_WIDTH, TO_HALF_HEIGHT));
}

enum Corner { MIN_MIN, MIN_MAX, MAX_MAX, MAX_MIN };  // x, then y

Point corner(Corner which, int x, int y, int halfWidth, int halfHeight) {
  const bool isRight = which == MAX_MAX || which == MAX_MIN;
  const bool isTop = which == MIN_MAX || which == MAX_MAX;
  return {static_cast<std::int16_t>(x + (isRight ? halfWidth : -halfWidth)),
          static_cast<std::int16_t>(y + (isTop ? halfHeight : -halfHeight))};
}

struct TracksCase {
  const char* name;
  int dx;
  int dy;
  std::array<std::pair<Corner, Corner>, 3> tracks;
};

constexpr std::array<std::pair<Corner, Corner>, 3> RIGHT_DOWN = {
    {{MAX_MAX, MAX_MAX}, {MIN_MAX, MAX_MIN}, {MIN_MIN, MIN_MIN}}};
constexpr std::array<std::pair<Corner, Corner>, 3> RIGHT_UP = {
    {{MIN_MAX, MIN_MAX}, {MIN_MIN, MAX_MAX}, {MAX_MIN, MAX_MIN}}};
constexpr std::array<std::pair<Corner, Corner>, 3> LEFT_UP = {
    {{MAX_MAX, MAX_MAX}, {MAX_MIN, MIN_MAX}, {MIN_MIN, MIN_MIN}}};
constexpr std::array<std::pair<Corner, Corner>, 3> LEFT_DOWN = {
    {{MIN_MAX, MIN_MAX}, {MAX_MAX, MIN_MIN}, {MAX_MIN, MAX_MIN}}};

class MovementTracks : public testing::TestWithParam<TracksCase> {};

TEST_P(MovementTracks, JoinTheCornersOfBothBoxes) {
  const auto& [name, dx, dy, expected] = GetParam();
  const Movement movement = moved(dx, dy);
  EXPECT_EQ((MathVector{static_cast<std::int16_t>(dx), static_cast<std::int16_t>(dy)}),
            movement.getMoveVector());
  ASSERT_EQ(3u, movement.getTracks().size());
  for (std::size_t i = 0; i < 3; ++i) {
    const auto& [from, to] = expected[i];
    EXPECT_EQ((Points{corner(from, 0, 0, FROM_HALF_WIDTH, FROM_HALF_HEIGHT),
                      corner(to, dx, dy, TO_HALF_WIDTH, TO_HALF_HEIGHT)}),
              movement.getTracks()[i].getPoints())
        << "track " << i;
  }
}

INSTANTIATE_TEST_SUITE_P(AllDirections, MovementTracks,
                         testing::Values(TracksCase{"RightDown", 200, -300, RIGHT_DOWN},
                                         TracksCase{"RightUp", 200, 300, RIGHT_UP},
                                         TracksCase{"LeftUp", -200, 300, LEFT_UP},
                                         TracksCase{"LeftDown", -200, -300, LEFT_DOWN},
                                         TracksCase{"Right", 200, 0, RIGHT_DOWN},
                                         TracksCase{"Down", 0, -300, RIGHT_DOWN},
                                         TracksCase{"Nowhere", 0, 0, RIGHT_DOWN},
                                         TracksCase{"Up", 0, 300, RIGHT_UP},
                                         TracksCase{"Left", -200, 0, LEFT_UP}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(Movement, MoveVectorJoinsTheCentroids) {
  // The triangle's centroid is (100, 200), that of its box is not.
  const Polygon from(Points{{0, 0}, {300, 0}, {0, 600}});
  EXPECT_EQ((MathVector{-90, -180}), Movement(from, box(10, 20, 5, 5)).getMoveVector());
}

TEST(Movement, TracksUseTheBoundingBoxesOfOutlines) {
  const Polygon from(Points{{0, 0}, {300, 0}, {0, 600}});
  const Movement movement(from, box(1000, 1000, 50, 50));
  EXPECT_EQ((Points{{0, 600}, {950, 1050}}), movement.getTracks()[0].getPoints());
  EXPECT_EQ((Points{{0, 0}, {1050, 1050}}), movement.getTracks()[1].getPoints());
  EXPECT_EQ((Points{{300, 0}, {1050, 950}}), movement.getTracks()[2].getPoints());
}

// To the right, from a box around (-500, 0) to an equal one around (500, 0): the outer tracks run
// at y = 100 and y = -100, the middle one from (-600, 100) to (600, -100).
Movement toTheRight() {
  return Movement(box(-500, 0, 100, 100), box(500, 0, 100, 100));
}

TEST(Movement, IntersectsWhenAnyTrackDoes) {
  const Movement movement = toTheRight();
  EXPECT_TRUE(movement.doesIntersect(Polyline(Points{{0, 90}, {0, 110}})));    // track 1
  EXPECT_TRUE(movement.doesIntersect(Polyline(Points{{0, -10}, {0, 10}})));    // track 2
  EXPECT_TRUE(movement.doesIntersect(Polyline(Points{{0, -110}, {0, -90}})));  // track 3
  EXPECT_FALSE(movement.doesIntersect(Polyline(Points{{0, 110}, {0, 200}})));
  EXPECT_FALSE(movement.doesIntersect(Polyline(Points{{0, 40}, {0, 60}})));
}

Segment fence(Point a, Point b) {
  return Segment(a, b, FenceDirection_e::leftToRight);
}

TEST(Movement, IntersectValueIsTheLargestOfTheTracks) {
  const Movement movement = toTheRight();
  // At x = 0: track 1 (-400 to 600) 4/10, track 2 (-600 to 600) 1/2, track 3 (-600 to 400) 6/10.
  EXPECT_EQ(614, movement.getIntersectValue(fence({0, -1000}, {0, 1000})));
  EXPECT_EQ(512, movement.getIntersectValue(fence({0, -50}, {0, 1000})));
  EXPECT_EQ(409, movement.getIntersectValue(fence({0, 50}, {0, 1000})));
}

TEST(Movement, IntersectValueIsMinusOneWhenNoTrackCrosses) {
  EXPECT_EQ(-1, toTheRight().getIntersectValue(fence({0, 101}, {0, 1000})));
  EXPECT_EQ(-1, moved(0, 0).getIntersectValue(fence({500, -1000}, {500, 1000})));
}

TEST(Movement, CrossedSegmentsAreTheFirstAndTheLast) {
  const std::vector<Segment> segments = {fence({100, -1000}, {100, 1000}),
                                         fence({-300, -1000}, {-300, 1000}),
                                         fence({300, -1000}, {300, 1000})};
  EXPECT_EQ(Crossed({1, 2}), toTheRight().getIntersectedSegments(segments));
}

TEST(Movement, CrossedSegmentsSkipThoseThatAreNotCrossed) {
  const std::vector<Segment> segments = {fence({-900, -1000}, {-900, 1000}),
                                         fence({100, -1000}, {100, 1000}),
                                         fence({0, 101}, {0, 1000})};
  EXPECT_EQ(Crossed({1, 1}), toTheRight().getIntersectedSegments(segments));
}

TEST(Movement, CrossedSegmentsKeepTheEarlierOfEqualOnes) {
  const std::vector<Segment> segments = {fence({0, -1000}, {0, 1000}), fence({0, 1000}, {0, -1000}),
                                         fence({0, -900}, {0, 900})};
  EXPECT_EQ(Crossed({0, 0}), toTheRight().getIntersectedSegments(segments));
}

TEST(Movement, CrossedSegmentsTakeOneAtTheVeryEnd) {
  // Value 1024, the largest there is, is still below the first bound.
  // The segment before it is not crossed, so that its place is not that of nothing found.
  const std::vector<Segment> segments = {fence({900, -1000}, {900, 1000}),
                                         fence({400, -1000}, {400, 0})};
  ASSERT_EQ(-1, toTheRight().getIntersectValue(segments[0]));
  ASSERT_EQ(1024, toTheRight().getIntersectValue(segments[1]));
  EXPECT_EQ(Crossed({1, 1}), toTheRight().getIntersectedSegments(segments));
}

TEST(Movement, NoSegmentsCrossedGivesNothing) {
  EXPECT_EQ(std::nullopt, toTheRight().getIntersectedSegments({}));
  const std::vector<Segment> segments = {fence({0, 101}, {0, 1000})};
  EXPECT_EQ(std::nullopt, toTheRight().getIntersectedSegments(segments));
}

TEST(Movement, SvgIsThatOfItsTracksInOrder) {
  const Movement movement = toTheRight();
  std::string expected;
  for (const Polyline& track : movement.getTracks()) {
    expected += track.toStringSvg("stroke:red", "movement");
  }
  EXPECT_EQ(expected, movement.toStringSvg("stroke:red"));
  EXPECT_NE("", expected);
}

TEST(Movement, PrintLogsItsTracks) {
  const LogCapture log;
  toTheRight().print();
  std::string logged;
  for (const LogLine& line : log.lines()) {
    logged += line.text;
  }
  EXPECT_NE(std::string::npos, logged.find("(-400, 100)"));
  EXPECT_NE(std::string::npos, logged.find("(400, -100)"));
}

}  // namespace
