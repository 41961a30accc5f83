#include "world/detector.h"

#include <gtest/gtest.h>

#include <cmath>

namespace device {
namespace {

constexpr int PICTURES = 10000;

OverviewCamera camera() {
  OverviewCameraSetup setup;
  setup.position = {0, 0, 5};
  setup.tilt = -20;
  setup.horizontalFov = 60;
  return OverviewCamera(setup);
}

double detectedShare(const DetectionSetup& setup, const Person& person,
                     std::vector<Block> scenery = {}) {
  Detector detector(setup, std::move(scenery), 1, 2);
  const std::vector<Person> people{person};
  int detected = 0;
  for (int i = 0; i < PICTURES; ++i) {
    detected += detector.detect(camera(), person, people, i * 0.1) ? 1 : 0;
  }
  return detected / static_cast<double>(PICTURES);
}

const Person NEAR_BY{1, {0, 12}, {}};

TEST(DetectorTest, WithoutFlawsEverybodyIsDetected) {
  EXPECT_EQ(detectedShare({}, NEAR_BY), 1);
  EXPECT_EQ(detectedShare({}, {1, {0, 70}, {}}), 1);
}

TEST(DetectorTest, PeopleAreMissedAsOftenAsTold) {
  DetectionSetup setup;
  setup.missed = 0.15;
  EXPECT_NEAR(detectedShare(setup, NEAR_BY), 0.85, 0.015);
}

TEST(DetectorTest, TheSmallAreMissedMoreOften) {
  DetectionSetup setup;
  setup.missed = 0.1;
  setup.missedSmall = 0.6;
  setup.smallPixels = 80;
  const Person far{1, {0, 40}, {}};
  const auto silhouette = silhouetteOf(camera(), far);
  ASSERT_TRUE(silhouette);
  const double pixels = silhouette->box.height() * 1080 / 2;
  ASSERT_LT(pixels, 80);
  ASSERT_GT(pixels, 50);
  EXPECT_NEAR(detectedShare(setup, far), 0.9 * (1 - 0.6 * (1 - pixels / 80)), 0.015);
  EXPECT_NEAR(detectedShare(setup, NEAR_BY), 0.9, 0.015);
}

TEST(DetectorTest, TheHiddenAreMissedMoreOften) {
  DetectionSetup setup;
  setup.missedHidden = 0.9;
  // Hides the middle third.
  const Block pole{.middle = {0, 11}, .width = 0.15, .depth = 0.15, .height = 8, .turn = 0};
  EXPECT_NEAR(detectedShare(setup, NEAR_BY, {pole}), 1 - 0.9 / 3, 0.015);
  EXPECT_EQ(detectedShare(setup, NEAR_BY), 1);
}

TEST(DetectorTest, WhoIsTooSmallIsNeverDetected) {
  DetectionSetup setup;
  const auto silhouette = silhouetteOf(camera(), NEAR_BY);
  ASSERT_TRUE(silhouette);
  const double pixels = silhouette->box.height() * 1080 / 2;
  setup.leastPixels = pixels + 0.1;
  EXPECT_EQ(detectedShare(setup, NEAR_BY), 0);
  setup.leastPixels = pixels - 0.1;
  EXPECT_EQ(detectedShare(setup, NEAR_BY), 1);
}

TEST(DetectorTest, WhoIsBehindAVanIsNotDetected) {
  const Block van{.middle = {0, 10}, .width = 5, .depth = 2, .height = 2.4, .turn = 0};
  EXPECT_EQ(detectedShare({}, NEAR_BY, {van}), 0);
  EXPECT_EQ(detectedShare({}, {1, {0, 8}, {}}, {van}), 1);
}

TEST(DetectorTest, OcclusionsLeaveGaps) {
  DetectionSetup setup;
  setup.occlusions = {.perSecond = 0.1, .least = 1, .most = 1};
  EXPECT_NEAR(detectedShare(setup, NEAR_BY), 0.9, 0.03);
}

TEST(DetectorTest, LegsAreHiddenBehindOthers) {
  DetectionSetup setup;
  setup.hiddenByOthers = true;
  const std::vector<Person> people{{1, {0, 16}, {}}, {2, {0, 12.5}, {}}};
  Detector detector(setup, {}, 1, 2);
  const auto behind = detector.detect(camera(), people[0], people, 0);
  const auto inFront = detector.detect(camera(), people[1], people, 0);
  const auto alone = silhouetteOf(camera(), people[0]);
  ASSERT_TRUE(behind && inFront && alone);
  EXPECT_GT(behind->box.low.y, alone->box.low.y + 0.3 * alone->box.height());
  EXPECT_DOUBLE_EQ(behind->box.high.y, alone->box.high.y);
  EXPECT_DOUBLE_EQ(inFront->box.low.y, silhouetteOf(camera(), people[1])->box.low.y);
}

// A shadow as long as the person is tall, to the right.
TEST(DetectorTest, OutlinesMayHoldTheShadow) {
  DetectionSetup setup;
  setup.shadowLength = 1;
  setup.shadowTurn = 90;
  Detector detector(setup, {}, 1, 2);
  const auto seen = detector.detect(camera(), NEAR_BY, std::span(&NEAR_BY, 1), 0);
  const auto bare = silhouetteOf(camera(), NEAR_BY);
  const auto tip = camera().project({1.75, 12, 0});
  ASSERT_TRUE(seen && bare && tip);
  EXPECT_NEAR(seen->box.high.x, tip->x, 0.01);
  EXPECT_NEAR(seen->box.low.x, bare->box.low.x, 1e-9);
}

TEST(DetectorTest, TallPeopleAreTallInThePicture) {
  const auto child = silhouetteOf(camera(), {1, {0, 12}, {}, 1.2});
  const auto crown = camera().project({0, 12, 1.2});
  ASSERT_TRUE(child && crown);
  EXPECT_NEAR(child->box.high.y, crown->y, 1e-9);
}

}  // namespace
}  // namespace device
