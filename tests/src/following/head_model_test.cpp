#include "following/head_model.h"

#include <gtest/gtest.h>

#include <cmath>

#include "following/simulated_head.h"

namespace following {
namespace {

constexpr std::int64_t TICK = 50'000;

// 1 deg/s for each percent, 100 ms, 1000 deg/s2.
HeadParameters linear(double deadTime = 0.1, double acceleration = 1000.0) {
  HeadParameters parameters;
  parameters.pan.deadTime = deadTime;
  parameters.pan.acceleration = acceleration;
  parameters.tilt = parameters.pan;
  return parameters;
}

TEST(HeadModelTest, StandsWhereTheFirstStatusSays) {
  HeadModel head(linear());
  EXPECT_FALSE(head.isTrusted());
  head.read(0, 30.0, -20.0);
  EXPECT_TRUE(head.isTrusted());
  EXPECT_NEAR(head.pan().position, 30.0, 1e-9);
  EXPECT_NEAR(head.tilt().position, -20.0, 1e-9);
  EXPECT_EQ(head.pan().velocity, 0.0);
}

// 20 deg/s after 20 ms of ramp (0.2 deg).
TEST(HeadModelTest, CommandActsAfterTheDeadTimeAndIsForeseenBefore) {
  HeadModel head(linear());
  head.read(0, 0.0, 0.0);
  head.commanded(0, {20, 0});
  EXPECT_NEAR(head.pan().position, 0.0, 1e-9) << "it begins to act at the end of what is foreseen";
  head.read(TICK, 0.0, 0.0);
  EXPECT_NEAR(head.pan().position, 0.2 + 20 * 0.03, 1e-9);
  EXPECT_NEAR(head.pan().velocity, 20.0, 1e-9);
  head.read(2 * TICK, 0.0, 0.0);
  EXPECT_NEAR(head.pan().position, 0.2 + 20 * 0.08, 1e-9);
  EXPECT_EQ(head.tilt().position, 0.0);
}

TEST(HeadModelTest, StatusThatHasNotChangedCorrectsNothing) {
  HeadModel head(linear());
  head.read(0, 0.0, 0.0);
  head.commanded(0, {20, 0});
  for (int i = 1; i <= 6; ++i) {
    head.read(i * TICK, 0.0, 0.0);
  }
  // Now at 0.3 s, acting since 0.1 s, and 0.1 s ahead.
  EXPECT_NEAR(head.pan().position, 0.2 + 20 * 0.28, 1e-9);
}

TEST(HeadModelTest, NewStatusDrawsBothAxesByFourTenths) {
  HeadModel head(linear());
  head.read(0, 0.0, 0.0);
  head.read(TICK, 1.0, 0.0);
  EXPECT_NEAR(head.pan().position, 0.4, 1e-9);
  head.read(2 * TICK, 1.0, -2.0);
  EXPECT_NEAR(head.pan().position, 0.4 + 0.4 * 0.6, 1e-9);
  EXPECT_NEAR(head.tilt().position, -0.8, 1e-9);
}

TEST(HeadModelTest, FarOffTheStatusIsRightAtOnce) {
  HeadModel head(linear());
  head.read(0, 0.0, 0.0);
  head.read(TICK, 14.0, 16.0);
  EXPECT_NEAR(head.pan().position, 5.6, 1e-9);
  EXPECT_NEAR(head.tilt().position, 16.0, 1e-9);
}

TEST(HeadModelTest, StandingModelTakesAnUnchangedStatus) {
  HeadModel head(linear());
  head.read(0, 0.0, 0.0);
  head.read(TICK, 1.0, 0.0);
  for (int i = 2; i <= 9; ++i) {
    head.read(i * TICK, 1.0, 0.0);
  }
  EXPECT_NEAR(head.pan().position, 0.4, 1e-9);
  for (int i = 10; i <= 40; ++i) {
    head.read(i * TICK, 1.0, 0.0);
  }
  EXPECT_NEAR(head.pan().position, 1.0, 1e-3);
}

TEST(HeadModelTest, SeamIsCrossedTheShortWay) {
  HeadModel head(linear());
  head.read(0, 179.5, 0.0);
  head.read(TICK, -179.5, 0.0);
  EXPECT_NEAR(head.pan().position, 179.9, 1e-9);
  head.read(2 * TICK, -179.0, 0.0);
  EXPECT_NEAR(std::abs(head.pan().position), 179.66, 0.1);
}

// A head that does 15 % more than was identified.
TEST(HeadModelTest, RatioTakesUpWhatTheSpeedsAreOff) {
  HeadModel head(linear(0.1, 1e5));
  double position = 0.0;
  for (std::int64_t now = 0; now < 8'000'000; now += TICK) {
    if (now > 100'000) {
      position += 1.15 * 20 * 0.05;
    }
    head.read(now, std::remainder(position, 360.0), 0.0);
    head.commanded(now, {20, 0});
  }
  EXPECT_NEAR(head.panRatio(), 1.15, 0.02);
  EXPECT_EQ(head.tiltRatio(), 1.0);
}

TEST(HeadModelTest, RatioStaysWithinAQuarter) {
  for (const double factor : {0.3, 3.0}) {
    HeadModel head(linear(0.1, 1e5));
    double position = 0.0;
    for (std::int64_t now = 0; now < 20'000'000; now += TICK) {
      if (now > 100'000) {
        position += factor * 20 * 0.05;
      }
      head.read(now, std::remainder(position, 360.0), 0.0);
      head.commanded(now, {20, 0});
    }
    EXPECT_GE(head.panRatio(), 0.75);
    EXPECT_LE(head.panRatio(), 1.25);
  }
}

// One that has done a command's speed for 0.1 s.
AxisTracker movingTracker(int percent) {
  const SpeedLevel levels[] = {{1, 1.9}, {2, 2.1}, {20, 20.0}, {100, 100.0}};
  AxisModel model;
  model.curve = SpeedCurve(levels, 1);
  model.deadTime = 0.1;
  model.acceleration = 1e5;
  AxisTracker axis(model);
  axis.place(0.0);
  axis.advance(0);
  axis.add(0, percent);
  axis.advance(200'000);
  return axis;
}

// Its ratio after a value so far off (deg), so long (s) after the one before.
double ratioAfter(int percent, double off, double sinceChange) {
  AxisTracker axis = movingTracker(percent);
  axis.correct(axis.now().position + off, sinceChange);
  return axis.ratio();
}

// 3 percent of what the way of a value is off: of 20 deg/s x 0.05 s half a degree is half.
TEST(AxisTrackerTest, RatioTakesThreePercentOfAValuesShareAndAtMostTwoPercentagePoints) {
  EXPECT_NEAR(ratioAfter(20, 0.5, 0.05), 1.015, 1e-9);
  EXPECT_NEAR(ratioAfter(20, -0.5, 0.05), 0.985, 1e-9);
  EXPECT_NEAR(ratioAfter(20, 0.7, 0.05), 1.02, 1e-9);
  EXPECT_NEAR(ratioAfter(20, -0.7, 0.05), 0.98, 1e-9);
}

// 2.1 deg/s x 0.1 s are 0.21 degrees, of which 0.07 are a third.
TEST(AxisTrackerTest, RatioShowsAboveTwoDegreesASecond) {
  EXPECT_EQ(ratioAfter(1, 0.07, 0.1), 1.0);
  EXPECT_NEAR(ratioAfter(2, 0.07, 0.1), 1.01, 1e-9);
}

// 20 deg/s x 0.48 s are 9.6 degrees, of which 3.2 are a third.
TEST(AxisTrackerTest, RatioShowsBetweenValuesOfHalfASecond) {
  EXPECT_NEAR(ratioAfter(20, 3.2, 0.48), 1.01, 1e-9);
  EXPECT_EQ(ratioAfter(20, 3.2, 0.52), 1.0);
  EXPECT_EQ(ratioAfter(20, 3.2, 0.0), 1.0);
}

TEST(HeadModelTest, SpeedEndsByItselfASecondAfterTheLastCommand) {
  HeadModel head(linear(0.1, 1e5));
  head.read(0, 0.0, 0.0);
  head.commanded(0, {2, 0});
  for (int i = 1; i <= 40; ++i) {
    head.read(i * TICK, 0.0, 0.0);
  }
  EXPECT_EQ(head.pan().velocity, 0.0);
}

TEST(HeadModelTest, CommandThatWasNotTakenMovesNothing) {
  HeadModel head(linear());
  for (int i = 0; i < 40; ++i) {
    head.read(i * TICK, 5.0, 5.0);
  }
  EXPECT_EQ(head.pan().position, 5.0);
  EXPECT_EQ(head.pan().velocity, 0.0);
}

TEST(HeadModelTest, StopBySomebodyElseForgetsWhatIsUnderWay) {
  HeadModel head(linear(0.5));
  head.read(0, 0.0, 0.0);
  for (int i = 0; i < 10; ++i) {
    head.commanded(i * TICK, {50, 50});
    head.read((i + 1) * TICK, 0.0, 0.0);
  }
  EXPECT_GT(head.pan().position, 10.0);
  head.interrupted(10 * TICK);
  EXPECT_NEAR(head.pan().position, 0.0, 1e-9);
  EXPECT_EQ(head.pan().velocity, 0.0);
  head.read(11 * TICK, 3.0, -1.0);
  EXPECT_NEAR(head.pan().position, 3.0, 1e-9) << "the status alone counts";
  EXPECT_NEAR(head.tilt().position, -1.0, 1e-9);
}

TEST(HeadModelTest, StatusThatFreezesWhileTheHeadShouldMoveIsNotTrusted) {
  HeadModel head(linear());
  head.read(0, 0.0, 0.0);
  bool wasLost = false;
  for (int i = 1; i < 60; ++i) {
    head.commanded(i * TICK, {30, 0});
    head.read(i * TICK, 0.0, 0.0);
    wasLost = wasLost || !head.isTrusted();
    if (i < 28) {
      EXPECT_TRUE(head.isTrusted()) << i;
    }
  }
  EXPECT_TRUE(wasLost);
  head.read(60 * TICK, 0.5, 0.0);
  EXPECT_TRUE(head.isTrusted()) << "it moves again";
}

TEST(HeadModelTest, FrozenStatusIsTriedAgainAfterAWhile) {
  HeadModel head(linear());
  head.read(0, 0.0, 0.0);
  int i = 1;
  for (; head.isTrusted() && i < 100; ++i) {
    head.commanded(i * TICK, {30, 0});
    head.read(i * TICK, 0.0, 0.0);
  }
  ASSERT_FALSE(head.isTrusted());
  const int lost = i;
  for (; !head.isTrusted() && i < 200; ++i) {
    head.read(i * TICK, 0.0, 0.0);
  }
  EXPECT_NEAR((i - lost) * 0.05, 2.0, 0.11);
  EXPECT_NEAR(head.pan().position, 0.0, 0.5) << "it stands where the status says";
}

TEST(HeadModelTest, HeadThatStandsIsTrustedHoweverLongTheStatusStays) {
  HeadModel head(linear());
  for (int i = 0; i < 2000; ++i) {
    head.commanded(i * TICK, {0, 0});
    head.read(i * TICK, 7.0, 7.0);
    ASSERT_TRUE(head.isTrusted());
  }
}

TEST(HeadModelTest, NumbersThatAreNotFiniteAreNoReading) {
  HeadModel head(linear());
  head.read(0, std::nan(""), 0.0);
  EXPECT_FALSE(head.isTrusted());
  head.read(TICK, 1.0, 2.0);
  head.read(2 * TICK, HUGE_VAL, std::nan(""));
  EXPECT_NEAR(head.pan().position, 1.0, 1e-9);
  EXPECT_NEAR(head.tilt().position, 2.0, 1e-9);
}

TEST(HeadModelTest, TimesThatStandStillOrGoBackAreTakenForTheLastOne) {
  HeadModel head(linear());
  head.read(1'000'000, 0.0, 0.0);
  head.commanded(1'000'000, {20, 0});
  for (int i = 0; i < 50; ++i) {
    head.read(500'000, 0.0, 0.0);
  }
  EXPECT_NEAR(head.pan().position, 0.0, 1e-9);
  head.read(1'200'000, 0.0, 0.0);
  EXPECT_NEAR(head.pan().velocity, 20.0, 1e-9);
}

TEST(HeadModelTest, CommandOlderThanTheModelActsAtOnceAndEnds) {
  HeadModel head(linear(0.1, 1e5));
  head.read(10'000'000, 0.0, 0.0);
  head.commanded(1'000'000, {20, 0});
  EXPECT_EQ(head.pan().velocity, 0.0) << "its second is over";
  head.read(10'050'000, 0.0, 0.0);
  EXPECT_NEAR(head.pan().position, 0.0, 1e-9);
  head.read(INT64_MAX, 0.0, 0.0);
  EXPECT_TRUE(std::isfinite(head.pan().position));
}

TEST(HeadModelTest, MoreCommandsThanThereIsRoomForStayInOrder) {
  HeadModel head(linear(2.0, 1e5));
  head.read(0, 0.0, 0.0);
  for (std::int64_t i = 0; i < 500; ++i) {
    head.commanded(i * 1000, {static_cast<int>(i % 100), 0});
  }
  EXPECT_TRUE(std::isfinite(head.pan().position));
  EXPECT_EQ(head.pan().velocity, 0.0) << "longer than a second before the end of what is foreseen";
}

TEST(HeadModelTest, ParametersOfNoHeadAreNotTrusted) {
  HeadParameters broken = linear();
  broken.tilt.deadTime = std::nan("");
  HeadModel head(broken);
  head.read(0, 1.0, 2.0);
  head.commanded(0, {50, 50});
  head.read(TICK, 1.0, 2.0);
  EXPECT_FALSE(head.isTrusted());
  EXPECT_TRUE(std::isfinite(head.tilt().position));
}

}  // namespace
}  // namespace following
