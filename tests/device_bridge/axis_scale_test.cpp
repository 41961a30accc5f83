#include "bridge/axis_scale.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace device::bridge {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr AxisScale HALF_TURNS{{-1, 1}, {-180, 180}};

TEST(AxisScaleTest, NumbersAndDegreesAreInEvenSteps) {
  const AxisScale tilt{{0, 2}, {-90, 20}};
  EXPECT_DOUBLE_EQ(55, tilt.perNumber());
  EXPECT_DOUBLE_EQ(-35, tilt.degreesOf(1));
  EXPECT_DOUBLE_EQ(1, tilt.numberOf(-35));
}

// 17 degrees for a tenth are 170 for each number, and 0.1 is at 20: the ends are 3 +- 170.
TEST(AxisScaleTest, TwoPlacesTellScaleAndEnds) {
  const auto scale = scaleByPlaces(HALF_TURNS, 0.1, 20, 0.2, 37);
  ASSERT_TRUE(scale);
  EXPECT_NEAR(170, scale->perNumber, 1e-9);
  ASSERT_TRUE(scale->degrees);
  EXPECT_DOUBLE_EQ(-167, scale->degrees->low);
  EXPECT_DOUBLE_EQ(173, scale->degrees->high);
  EXPECT_TRUE(scale->isOtherThanTold()) << "5.6 percent";
  EXPECT_THAT(wordsOf(*scale, "pan"),
              AllOf(HasSubstr("Its pan turns by 170.0 degrees for each of its own numbers; told "
                              "are 180.0"),
                    HasSubstr("its range is from -167.0 to 173.0 degrees")));
}

TEST(AxisScaleTest, LessThanThreePercentIsAsTold) {
  const auto scale = scaleByPlaces(HALF_TURNS, 0, 0, 0.1, 17.6);
  ASSERT_TRUE(scale);
  EXPECT_FALSE(scale->isOtherThanTold()) << "2.2 percent";
  EXPECT_THAT(wordsOf(*scale, "pan"), Not(HasSubstr("wrong")));
}

TEST(AxisScaleTest, RangeThatLiesElsewhereIsNotAsTold) {
  const auto scale = scaleByPlaces(HALF_TURNS, 0, 90, 0.1, 108);
  ASSERT_TRUE(scale);
  EXPECT_DOUBLE_EQ(180, scale->perNumber);
  EXPECT_TRUE(scale->isOtherThanTold()) << "by a quarter of a turn";
}

TEST(AxisScaleTest, WhoDoesNotMoveOrCountsBackwardsTellsNothing) {
  EXPECT_FALSE(scaleByPlaces(HALF_TURNS, 0.1, 20, 0.1, 37));
  EXPECT_FALSE(scaleByPlaces(HALF_TURNS, 0.1, 20, 0.2, 20.1));
  EXPECT_FALSE(scaleByPlaces(HALF_TURNS, 0.1, 20, 0.2, 3));
  EXPECT_FALSE(scaleBySpeed(HALF_TURNS, 10, 0));
}

// 10 degrees a second are 0.08 numbers a second: 125 for each, 0.694 of what is told.
TEST(AxisScaleTest, SpeedTellsTheScaleAboutTheZero) {
  const AxisScale told{{-1, 1}, {-90, 270}};
  const auto scale = scaleBySpeed(told, 10, -0.08);
  ASSERT_TRUE(scale);
  EXPECT_DOUBLE_EQ(125, scale->perNumber);
  EXPECT_DOUBLE_EQ(-62.5, scale->degrees->low);
  EXPECT_DOUBLE_EQ(187.5, scale->degrees->high);
  EXPECT_TRUE(scale->isOtherThanTold());
  EXPECT_FALSE(scaleBySpeed(told, 10, 10 / 165.0)->isOtherThanTold()) << "speeds are less exact";
}

TEST(AxisScaleTest, EndsThatAreNotReachedAreTold) {
  EXPECT_FALSE((AxisEnds{{-170, 170}, {-169.8, 170}}.isShort()));
  const AxisEnds ends{{-170, 170}, {-170, 150}};
  EXPECT_TRUE(ends.isShort());
  EXPECT_THAT(wordsOf(ends, "pan"), HasSubstr("stops at -170.0 and 150.0 degrees, short of"));
}

}  // namespace
}  // namespace device::bridge
