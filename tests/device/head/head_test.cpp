#include "head/head.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace device {
namespace {

HeadSetup ordinaryHead() {
  HeadSetup setup;
  setup.pan = {.speed = 100, .acceleration = 400, .low = -180, .high = 180, .endless = true};
  setup.tilt = {.speed = 100, .acceleration = 400, .low = -90, .high = 20};
  setup.link.latency = 0.04;
  setup.zoomSpeed = 1000;
  setup.minZoom = 1;
  setup.maxZoom = 9999;
  setup.minFieldAngle = 2.5;
  setup.maxFieldAngle = 63.4;
  setup.aspectRatio = 16.0 / 9;
  setup.home = {.pan = 0, .tilt = -3.6, .zoom = 1};
  return setup;
}

HeadCommand goTo(double pan, double tilt, int zoom, int speed = 100) {
  return {.pan = {MoveKind::absolute, pan},
          .tilt = {MoveKind::absolute, tilt},
          .zoom = {MoveKind::absolute, static_cast<double>(zoom)},
          .speed = speed};
}

HeadCommand goOn(double pan, double tilt, double zoom, int speed = 100) {
  return {.pan = {MoveKind::continuous, pan},
          .tilt = {MoveKind::continuous, tilt},
          .zoom = {MoveKind::continuous, zoom},
          .speed = speed};
}

double normalized(double angle) {
  return std::remainder(angle, 360.0);
}

void run(Head& head, double seconds) {
  const int steps = static_cast<int>(std::lround(seconds / 0.01));
  for (int i = 0; i < steps; ++i) {
    head.step(0.01);
  }
}

TEST(HeadTest, StandsAtHomeAtFirst) {
  Head head(ordinaryHead());
  run(head, 1);
  const HeadStatus status = head.status();
  EXPECT_DOUBLE_EQ(status.pan, 0);
  EXPECT_DOUBLE_EQ(status.tilt, -3.6);
  EXPECT_EQ(status.zoom, 1);
  EXPECT_FALSE(status.moving());
}

TEST(HeadTest, ACommandTakesEffectAfterTheLatency) {
  Head head(ordinaryHead());
  head.command(goOn(100, 0, 0));
  head.step(0.039);
  EXPECT_DOUBLE_EQ(head.status().pan, 0);
  EXPECT_FALSE(head.status().panMoving);
  head.step(0.051);  // 0.05 s of motion: 400 * 0.05^2 / 2
  EXPECT_NEAR(head.status().pan, 0.5, 0.02);
  EXPECT_TRUE(head.status().panMoving);
  EXPECT_FALSE(head.status().tiltMoving);
}

TEST(HeadTest, CommandsTakeEffectInTheirOrder) {
  Head head(ordinaryHead());
  head.command(goOn(100, 0, 0));
  head.step(0.02);
  head.command(goOn(0, -100, 0));
  run(head, 2);
  // Pan was driven for 0.02 s, up to 8 deg/s, and braked at once: 2 * 400 * 0.02^2 / 2.
  EXPECT_NEAR(head.status().pan, 0.16, 0.02);
  EXPECT_LT(head.status().tilt, -60);
}

TEST(HeadTest, OneLongStepDoesWhatManyShortOnesDo) {
  Head once(ordinaryHead());
  Head often(ordinaryHead());
  for (Head* head : {&once, &often}) {
    head->command(goTo(30, -45, 500));
  }
  once.step(0.5);
  run(often, 0.5);
  EXPECT_NEAR(once.status().pan, often.status().pan, 0.06);
  EXPECT_NEAR(once.status().tilt, often.status().tilt, 0.06);
}

TEST(HeadTest, PercentOfFullSpeed) {
  Head head(ordinaryHead());
  head.command(goOn(35, -20, 50));
  head.step(1.04);
  const double panWay = 35 * (1 - 0.0875 / 2);  // 35 / 400 s to speed up
  const double tiltWay = 20 * (1 - 0.05 / 2);
  EXPECT_NEAR(head.status().pan, panWay, 0.1);
  EXPECT_NEAR(head.status().tilt, -3.6 - tiltWay, 0.1);
  EXPECT_NEAR(head.status().zoom, 1 + 500 * (1 - 0.05 / 2), 2);
}

TEST(HeadTest, PercentBeyondAHundredCountsAsAHundred) {
  Head head(ordinaryHead());
  head.command(goOn(1000, 0, 0));
  head.step(1.04);
  EXPECT_NEAR(head.status().pan, 87.5, 0.1);
}

TEST(HeadTest, AnAxisThatIsNotDrivenKeepsWhatItDoes) {
  Head head(ordinaryHead());
  head.command(goOn(50, 0, 0));
  run(head, 0.5);
  head.command({.pan = {}, .tilt = {}, .zoom = {MoveKind::absolute, 400}});
  const double before = head.status().pan;
  run(head, 0.6);
  EXPECT_NEAR(head.status().pan, before + 30, 0.1);
  EXPECT_EQ(head.status().zoom, 400);
}

TEST(HeadTest, GoesToPositionsAndSaysWhenItIsThere) {
  Head head(ordinaryHead());
  head.command(goTo(0, -45, 100));
  run(head, 0.1);
  EXPECT_TRUE(head.status().tiltMoving);
  EXPECT_TRUE(head.status().zoomMoving);
  EXPECT_FALSE(head.status().panMoving);
  run(head, 2);
  EXPECT_FALSE(head.status().moving());
  EXPECT_DOUBLE_EQ(head.status().tilt, -45);
  EXPECT_EQ(head.status().zoom, 100);
}

TEST(HeadTest, AbsoluteMotionsKeepToTheSpeedOfTheCommand) {
  Head head(ordinaryHead());
  head.command(goTo(90, -3.6, 1, 10));
  run(head, 2.04);  // 10 deg/s, 0.025 s to speed up
  EXPECT_NEAR(head.status().pan, 10 * (2 - 0.025 / 2), 0.1);
}

TEST(HeadTest, PanTurnsForEverAndTiltStops) {
  Head head(ordinaryHead());
  head.command(goOn(100, -100, 0));
  run(head, 4.04);
  EXPECT_NEAR(head.status().pan, 387.5 - 360, 0.2);
  EXPECT_DOUBLE_EQ(head.status().tilt, -90);
  EXPECT_FALSE(head.status().tiltMoving);
}

TEST(HeadTest, StandsStillWhenNobodyCommandsItAnyMore) {
  HeadSetup setup = ordinaryHead();
  setup.speedHold = 1;
  Head head(setup);
  head.command(goOn(40, -20, 30));
  run(head, 1.0);
  EXPECT_TRUE(head.status().panMoving && head.status().tiltMoving && head.status().zoomMoving);
  run(head, 0.04 + 0.1 + 0.02);  // the latency, the braking of pan and zoom, two steps
  EXPECT_FALSE(head.status().moving());
}

TEST(HeadTest, AnAxisThatIsNotDrivenAnyMoreStandsStill) {
  HeadSetup setup = ordinaryHead();
  setup.speedHold = 1;
  Head head(setup);
  head.command(goOn(40, 40, 0));
  for (int i = 0; i < 13; ++i) {
    run(head, 0.1);
    head.command({.pan = {MoveKind::continuous, 40}, .tilt = {}, .zoom = {}});
  }
  EXPECT_TRUE(head.status().panMoving);
  EXPECT_FALSE(head.status().tiltMoving);
}

TEST(HeadTest, ZoomStaysOnItsScale) {
  Head head(ordinaryHead());
  head.command(goOn(0, 0, -100));
  run(head, 1);
  EXPECT_EQ(head.status().zoom, 1);
  head.command(goOn(0, 0, 100));
  run(head, 12);
  EXPECT_EQ(head.status().zoom, 9999);
}

// The multiplier grows linearly from 1: 25.36 - 1 = 24.36 over 9999 steps, so that step 4106 gives
// 24.36 * 4105 / 9999 + 1 = 11.0007.
TEST(HeadTest, ThePictureShrinksWithTheMultiplier) {
  Head head(ordinaryHead());
  EXPECT_DOUBLE_EQ(head.status().magnification, 1);
  EXPECT_DOUBLE_EQ(head.status().pictureWidth, 63.4);
  EXPECT_NEAR(head.status().pictureHeight, 35.6625, 1e-9);
  head.command(goTo(0, 0, 4106));
  run(head, 6);
  EXPECT_NEAR(head.status().magnification, 11.0007, 0.001);
  EXPECT_NEAR(head.status().pictureWidth, 63.4 / 11.0007, 0.001);
}

TEST(HeadTest, AStopDropsWhatIsStillOnItsWay) {
  Head head(ordinaryHead());
  head.command(goTo(90, -45, 1));
  head.step(0.02);
  head.command(goOn(0, 0, 0, 0));
  run(head, 3);
  EXPECT_DOUBLE_EQ(head.status().pan, 0);
  EXPECT_DOUBLE_EQ(head.status().tilt, -3.6);
}

TEST(HeadTest, SpeedZeroWithMotionIsNoStop) {
  Head head(ordinaryHead());
  head.command(goTo(20, -3.6, 1));
  head.step(0.02);
  head.command(goOn(0, -10, 0, 0));
  run(head, 1);
  EXPECT_GT(head.status().pan, 0);  // the first was obeyed until the second took over
}

TEST(HeadTest, AStopEndsMotion) {
  Head head(ordinaryHead());
  head.command(goOn(100, -50, 100));
  run(head, 0.5);
  head.command(goOn(0, 0, 0, 0));
  run(head, 0.5);
  const HeadStatus rest = head.status();
  EXPECT_FALSE(rest.moving());
  run(head, 1);
  EXPECT_DOUBLE_EQ(head.status().pan, rest.pan);
}

TEST(HeadTest, GoesHome) {
  Head head(ordinaryHead());
  head.command(goTo(120, 10, 3000));
  run(head, 5);
  head.goHome(100);
  run(head, 5);
  EXPECT_DOUBLE_EQ(head.status().pan, 0);
  EXPECT_DOUBLE_EQ(head.status().tilt, -3.6);
  EXPECT_EQ(head.status().zoom, 1);
}

TEST(HeadTest, KeepsPresets) {
  Head head(ordinaryHead());
  EXPECT_FALSE(head.setPreset(0));
  EXPECT_FALSE(head.goToPreset(3, 100));
  head.command(goTo(-175, -20, 700));
  run(head, 3);
  EXPECT_TRUE(head.setPreset(3));
  ASSERT_EQ(head.getPresets().size(), 1u);
  EXPECT_NEAR(head.getPresets().at(3).pan, -175, 1e-9);
  EXPECT_EQ(head.presetHere(), 3);

  head.goHome(100);
  run(head, 0.5);
  EXPECT_EQ(head.presetHere(), 0);
  run(head, 5);
  EXPECT_EQ(head.presetHere(), 0);

  EXPECT_TRUE(head.goToPreset(3, 100));
  run(head, 5);
  EXPECT_EQ(head.presetHere(), 3);
  EXPECT_NEAR(head.status().tilt, -20, 1e-9);
  EXPECT_EQ(head.status().zoom, 700);
}

TEST(HeadTest, PresetsAreFoundAcrossTheSeam) {
  Head head(ordinaryHead());
  head.command(goTo(-179.9, -3.6, 1));
  run(head, 4);
  head.setPreset(1);
  head.command(goTo(179.9, -3.6, 1));
  run(head, 1);
  EXPECT_NEAR(head.status().pan, 179.9, 1e-9);
  EXPECT_EQ(head.presetHere(), 1);
}

// Where the head says it is trails behind where it is by what the status is late.
TEST(HeadTest, TheStatusItTellsIsOld) {
  HeadSetup setup = ordinaryHead();
  setup.status = {.age = 0.3, .period = 0.1, .step = 0.05};
  Head head(setup);
  head.command(goOn(20, 0, 0));
  run(head, 1);
  double least = 1000;
  double most = 0;
  for (int i = 0; i < 100; ++i) {
    head.step(0.01);
    const double behind = head.status().pan - head.toldStatus().pan;
    least = std::min(least, behind);
    most = std::max(most, behind);
  }
  EXPECT_NEAR(least, 20 * 0.3, 0.3);
  EXPECT_NEAR(most, 20 * 0.4, 0.3);
  EXPECT_NEAR(std::remainder(head.toldStatus().pan, 0.05), 0, 1e-9);
}

TEST(HeadTest, TheStatusOfAPerfectHeadIsTheTruth) {
  Head head(ordinaryHead());
  head.command(goOn(20, -10, 30));
  run(head, 1.234);
  EXPECT_EQ(head.toldStatus().pan, head.status().pan);
  EXPECT_EQ(head.toldStatus().tilt, head.status().tilt);
  EXPECT_EQ(head.toldStatus().zoom, head.status().zoom);
}

TEST(HeadTest, TheMotorsKnowNothingOfThePlay) {
  HeadSetup setup = ordinaryHead();
  setup.pan.gears.play = 0.4;
  Head head(setup);
  head.command(goTo(30, -3.6, 1));
  run(head, 2);
  EXPECT_NEAR(head.toldStatus().pan, 30, 1e-9);
  EXPECT_NEAR(head.status().pan, 29.8, 1e-9);
}

TEST(HeadTest, PanAndTiltTurnByTheDriveCurve) {
  HeadSetup setup = ordinaryHead();
  setup.drive = {.deadZone = 2, .step = 5, .exponent = 1.5};
  Head head(setup);
  const auto speedAt = [&head](double percent) {
    head.command(goOn(percent, 0, 0));
    run(head, 0.5);
    const double from = head.status().pan;
    run(head, 0.2);
    return normalized(head.status().pan - from) / 0.2;
  };
  EXPECT_NEAR(speedAt(26), 12.5, 0.01);  // as 25 percent, 0.25^1.5 of full speed
  EXPECT_NEAR(speedAt(-64), -100 * std::pow(0.65, 1.5), 0.01);
  EXPECT_NEAR(speedAt(1.9), 0, 0.01);
  EXPECT_NEAR(speedAt(3), 100 * std::pow(0.05, 1.5), 0.01);
}

TEST(HeadTest, AZoomCurveIsTheHeadsOwn) {
  HeadSetup setup = ordinaryHead();
  setup.zoomCurve.kind = ZoomCurveKind::logarithmic;
  setup.home.zoom = 5000;
  const HeadStatus half = Head(setup).status();
  EXPECT_NEAR(half.magnification, std::sqrt(63.4 / 2.5), 1e-9);
  EXPECT_NEAR(half.pictureWidth, std::sqrt(63.4 * 2.5), 1e-9);
  setup.zoomCurve = {.kind = ZoomCurveKind::table, .exponent = 1, .table = {{0, 60}, {1, 3}}};
  setup.home.zoom = 9999;
  const HeadStatus in = Head(setup).status();
  EXPECT_NEAR(in.magnification, 20, 1e-9);
  EXPECT_NEAR(in.pictureWidth, 3, 1e-9);
}

TEST(HeadTest, CommandMayHoldForAnotherTimeThanTheHeadsOwn) {
  HeadSetup setup = ordinaryHead();
  setup.speedHold = 1;
  for (const double hold : {0.3, 3.0}) {
    Head head(setup);
    HeadCommand command = goOn(10, 0, 0);
    command.hold = hold;
    head.command(command);
    run(head, hold);
    EXPECT_TRUE(head.status().panMoving) << hold;
    run(head, 0.3);
    EXPECT_FALSE(head.status().panMoving) << hold;
    EXPECT_NEAR(head.status().pan, 10 * hold, 0.5) << hold;
  }
}

TEST(HeadTest, NextCommandHoldsForTheHeadsOwnTimeAgain) {
  HeadSetup setup = ordinaryHead();
  setup.speedHold = 1;
  Head head(setup);
  HeadCommand command = goOn(10, 0, 0);
  command.hold = 20;
  head.command(command);
  run(head, 0.5);
  head.command(goOn(10, 0, 0));
  run(head, 2);
  EXPECT_FALSE(head.status().panMoving);
}

TEST(HeadTest, PresetThatIsRemovedIsNotThereAnyMore) {
  Head head(ordinaryHead());
  head.setPreset(3);
  EXPECT_TRUE(head.removePreset(3));
  EXPECT_FALSE(head.removePreset(3));
  EXPECT_FALSE(head.goToPreset(3, 100));
  EXPECT_EQ(0, head.presetHere());
}

TEST(HeadTest, TheSeedDecidesWhenCommandsArrive) {
  HeadSetup setup = ordinaryHead();
  setup.link = {.latency = 0.3, .jitter = 0.1};
  const auto wayWith = [&setup](std::uint64_t seed) {
    Head head(setup, seed);
    head.command(goOn(50, 0, 0));
    run(head, 1);
    return head.status().pan;
  };
  EXPECT_EQ(wayWith(1), wayWith(1));
  EXPECT_NE(wayWith(1), wayWith(2));
}

TEST(HeadTest, TheSeedDecidesHowLongCallsTake) {
  HeadSetup setup = ordinaryHead();
  setup.calls = {0.02, 0.2};
  EXPECT_EQ(Head(setup, 1).makeCallDelay().next(), Head(setup, 1).makeCallDelay().next());
  EXPECT_NE(Head(setup, 1).makeCallDelay().next(), Head(setup, 2).makeCallDelay().next());
}

}  // namespace
}  // namespace device
