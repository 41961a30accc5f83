#include "calibration/point_layout.h"

#include <gtest/gtest.h>

#include <cmath>

namespace device::calibration {
namespace {

// A square picture's diagonal is 2 sqrt 2 long.
TEST(PointLayoutTest, TellsExtentsInSharesOfThePicture) {
  const PointLayout layout = layoutOf({{-1, 0}, {0.5, 0.25}, {0, -0.25}}, 1);
  EXPECT_DOUBLE_EQ(layout.width, 0.75);
  EXPECT_DOUBLE_EQ(layout.height, 0.25);
  EXPECT_EQ(layout.places, 3U);
}

TEST(PointLayoutTest, BreadthIsTheDeviationAcrossTheBestLine) {
  EXPECT_NEAR(layoutOf({{-1, -1}, {0, 0}, {1, 1}}, 1).breadth, 0, 1e-9);
  // Up and down by 0.2 on a level line.
  const PointLayout level = layoutOf({{-1, 0.2}, {-1, -0.2}, {1, 0.2}, {1, -0.2}}, 1);
  EXPECT_NEAR(level.breadth, 0.2 / (2 * std::sqrt(2)), 1e-12);
  // The same in a picture twice as wide as high: its diagonal is 2 sqrt 5.
  const PointLayout wide = layoutOf({{-1, 0.2}, {-1, -0.2}, {1, 0.2}, {1, -0.2}}, 2);
  EXPECT_NEAR(wide.breadth, 0.2 / (2 * std::sqrt(5)), 1e-12);
}

TEST(PointLayoutTest, NearlyTheSamePlaceCountsOnce) {
  EXPECT_EQ(layoutOf({{0, 0}, {0.01, 0.01}, {0.5, 0}}, 1).places, 2U);
  EXPECT_EQ(layoutOf({{0, 0}, {0.03, 0}, {0.5, 0}}, 1).places, 3U);
  EXPECT_EQ(layoutOf({}, 1).places, 0U);
}

}  // namespace
}  // namespace device::calibration
