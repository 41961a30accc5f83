#include "following/bearing_filter.h"

#include <gtest/gtest.h>

#include <cmath>

#include "base/units.h"

namespace following {
namespace {

BearingFilter::Observation at(double seconds, double pan, double tilt) {
  return {units::roundedFromSeconds(seconds), pan, tilt, 2.0, 6.0};
}

TEST(BearingFilterTest, FollowsRatesOfPanAndTilt) {
  BearingFilter filter(at(0.0, 10.0, 5.0), 0.14);
  for (int i = 1; i <= 30; ++i) {
    filter.update(at(0.1 * i, 10.0 + 0.8 * i, 5.0 - 0.1 * i));
  }
  const Subject subject = filter.predict(4'000'000);
  EXPECT_NEAR(subject.panRate, 8.0, 0.1);
  EXPECT_NEAR(subject.tiltRate, -1.0, 0.1);
  EXPECT_NEAR(subject.pan, 10.0 + 32.0, 0.2);
  EXPECT_NEAR(subject.tilt, 5.0 - 4.0, 0.2);
  EXPECT_EQ(subject.width, 2.0);
  EXPECT_EQ(subject.height, 6.0);
  EXPECT_EQ(subject.walks, 1.0);
  ASSERT_TRUE(subject.hasCourse);
  EXPECT_NEAR(subject.course[30].pan - subject.course[0].pan, 24.0, 0.3);
}

TEST(BearingFilterTest, GoesThroughTheSeam) {
  BearingFilter filter(at(0.0, 175.0, 5.0), 0.14);
  for (int i = 1; i <= 20; ++i) {
    EXPECT_EQ(filter.update(at(0.1 * i, std::remainder(175.0 + i, 360.0), 5.0)),
              GroundFilter::Verdict::taken);
  }
  EXPECT_NEAR(filter.predict(2'000'000).pan, -165.0, 0.1);
  EXPECT_NEAR(filter.predict(2'000'000).panRate, 10.0, 0.2);
}

TEST(BearingFilterTest, WhatStandsHasNoRate) {
  BearingFilter filter(at(0.0, 0.0, 5.0), 0.14);
  for (int i = 1; i <= 60; ++i) {
    filter.update(at(0.1 * i, 0.1 * (i % 2), 5.0));
  }
  const Subject subject = filter.predict(7'000'000);
  EXPECT_EQ(subject.panRate, 0.0);
  EXPECT_FALSE(subject.hasCourse);
}

TEST(BearingFilterTest, UncertaintyGrowsWhileNothingIsSeen) {
  BearingFilter filter(at(0.0, 0.0, 5.0), 0.14);
  for (int i = 1; i <= 10; ++i) {
    filter.update(at(0.1 * i, 0.0, 5.0));
  }
  EXPECT_LT(filter.predict(1'000'000).deviation, 0.2);
  EXPECT_GT(filter.predict(4'000'000).deviation, 5.0);
}

TEST(BearingFilterTest, OutliersAndNumbersThatAreNotFiniteAreLeftOut) {
  BearingFilter filter(at(0.0, 0.0, 5.0), 0.14);
  for (int i = 1; i <= 20; ++i) {
    filter.update(at(0.1 * i, 0.0, 5.0));
  }
  EXPECT_EQ(filter.update(at(2.1, 90.0, 5.0)), GroundFilter::Verdict::refused);
  EXPECT_EQ(filter.update(at(2.1, std::nan(""), 5.0)), GroundFilter::Verdict::dropped);
  EXPECT_EQ(filter.update(at(2.1, 0.0, HUGE_VAL)), GroundFilter::Verdict::dropped);
  BearingFilter::Observation sizeless = at(2.1, 0.0, 5.0);
  sizeless.width = std::nan("");
  EXPECT_EQ(filter.update(sizeless), GroundFilter::Verdict::dropped);
  EXPECT_EQ(filter.predict(2'100'000).width, 2.0);
  EXPECT_NEAR(filter.predict(2'100'000).pan, 0.0, 0.1);
}

TEST(BearingFilterTest, TiltEndsAtTheZenith) {
  BearingFilter filter(at(0.0, 0.0, 60.0), 0.14);
  for (int i = 1; i <= 20; ++i) {
    filter.update(at(0.1 * i, 0.0, 60.0 + i));
  }
  const Subject subject = filter.predict(6'000'000);
  EXPECT_EQ(subject.tilt, 90.0);
  EXPECT_EQ(subject.tiltRate, 0.0);
}

}  // namespace
}  // namespace following
