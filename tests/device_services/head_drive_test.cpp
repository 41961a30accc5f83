#include "services/head_drive.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace device {
namespace {

using testing::ElementsAre;

TEST(HeadDriveTest, ObserverSeesTheHeadOnAnEvenGridHoweverLateItIsAsked) {
  HeadSetup setup;
  setup.pan = {.speed = 100, .acceleration = 1e6, .low = -180, .high = 180, .endless = true};
  setup.tilt = {.speed = 100, .acceleration = 1e6, .low = -90, .high = 90};
  setup.minFieldAngle = 2;
  setup.maxFieldAngle = 60;
  std::int64_t now = 1000000;
  HeadDrive drive(setup, [&] { return now; });
  std::vector<std::int64_t> times;
  std::vector<int> pans;
  drive.observe(50000, [&](std::int64_t time, const Head& head) {
    times.push_back(time);
    pans.push_back(static_cast<int>(head.status().pan + 0.5));
  });
  drive.getHead().command({.pan = {MoveKind::continuous, 100}, .tilt = {}, .zoom = {}});
  now += 49000;
  drive.advance();
  EXPECT_TRUE(times.empty());
  now += 103000;
  drive.advance();
  EXPECT_THAT(times, ElementsAre(1050000, 1100000, 1150000));
  EXPECT_THAT(pans, ElementsAre(5, 10, 15)) << "100 degrees a second";
}

}  // namespace
}  // namespace device
