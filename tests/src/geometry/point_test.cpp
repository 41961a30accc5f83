#include "geometry/point.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "fakes/log_capture.h"

namespace {

TEST(Point, SquareDistanceAddsBothSquares) {
  EXPECT_EQ(0u, (Point{17, -4}.squareDistance(Point{17, -4})));
  EXPECT_EQ(25u, (Point{0, 0}.squareDistance(Point{3, 4})));
  EXPECT_EQ(25u, (Point{3, 4}.squareDistance(Point{0, 0})));
  EXPECT_EQ(25u, (Point{-1, -2}.squareDistance(Point{2, -6})));
}

TEST(Point, SquareDistanceAcrossThePictureFits) {
  // Both axes 8192 long: 2 * 8192².
  EXPECT_EQ(134217728u, (Point{-4096, -4096}.squareDistance(Point{4096, 4096})));
}

TEST(Point, SquareDistanceOfTheWholeRangeIsUnsigned) {
  // 65535² is beyond a signed 32-bit number.
  EXPECT_EQ(4294836225u, (Point{-32768, 5}.squareDistance(Point{32767, 5})));
  EXPECT_EQ(4294836225u, (Point{5, 32767}.squareDistance(Point{5, -32768})));
}

TEST(Point, OrdersByYFirst) {
  EXPECT_TRUE((Point{100, 1} < Point{-100, 2}));
  EXPECT_FALSE((Point{-100, 2} < Point{100, 1}));
}

TEST(Point, OrdersByXWhereYIsEqual) {
  EXPECT_TRUE((Point{-5, 7} < Point{5, 7}));
  EXPECT_FALSE((Point{5, 7} < Point{-5, 7}));
  EXPECT_FALSE((Point{5, 7} < Point{5, 7}));
}

TEST(Point, SetsAreSortedByYThenX) {
  std::mt19937 random(1);
  std::uniform_int_distribution<int> coordinate(-4, 4);
  std::set<Point> points;
  std::set<std::pair<int, int>> expected;
  for (int i = 0; i < 200; ++i) {
    const int x = coordinate(random);
    const int y = coordinate(random);
    points.insert(Point{static_cast<std::int16_t>(x), static_cast<std::int16_t>(y)});
    expected.insert({y, x});
  }
  std::vector<std::pair<int, int>> inOrder;
  for (const Point& point : points) {
    inOrder.push_back({point.y, point.x});
  }
  EXPECT_EQ((std::vector<std::pair<int, int>>(expected.begin(), expected.end())), inOrder);
}

TEST(Point, EqualsOnlyWhenBothCoordinatesAreEqual) {
  EXPECT_TRUE((Point{1, 2} == Point{1, 2}));
  EXPECT_FALSE((Point{1, 2} == Point{2, 1}));
  EXPECT_TRUE((Point{1, 2} != Point{1, 3}));
}

TEST(Point, ToStringRendersBothCoordinates) {
  EXPECT_EQ("(-12, 4096)", (Point{-12, 4096}.toString()));
}

TEST(Point, PrintLogsTheText) {
  const LogCapture log;
  Point{-12, 4096}.print();
  ASSERT_EQ(1u, log.lines().size());
  EXPECT_NE(std::string::npos, log.lines()[0].text.find("(-12, 4096)"));
}

}  // namespace
