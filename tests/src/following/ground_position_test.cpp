#include "following/ground_position.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace following {
namespace {

const Viewpoint VIEWPOINT{5.0, 0.5, 0.0, 805.5};

TEST(GroundPositionTest, FocalLengthIsHalfTheWidthOverTheTangentOfHalfTheField) {
  EXPECT_NEAR(focalLength(1920, 100.0), 805.5, 0.05);
}

TEST(GroundPositionTest, FootAndHeadGivePlaceSpreadAndHeight) {
  const auto position = locate(VIEWPOINT, {20.0, -40.0, -29.0}, 1.2);
  ASSERT_TRUE(position);
  EXPECT_NEAR(position->place.x(), 2.5380, 5e-5);
  EXPECT_NEAR(position->place.y(), 5.5994, 5e-5);
  EXPECT_NEAR(position->covariance(0, 0), 0.000759, 5e-7);
  EXPECT_NEAR(position->covariance(0, 1), 0.000170, 5e-7);
  EXPECT_NEAR(position->covariance(1, 0), 0.000170, 5e-7);
  EXPECT_NEAR(position->covariance(1, 1), 0.001165, 5e-7);
  ASSERT_TRUE(position->height);
  EXPECT_NEAR(*position->height, 1.6970, 5e-5);
}

// Straight ahead, foot 45 degrees down: 5 m away, slant sqrt(50) m, across = slant / f,
// radial = across * sqrt(2).
TEST(GroundPositionTest, SpreadIsLongAlongTheLineOfSight) {
  const auto position = locate({5.0, 0.0, 0.0, 1000.0}, {0.0, -45.0, -45.0}, 0.0);
  ASSERT_TRUE(position);
  EXPECT_NEAR(position->place.x(), 0.0, 1e-12);
  EXPECT_NEAR(position->place.y(), 5.0, 1e-12);
  EXPECT_NEAR(position->perPixel(0, 0), 50e-6, 1e-12);
  EXPECT_NEAR(position->perPixel(1, 1), 100e-6, 1e-12);
  EXPECT_NEAR(position->covariance(0, 0), 4 * 50e-6, 1e-12);
  EXPECT_FALSE(position->height) << "a height of nothing is no person's";
  EXPECT_NEAR(position->heightDeviation, 4e-3 * std::sqrt(50.0), 1e-12);
}

TEST(GroundPositionTest, SpeedWidensByTheStampsDeviationUpToTwoMetresPerSecond) {
  const auto still = locate(VIEWPOINT, {0.0, -40.0, -29.0}, 0.0);
  const auto fast = locate(VIEWPOINT, {0.0, -40.0, -29.0}, 2.0);
  const auto faster = locate(VIEWPOINT, {0.0, -40.0, -29.0}, 9.0);
  const auto unknown = locate(VIEWPOINT, {0.0, -40.0, -29.0}, std::nan(""));
  EXPECT_NEAR(fast->covariance(0, 0) - still->covariance(0, 0), 0.0009, 1e-12);
  EXPECT_NEAR(fast->covariance(1, 1) - still->covariance(1, 1), 0.0009, 1e-12);
  EXPECT_EQ(faster->covariance, fast->covariance);
  EXPECT_EQ(unknown->covariance, fast->covariance);
}

TEST(GroundPositionTest, HeightsOfWhatIsNoPersonAreNotTold) {
  // 5 m (1 - tan(-t') / tan(40)): 2.5 m at tan(-t') = 0.5 tan(40).
  const double tangent = std::tan(40.0 * M_PI / 180.0);
  const auto headAt = [&](double height) {
    return -std::atan((1.0 - height / 5.0) * tangent) * 180.0 / M_PI;
  };
  EXPECT_TRUE(locate(VIEWPOINT, {0.0, -40.0, headAt(2.49)}, 1.0)->height);
  EXPECT_FALSE(locate(VIEWPOINT, {0.0, -40.0, headAt(2.51)}, 1.0)->height);
  EXPECT_TRUE(locate(VIEWPOINT, {0.0, -40.0, headAt(0.51)}, 1.0)->height);
  EXPECT_FALSE(locate(VIEWPOINT, {0.0, -40.0, headAt(0.49)}, 1.0)->height);
  EXPECT_FALSE(locate(VIEWPOINT, {0.0, -40.0, std::nan("")}, 1.0)->height);
}

TEST(GroundPositionTest, FootAtTheHorizonHasNoPlace) {
  EXPECT_TRUE(locate(VIEWPOINT, {0.0, -0.61, 0.0}, 1.0));
  EXPECT_FALSE(locate(VIEWPOINT, {0.0, -0.59, 0.0}, 1.0));
  EXPECT_FALSE(locate(VIEWPOINT, {0.0, 10.0, 12.0}, 1.0));
}

TEST(GroundPositionTest, FootBelowTheCameraIsTakenForOneDegreeOff) {
  const auto position = locate({5.0, 0.0, 0.0, 805.5}, {0.0, -90.0, -89.0}, 1.0);
  ASSERT_TRUE(position);
  EXPECT_NEAR(position->place.y(), 5.0 / std::tan(89.0 * M_PI / 180.0), 1e-9);
  EXPECT_TRUE(position->covariance.allFinite());
}

TEST(GroundPositionTest, NumbersThatAreNotFiniteGiveNoPlace) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double bad : {nan, infinity, -infinity}) {
    EXPECT_FALSE(locate(VIEWPOINT, {bad, -40.0, -29.0}, 1.0));
    EXPECT_FALSE(locate(VIEWPOINT, {0.0, bad, -29.0}, 1.0));
    EXPECT_FALSE(locate({bad, 0.0, 0.0, 805.5}, {0.0, -40.0, -29.0}, 1.0));
    EXPECT_FALSE(locate({5.0, bad, 0.0, 805.5}, {0.0, -40.0, -29.0}, 1.0));
    EXPECT_FALSE(locate({5.0, 0.0, 0.0, bad}, {0.0, -40.0, -29.0}, 1.0));
  }
  EXPECT_FALSE(locate({0.0, 0.0, 0.0, 805.5}, {0.0, -40.0, -29.0}, 1.0));
  EXPECT_FALSE(locate({5.0, 0.0, 0.0, 0.0}, {0.0, -40.0, -29.0}, 1.0));
}

}  // namespace
}  // namespace following
