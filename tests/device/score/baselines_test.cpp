#include "score/baselines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "device/score/people.h"
#include "score/scorer.h"

namespace device {
namespace {

HeadSetup scoredHead() {
  HeadSetup head;
  head.pan = {.speed = 100, .acceleration = 300, .low = -180, .high = 180, .endless = true};
  head.tilt = {.speed = 100, .acceleration = 300, .low = -90, .high = 20};
  head.link.latency = 0.15;
  head.zoomSpeed = 3333;
  head.minFieldAngle = 2.5;
  head.maxFieldAngle = 63.4;
  head.home = {.pan = 0, .tilt = -35, .zoom = 1};
  return head;
}

// One walks past, 8 m ahead of the mast, at 1.5 m/s; nobody is there before and after.
std::vector<ScoreSample> passer(double speed = 1.5) {
  std::vector<ScoreSample> samples;
  append(samples, 1, {0, -35, 63.4}, {});
  for (double x = -12; x <= 12; x += speed * PERIOD) {
    append(samples, PERIOD, {0, -35, 63.4}, {personAt(1, x, 8)});
  }
  append(samples, 6, {0, -35, 63.4}, {});
  return samples;
}

TEST(BaselinesTest, HeadAtHomeIsScoredAsIfItWereThere) {
  std::vector<ScoreSample> samples;
  append(samples, 2 + PERIOD, {90, 0, 10}, {personAt(1, 0, 8)});
  const ScoreFigures home = baselinesOf(samples, SETUP, scoredHead()).home;
  const double tilt = std::atan2(-4.15, 8) * 180 / M_PI;
  EXPECT_NEAR(home.error->rms, std::abs(-35 - tilt), 1e-6);
}

TEST(BaselinesTest, BestPoseOfSomebodyWhoStandsShowsHimLarge) {
  std::vector<ScoreSample> samples;
  append(samples, 2 + PERIOD, {0, 0, 60}, {personAt(1, 30, 40)});
  const Baselines baselines = baselinesOf(samples, SETUP, scoredHead());
  EXPECT_NEAR(*baselines.fixed.share20, 1, 1e-9);
  EXPECT_NEAR(*baselines.fixed.density[1].share, 1, 1e-9);
  EXPECT_NEAR(*baselines.home.share20, 0, 1e-9);
}

TEST(BaselinesTest, BestPoseIsBetterThanAnyOfAGrid) {
  const std::vector<ScoreSample> samples = passer();
  const HeadPose best = bestFixedPose(samples, SETUP, scoredHead());
  const double earned = *scoreWith(samples, std::span(&best, 1), SETUP).share20;
  double grid = 0;
  for (double pan = -60; pan <= 60; pan += 5) {
    for (double tilt = -50; tilt <= 0; tilt += 5) {
      for (double field = 20; field <= 63.4; field *= 1.2) {
        const HeadPose pose{pan, tilt, field};
        grid = std::max(grid, *scoreWith(samples, std::span(&pose, 1), SETUP).share20);
      }
    }
  }
  EXPECT_GT(grid, 0.3);
  EXPECT_GE(earned, grid - 0.02);
}

TEST(BaselinesTest, BestPoseOfTwoPlacesLiesBetweenThem) {
  // 43.6 degrees apart: who looks at the one does not show the other.
  std::vector<ScoreSample> samples;
  append(samples, 2 + PERIOD, {0, -35, 63.4}, {personAt(1, 9, 3.6)});
  append(samples, 2, {0, -35, 63.4}, {personAt(2, 9, -3.6)});
  const Baselines baselines = baselinesOf(samples, SETUP, scoredHead());
  EXPECT_NEAR(*baselines.fixed.share20, 1, 1e-9);
  EXPECT_NEAR(baselines.fixedPose.pan, 90, 10);
}

TEST(BaselinesTest, BestPoseStaysWithinTheHeadsReach) {
  HeadSetup head = scoredHead();
  head.pan = {.speed = 100, .acceleration = 300, .low = -20, .high = 20};
  std::vector<ScoreSample> samples;
  append(samples, 2, {0, 0, 60}, {personAt(1, 8, 8)});
  const HeadPose pose = bestFixedPose(samples, SETUP, head);
  EXPECT_LE(std::abs(pose.pan), 20);
  EXPECT_GE(pose.field, 2.5);
  EXPECT_LE(pose.field, 63.4 + 1e-9);
}

TEST(BaselinesTest, WithNobodyTheBestPoseIsHome) {
  std::vector<ScoreSample> samples;
  append(samples, 2, {50, 0, 60}, {personAt(1, 30, 20, false)});
  const HeadPose pose = bestFixedPose(samples, SETUP, scoredHead());
  EXPECT_NEAR(pose.pan, 0, 1e-9);
  EXPECT_NEAR(pose.tilt, -35, 1e-9);
  EXPECT_NEAR(pose.field, 63.4, 1e-9);
}

TEST(BaselinesTest, ClairvoyantHeadKeepsToItsPerson) {
  const ScoreFigures bound = baselinesOf(passer(), SETUP, scoredHead()).bound;
  EXPECT_LT(bound.people[0].lateError->rms, 0.1);
  EXPECT_GT(*bound.share40, 0.85);
  EXPECT_GT(*bound.density[2].share, 0.85);
  EXPECT_EQ(bound.acquisition.never, 0);
}

TEST(BaselinesTest, ClairvoyantHeadIsNeverFasterThanTheHead) {
  HeadSetup slow = scoredHead();
  slow.pan.speed = 30;
  slow.pan.acceleration = 150;
  const std::vector<ScoreSample> samples = passer(6);
  const std::vector<HeadPose> poses = clairvoyantPoses(samples, SETUP, slow);
  ASSERT_EQ(poses.size(), samples.size());
  double fastest = 0;
  double hardest = 0;
  for (std::size_t i = 2; i < poses.size(); ++i) {
    const double rate = normalizedPan(poses[i].pan - poses[i - 1].pan) / PERIOD;
    const double before = normalizedPan(poses[i - 1].pan - poses[i - 2].pan) / PERIOD;
    fastest = std::max(fastest, std::abs(rate));
    hardest = std::max(hardest, std::abs(rate - before) / PERIOD);
  }
  EXPECT_NEAR(fastest, 30, 0.01);
  EXPECT_LE(hardest, 150 * 1.001);
}

TEST(BaselinesTest, ClairvoyantHeadSetsOutAfterTheLatencyAndGoesHome) {
  const std::vector<ScoreSample> samples = passer();
  const std::vector<HeadPose> poses = clairvoyantPoses(samples, SETUP, scoredHead());
  const auto moved =
      std::ranges::find_if(poses, [](const HeadPose& pose) { return std::abs(pose.pan) > 1e-9; });
  const std::size_t first = static_cast<std::size_t>(moved - poses.begin());
  // Somebody enters at 1 s.
  EXPECT_NEAR(samples[first].time, 1 + 0.15 + PERIOD, PERIOD + 1e-9);
  EXPECT_NEAR(poses.back().pan, 0, 0.01);
  EXPECT_NEAR(poses.back().tilt, -35, 0.01);
  EXPECT_NEAR(poses.back().field, 63.4, 0.01);
}

TEST(BaselinesTest, OnlyFollowingEarnsAScoreWherePeopleWalkPast) {
  const Baselines baselines = baselinesOf(passer(), SETUP, scoredHead());
  for (const ScoreFigures* parked : {&baselines.home, &baselines.fixed}) {
    EXPECT_LT(*parked->share40, 0.3);
    EXPECT_LT(*parked->density[2].share, 0.3);
    EXPECT_GT(parked->error->rms, 10);
  }
  EXPECT_GT(*baselines.bound.share40, 0.85);
}

}  // namespace
}  // namespace device
