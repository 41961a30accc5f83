#include "base/units.h"

#include <gtest/gtest.h>

namespace {

TEST(UnitsTest, SecondsBecomeTheNearestMicrosecondOrTheOneTowardsZero) {
  EXPECT_EQ(units::roundedFromSeconds(0.0000016), 2);
  EXPECT_EQ(units::roundedFromSeconds(-0.0000016), -2);
  EXPECT_EQ(units::truncatedFromSeconds(0.0000016), 1);
  EXPECT_EQ(units::truncatedFromSeconds(-0.0000016), -1);
  EXPECT_EQ(units::fromSeconds(3), 3'000'000);
  EXPECT_DOUBLE_EQ(units::toSeconds(2'500'000), 2.5);
}

TEST(UnitsTest, ADifferenceIsWrappedTheShortWayRound) {
  EXPECT_DOUBLE_EQ(units::wrapped(190), -170);
  EXPECT_DOUBLE_EQ(units::wrapped(-190), 170);
  EXPECT_DOUBLE_EQ(units::wrapped(725), 5);
}

TEST(UnitsTest, ABearingIsNormalizedToTheHalfOpenTurn) {
  EXPECT_DOUBLE_EQ(units::normalized(180), -180);
  EXPECT_DOUBLE_EQ(units::normalized(-180), -180);
  EXPECT_DOUBLE_EQ(units::normalized(539), 179);
  EXPECT_DOUBLE_EQ(units::normalized(-541), 179);
}

TEST(UnitsTest, AnglesGoThereAndBack) {
  EXPECT_DOUBLE_EQ(units::toRadians(90), 1.5707963267948966);
  EXPECT_DOUBLE_EQ(units::toDegrees(3.141592653589793), 180);
}

}  // namespace
