#include "following/ground_filter.h"

#include <gtest/gtest.h>

#include <cmath>

#include "base/units.h"
#include "following/simulated_head.h"

namespace following {
namespace {

constexpr std::int64_t SECOND = units::MICROSECONDS_PER_SECOND;

GroundFilter::Measurement at(double seconds, double x, double y, double variance = 0.0004) {
  return {units::roundedFromSeconds(seconds), {x, y}, variance * Eigen::Matrix2d::Identity()};
}

TEST(GroundFilterTest, TwoMeasurementsGiveAVelocity) {
  GroundFilter filter(at(0.0, 2.0, 6.0));
  EXPECT_EQ(filter.update(at(0.1, 2.1, 6.0)), GroundFilter::Verdict::taken);
  const GroundFilter::State& state = filter.state();
  EXPECT_NEAR(state.mean(0), 2.09829, 5e-6);
  EXPECT_NEAR(state.mean(2), 0.96719, 5e-6);
  EXPECT_NEAR(state.covariance(0, 0), 0.000393, 5e-7);
  EXPECT_NEAR(state.covariance(0, 2), 0.003869, 5e-7);
  EXPECT_NEAR(state.covariance(2, 2), 0.08415, 5e-6);
  EXPECT_NEAR(state.mean(1), 6.0, 1e-12);
}

TEST(GroundFilterTest, PictureThatComesLateIsPutInItsPlace) {
  GroundFilter late(at(0.0, 2.0, 6.0));
  late.update(at(0.1, 2.1, 6.0));
  late.update(at(0.3, 2.3, 6.0));
  EXPECT_EQ(late.update(at(0.2, 2.2, 6.0)), GroundFilter::Verdict::taken);
  EXPECT_NEAR(late.state().mean(0), 2.29964, 5e-6);
  EXPECT_NEAR(late.state().mean(2), 0.99979, 5e-6);

  GroundFilter ordered(at(0.0, 2.0, 6.0));
  for (const double t : {0.1, 0.2, 0.3}) {
    ordered.update(at(t, 2.0 + t, 6.0));
  }
  EXPECT_EQ(late.state().mean, ordered.state().mean);
  EXPECT_EQ(late.state().covariance, ordered.state().covariance);
  EXPECT_EQ(late.state().time, 300'000);
}

TEST(GroundFilterTest, AnyOrderWithinWhatIsKeptGivesTheSame) {
  simulation::Random random(3);
  for (int round = 0; round < 50; ++round) {
    std::vector<GroundFilter::Measurement> measurements;
    for (int i = 1; i <= 15; ++i) {
      measurements.push_back(at(0.1 * i, 0.12 * i + random.uniform(-0.02, 0.02), 6.0));
    }
    GroundFilter ordered(at(0.0, 0.0, 6.0));
    for (const auto& each : measurements) {
      ordered.updateUngated(each);
    }
    for (std::size_t i = measurements.size(); i > 1; --i) {
      std::swap(
          measurements[i - 1],
          measurements[static_cast<std::size_t>(random.uniform(0.0, static_cast<double>(i)))]);
    }
    GroundFilter shuffled(at(0.0, 0.0, 6.0));
    for (const auto& each : measurements) {
      shuffled.updateUngated(each);
    }
    EXPECT_EQ(shuffled.state().mean, ordered.state().mean);
    EXPECT_EQ(shuffled.state().covariance, ordered.state().covariance);
  }
}

TEST(GroundFilterTest, WhatIsOlderThanEverythingKeptIsDropped) {
  GroundFilter filter(at(1.0, 2.0, 6.0));
  EXPECT_EQ(filter.update(at(0.9, 2.0, 6.0)), GroundFilter::Verdict::dropped);
  for (int i = 1; i <= 30; ++i) {
    filter.update(at(1.0 + 0.1 * i, 2.0, 6.0));
  }
  EXPECT_EQ(filter.keptCount(), GroundFilter::KEPT);
  EXPECT_EQ(filter.kept(0).time, 2'100'000);
  const GroundFilter::State before = filter.state();
  EXPECT_EQ(filter.update(at(2.05, 2.0, 6.0)), GroundFilter::Verdict::dropped);
  EXPECT_EQ(filter.state().mean, before.mean);
  EXPECT_EQ(filter.update(at(2.15, 2.0, 6.0)), GroundFilter::Verdict::taken);
  EXPECT_EQ(filter.state().time, before.time);
}

TEST(GroundFilterTest, ThreeOutliersAreRefusedAndTheFourthBeginsAnewWithTheOldVelocity) {
  GroundFilter filter(at(0.0, 0.0, 6.0));
  for (int i = 1; i <= 20; ++i) {
    filter.update(at(0.1 * i, 0.1 * i, 6.0));
  }
  const Eigen::Vector2d velocity = filter.state().mean.tail<2>();
  for (int i = 1; i <= 3; ++i) {
    EXPECT_EQ(filter.update(at(2.0 + 0.1 * i, 9.0, 6.0)), GroundFilter::Verdict::refused);
    EXPECT_EQ(filter.state().time, 2 * SECOND);
  }
  EXPECT_EQ(filter.update(at(2.4, 9.0, 6.0)), GroundFilter::Verdict::restarted);
  EXPECT_EQ(filter.state().mean.head<2>(), Eigen::Vector2d(9.0, 6.0));
  EXPECT_EQ(Eigen::Vector2d(filter.state().mean.tail<2>()), velocity);
  EXPECT_EQ(filter.state().covariance(0, 0), 0.0004);
  EXPECT_EQ(filter.state().covariance(2, 2), 2.25);
}

TEST(GroundFilterTest, OutliersThatAreNotRunningNeverBeginAnew) {
  GroundFilter filter(at(0.0, 0.0, 6.0));
  for (int i = 1; i <= 60; ++i) {
    const bool isOutlier = i % 4 != 0 && i > 4;
    const auto verdict = filter.update(at(0.1 * i, isOutlier ? 9.0 : 0.0, 6.0));
    EXPECT_EQ(verdict, isOutlier ? GroundFilter::Verdict::refused : GroundFilter::Verdict::taken);
  }
}

// On a standing axis with P_xx = p and the variance r the gate is at 5 sqrt(p + r).
TEST(GroundFilterTest, GateIsAtFiveDeviations) {
  const GroundFilter filter(at(0.0, 0.0, 6.0));
  const double gate = 5.0 * std::sqrt(0.0008);
  GroundFilter inside = filter;
  EXPECT_EQ(inside.update(at(0.0, gate * 0.999, 6.0)), GroundFilter::Verdict::taken);
  GroundFilter outside = filter;
  EXPECT_EQ(outside.update(at(0.0, gate * 1.001, 6.0)), GroundFilter::Verdict::refused);
  EXPECT_NEAR(filter.distanceTo(at(0.0, gate, 6.0)), 25.0, 1e-9);
}

// P_xx = r + v dt2 + q dt3 / 3, P_xv = v dt + q dt2 / 2, P_vv = v + q dt.
TEST(GroundFilterTest, PredictionGrowsByWhiteAcceleration) {
  const GroundFilter filter(at(0.0, 1.0, 2.0, 0.01));
  const GroundFilter::State later = GroundFilter::predict(filter.state(), 2 * SECOND);
  EXPECT_NEAR(later.covariance(0, 0), 0.01 + 2.25 * 4 + 0.2 * 8 / 3, 1e-12);
  EXPECT_NEAR(later.covariance(1, 3), 2.25 * 2 + 0.2 * 4 / 2, 1e-12);
  EXPECT_NEAR(later.covariance(3, 3), 2.25 + 0.4, 1e-12);
  EXPECT_EQ(later.covariance, later.covariance.transpose());
  EXPECT_EQ(later.time, 2 * SECOND);
  EXPECT_EQ(GroundFilter::predict(filter.state(), -SECOND).time, 0);
}

TEST(GroundFilterTest, WhatIsNotFiniteIsDropped) {
  GroundFilter filter(at(0.0, 1.0, 2.0));
  EXPECT_EQ(filter.update(at(0.1, std::nan(""), 2.0)), GroundFilter::Verdict::dropped);
  EXPECT_EQ(filter.update(at(0.1, 1.0, 2.0, INFINITY)), GroundFilter::Verdict::dropped);
  EXPECT_EQ(filter.updateUngated(at(0.1, 1.0, -INFINITY)), GroundFilter::Verdict::dropped);
  EXPECT_TRUE(filter.state().mean.allFinite());
  EXPECT_EQ(filter.state().time, 0);
}

TEST(GroundFilterTest, StampsThatStandStillKeepEverythingFinite) {
  GroundFilter filter(at(5.0, 1.0, 2.0));
  for (int i = 0; i < 1000; ++i) {
    filter.update(at(5.0, 1.0 + 0.001 * (i % 7), 2.0));
  }
  EXPECT_TRUE(filter.state().mean.allFinite());
  EXPECT_TRUE(filter.state().covariance.allFinite());
  EXPECT_NEAR(filter.state().mean(0), 1.003, 0.002);
}

TEST(GroundFilterTest, LooseningAddsToTheVariancesAndForgetsWhatWasKept) {
  GroundFilter filter(at(0.0, 0.0, 6.0));
  filter.update(at(0.1, 0.0, 6.0));
  const GroundFilter::State before = filter.state();
  filter.loosen(1.0, 2.0);
  EXPECT_NEAR(filter.state().covariance(1, 1), before.covariance(1, 1) + 1.0, 1e-12);
  EXPECT_NEAR(filter.state().covariance(2, 2), before.covariance(2, 2) + 2.0, 1e-12);
  EXPECT_EQ(filter.keptCount(), 0U);
  EXPECT_EQ(filter.update(at(0.05, 0.0, 6.0)), GroundFilter::Verdict::dropped);
  EXPECT_EQ(filter.update(at(0.2, 2.0, 6.0)), GroundFilter::Verdict::taken);
}

}  // namespace
}  // namespace following
