#include "following/pursuit.h"

#include <cmath>

namespace following {
namespace {

constexpr double WIDE = 60.0;

HeadParameters linear() {
  HeadParameters parameters;
  parameters.pan.deadTime = 0.2;
  parameters.pan.acceleration = 300.0;
  parameters.tilt = parameters.pan;
  parameters.tilt.lowest = -90.0;
  parameters.tilt.highest = 20.0;
  return parameters;
}

HeadModel standingAt(double pan, double tilt) {
  HeadModel head(linear());
  head.read(0, pan, tilt);
  return head;
}

Subject at(double pan, double tilt, double panRate = 0.0, double tiltRate = 0.0) {
  Subject subject;
  subject.pan = pan;
  subject.tilt = tilt;
  subject.panRate = panRate;
  subject.tiltRate = tiltRate;
  subject.height = 10.0;
  subject.width = 3.0;
  return subject;
}

Pursuit started() {
  Pursuit pursuit(linear());
  pursuit.start();
  return pursuit;
}

TEST(CorrectingSpeedTest, IsThreePerSecondThenEightThenWhatCanBeBraked) {
  EXPECT_NEAR(correctingSpeed(0.5, 300), 1.5, 1e-9);
  EXPECT_NEAR(correctingSpeed(2.0, 300), 6.0, 1e-9);
  EXPECT_NEAR(correctingSpeed(4.0, 300), 22.0, 1e-9);
  EXPECT_NEAR(correctingSpeed(20.0, 300), 97.98, 5e-3);
  EXPECT_NEAR(correctingSpeed(-4.0, 300), -22.0, 1e-9);
  EXPECT_EQ(correctingSpeed(0.0, 300), 0.0);
}

TEST(PursuitTest, CommandActsInTheMiddleOfItsLife) {
  EXPECT_EQ(Pursuit(linear()).actsAt(0), 125'000) << "half the dead time is the status' age";
  HeadParameters told = linear();
  told.statusAge = 0.05;
  EXPECT_EQ(Pursuit(told).actsAt(1'000'000), 1'175'000);
  told.statusAge = 9.0;
  EXPECT_EQ(Pursuit(told).actsAt(0), 25'000) << "not before now";
  told.statusAge = std::nan("");
  EXPECT_EQ(Pursuit(told).actsAt(0), 125'000);
}

TEST(PursuitTest, RateIsFedForwardAndTheErrorCorrected) {
  Pursuit pursuit = started();
  const HeadModel head = standingAt(0.0, 0.0);
  EXPECT_EQ(pursuit.step(head, at(0.0, -0.0, 20.0, -7.0), WIDE), (SpeedCommand{20, -7}));
  EXPECT_EQ(pursuit.step(head, at(1.0, -2.0, 20.0, -7.0), WIDE), (SpeedCommand{23, -13}));
  EXPECT_NEAR(pursuit.error(), 2.0, 1e-9);
}

TEST(PursuitTest, SpeedIsBoundedByTheHeads) {
  Pursuit pursuit = started();
  const HeadModel head = standingAt(0.0, 0.0);
  EXPECT_EQ(pursuit.step(head, at(-100.0, -70.0, -90.0), WIDE), (SpeedCommand{-100, -100}));
}

TEST(PursuitTest, GoesTheShortWayAcrossTheSeam) {
  Pursuit pursuit = started();
  EXPECT_GT(pursuit.step(standingAt(175.0, 0.0), at(-175.0, 0.0), WIDE)->pan, 0);
  EXPECT_LT(pursuit.step(standingAt(-175.0, 0.0), at(175.0, 0.0), WIDE)->pan, 0);
}

TEST(PursuitTest, AxisWithEndsDoesNotGoThroughThem) {
  HeadParameters parameters = linear();
  parameters.pan.lowest = -170.0;
  parameters.pan.highest = 170.0;
  Pursuit pursuit(parameters);
  pursuit.start();
  EXPECT_LT(pursuit.step(standingAt(165.0, 0.0), at(-165.0, 0.0), WIDE)->pan, 0);
  // Beyond its end it stands there.
  EXPECT_EQ(pursuit.step(standingAt(0.0, 20.0), at(0.0, 40.0, 0.0, 30.0), WIDE)->tilt, 0);
}

// On 60 degrees: begins to rest within 0.6 degrees, goes on within 1.2.
TEST(PursuitTest, RestsNearTheGoalAndGoesOnRestingALittleFurther) {
  Pursuit pursuit = started();
  EXPECT_NE(pursuit.step(standingAt(0.0, 0.0), at(0.9, 0.0), WIDE)->pan, 0);
  EXPECT_EQ(pursuit.step(standingAt(0.0, 0.0), at(0.59, 0.0), WIDE)->pan, 0);
  EXPECT_EQ(pursuit.step(standingAt(0.0, 0.0), at(1.19, 0.0), WIDE)->pan, 0);
  EXPECT_NE(pursuit.step(standingAt(0.0, 0.0), at(1.21, 0.0), WIDE)->pan, 0);
  EXPECT_NE(pursuit.step(standingAt(0.0, 0.0), at(0.9, 0.0), WIDE)->pan, 0);
}

// On 5 degrees: 0.1 and 0.2 degrees count.
TEST(PursuitTest, RestsMoreNarrowlyInANarrowView) {
  Pursuit pursuit = started();
  EXPECT_NE(pursuit.step(standingAt(0.0, 0.0), at(0.0, -0.3), 5.0)->tilt, 0);
  EXPECT_EQ(pursuit.step(standingAt(0.0, 0.0), at(0.0, -0.09), 5.0)->tilt, 0);
  EXPECT_EQ(pursuit.step(standingAt(0.0, 0.0), at(0.0, -0.19), 5.0)->tilt, 0);
}

TEST(PursuitTest, DoesNotRestWhileTheGoalMovesVisibly) {
  Pursuit pursuit = started();
  EXPECT_EQ(pursuit.step(standingAt(0.0, 0.0), at(0.0, 0.0, 1.7), WIDE)->pan, 0);
  EXPECT_NE(pursuit.step(standingAt(0.0, 0.0), at(0.0, 0.0, 1.9), WIDE)->pan, 0);
}

// A head that does 2 deg/s at the least stands rather than to step after what does less than half.
TEST(PursuitTest, RestsWhileTheGoalIsSlowerThanHalfOfItsLeastSpeed) {
  const SpeedLevel levels[] = {{2, 2.0}, {100, 100.0}};
  HeadParameters coarse = linear();
  coarse.pan.curve = SpeedCurve(levels, 1);
  Pursuit pursuit(coarse);
  pursuit.start();
  pursuit.commanded({2, 0});
  EXPECT_EQ(pursuit.step(standingAt(0.0, 0.0), at(0.05, 0.0, 0.9), 5.0)->pan, 0);
  EXPECT_NE(pursuit.step(standingAt(0.0, 0.0), at(0.05, 0.0, 1.1), 5.0)->pan, 0);
}

// 60 degrees down an error of pan counts half.
TEST(PursuitTest, PanCountsByTheCosineOfTilt) {
  Pursuit pursuit = started();
  EXPECT_EQ(pursuit.step(standingAt(0.0, -60.0), at(1.1, -60.0), WIDE)->pan, 0);
  EXPECT_NEAR(pursuit.error(), 0.55, 1e-9);
}

TEST(PursuitTest, WithoutStartNoStepGivesACommand) {
  Pursuit pursuit(linear());
  EXPECT_FALSE(pursuit.step(standingAt(0.0, 0.0), at(30.0, 0.0), WIDE));
  pursuit.start();
  EXPECT_TRUE(pursuit.step(standingAt(0.0, 0.0), at(30.0, 0.0), WIDE));
  pursuit.stop();
  EXPECT_FALSE(pursuit.step(standingAt(0.0, 0.0), at(30.0, 0.0), WIDE));
  EXPECT_EQ(pursuit.error(), 0.0);
}

TEST(PursuitTest, NothingToFollowIsStanding) {
  Pursuit pursuit = started();
  EXPECT_EQ(pursuit.step(standingAt(0.0, 0.0), std::nullopt, WIDE), SpeedCommand{});
  EXPECT_EQ(pursuit.step(HeadModel(linear()), at(30.0, 0.0), WIDE), SpeedCommand{})
      << "a head of which no status came";
  EXPECT_EQ(pursuit.step(standingAt(0.0, 0.0), at(30.0, 0.0), 0.0), SpeedCommand{});
  EXPECT_EQ(pursuit.step(standingAt(0.0, 0.0), at(std::nan(""), 0.0), WIDE), SpeedCommand{});
}

TEST(PursuitTest, CommandThatFailedIsNotKept) {
  const SpeedLevel levels[] = {{10, 10.0}, {100, 100.0}};
  HeadParameters coarse = linear();
  coarse.pan.curve = coarse.tilt.curve = SpeedCurve(levels, 10);
  Pursuit pursuit(coarse);
  pursuit.start();
  HeadModel head(coarse);
  head.read(0, 0.0, 0.0);
  EXPECT_EQ(pursuit.step(head, at(0.0, 0.0, 15.5), WIDE)->pan, 20);
  EXPECT_EQ(pursuit.step(head, at(0.0, 0.0, 14.5), WIDE)->pan, 10) << "20 was not taken";
  pursuit.commanded({20, 0});
  EXPECT_EQ(pursuit.step(head, at(0.0, 0.0, 14.5), WIDE)->pan, 20);
}

// ---- Leading ----

// Stands for a second, then does 60 degrees at 60 deg/s, then stands; a head of 30 deg/s. The
// tube's half width is 15 (30 deg/s through the middle of the rise). Of what lies in it 0 to 15
// still gets through at the beginning, 3 to 15 a step later.
TEST(LeadingGoalTest, SlowHeadLeavesBeforeItsSubject) {
  Subject subject = at(0.0, 0.0);
  subject.hasCourse = true;
  for (std::size_t i = 0; i < Subject::COURSE_POINTS; ++i) {
    const double t = 0.1 * static_cast<double>(i);
    subject.course[i] = {std::clamp(60.0 * (t - 0.5), 0.0, 60.0), 0.0};
  }
  const Goal goal = leadingGoal(subject, 30.0);
  EXPECT_NEAR(goal.position, 7.5, 1e-6);
  EXPECT_NEAR(goal.rate, 15.0, 1e-5);
}

// It stands for a moment and then goes at so many degrees per second.
int commandBefore(double speed) {
  Subject subject = at(0.0, 0.0);
  subject.hasCourse = true;
  for (std::size_t i = 0; i < Subject::COURSE_POINTS; ++i) {
    subject.course[i] = {speed * std::max(0.0, 0.1 * static_cast<double>(i) - 0.3), 0.0};
  }
  Pursuit pursuit = started();
  return pursuit.step(standingAt(0.0, 0.0), subject, WIDE)->pan;
}

TEST(LeadingGoalTest, HeadOnlyLeadsWhatIsFasterThanItself) {
  EXPECT_EQ(commandBefore(96.0), 0);
  EXPECT_EQ(commandBefore(-96.0), 0);
  EXPECT_GT(commandBefore(130.0), 0);
  EXPECT_LT(commandBefore(-130.0), 0);
}

TEST(LeadingGoalTest, WhatIsSlowEnoughIsNotChanged) {
  Subject subject = at(10.0, 0.0, 20.0);
  subject.hasCourse = true;
  for (std::size_t i = 0; i < Subject::COURSE_POINTS; ++i) {
    subject.course[i] = {10.0 + 2.0 * static_cast<double>(i), 0.0};
  }
  const Goal goal = leadingGoal(subject, 30.0);
  EXPECT_NEAR(goal.position, 10.0, 1e-6);
  EXPECT_NEAR(goal.rate, 20.0, 1e-4);
}

}  // namespace
}  // namespace following
