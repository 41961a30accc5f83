#include "world/mounting.h"

#include <gtest/gtest.h>

#include <cmath>

#include "world/survey.h"
#include "world/world_setup.h"

namespace device {
namespace {

OverviewCameraSetup told() {
  OverviewCameraSetup setup;
  setup.pan = 90;
  setup.tilt = -35;
  setup.horizontalFov = 100;
  return setup;
}

TEST(MountingTest, TheCameraHangsBesideWhatIsTold) {
  const auto real = mounted(told(), {.pan = 0.5, .tilt = -0.25, .roll = 1}, 1, 0);
  EXPECT_DOUBLE_EQ(real.pan, 90.5);
  EXPECT_DOUBLE_EQ(real.tilt, -35.25);
  EXPECT_DOUBLE_EQ(real.roll, 1);
  EXPECT_DOUBLE_EQ(real.horizontalFov, 100);
}

TEST(MountingTest, SignsAreDrawnForEachRunCameraAndAngle) {
  const MountingError error{.pan = 0.5, .tilt = 0.5, .roll = 0.5, .randomSigns = true};
  int up = 0;
  int asPan = 0;
  for (std::uint64_t seed = 1; seed <= 250; ++seed) {
    for (int channel = 0; channel < 4; ++channel) {
      const auto real = mounted(told(), error, seed, channel);
      ASSERT_DOUBLE_EQ(std::abs(real.pan - 90), 0.5);
      ASSERT_DOUBLE_EQ(std::abs(real.tilt + 35), 0.5);
      ASSERT_DOUBLE_EQ(std::abs(real.roll), 0.5);
      up += real.pan > 90 ? 1 : 0;
      asPan += (real.pan > 90) == (real.tilt > -35) ? 1 : 0;
    }
  }
  EXPECT_NEAR(up / 1000.0, 0.5, 0.06);
  EXPECT_NEAR(asPan / 1000.0, 0.5, 0.06);
  EXPECT_EQ(mounted(told(), error, 7, 2).pan, mounted(told(), error, 7, 2).pan);
}

TEST(SurveyTest, WithoutErrorsTheTruthIsWrittenDown) {
  WorldSetup setup;
  setup.mastHeight = 5;
  setup.channels.resize(2);
  setup.channels[1].camera.position = {0.5, -0.2, 5};
  const Survey survey = surveyOf(setup, 1);
  EXPECT_DOUBLE_EQ(survey.mastHeight, 5);
  ASSERT_EQ(survey.offsets.size(), 2u);
  EXPECT_DOUBLE_EQ(survey.offsets[1].x, 0.5);
  EXPECT_DOUBLE_EQ(survey.offsets[1].y, -0.2);
}

TEST(SurveyTest, ErrorsGoEitherWay) {
  WorldSetup setup;
  setup.mastHeight = 5;
  setup.surveyError = {.mastHeight = 0.1, .offset = 0.05};
  setup.channels.resize(1);
  int high = 0;
  int right = 0;
  for (std::uint64_t seed = 1; seed <= 1000; ++seed) {
    const Survey survey = surveyOf(setup, seed);
    ASSERT_NEAR(std::abs(survey.mastHeight - 5), 0.5, 1e-12);
    ASSERT_NEAR(std::abs(survey.offsets[0].x), 0.05, 1e-12);
    high += survey.mastHeight > 5 ? 1 : 0;
    right += survey.offsets[0].x > 0 ? 1 : 0;
  }
  EXPECT_NEAR(high / 1000.0, 0.5, 0.06);
  EXPECT_NEAR(right / 1000.0, 0.5, 0.06);
}

}  // namespace
}  // namespace device
