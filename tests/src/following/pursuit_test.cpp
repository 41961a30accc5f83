#include "following/pursuit.h"

#include <gtest/gtest.h>

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

// Gets as fast as it likes within a step.
HeadParameters quick() {
  HeadParameters parameters = linear();
  parameters.pan.acceleration = 1e4;
  parameters.tilt.acceleration = 1e4;
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

Pursuit started(const HeadParameters& parameters = linear()) {
  Pursuit pursuit(parameters);
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
  Pursuit pursuit = started(quick());
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

// ---- Getting faster ----

// 400 deg/s2 make 20 deg/s in a step, of which it is told 10 while a viewer sees it: on 60 degrees,
// with the subject within 15.
HeadParameters agile() {
  HeadParameters parameters = linear();
  parameters.pan.acceleration = 400.0;
  parameters.tilt.acceleration = 400.0;
  return parameters;
}

// At 0.4 s it has got the commands of its beginning for 0.2 s; when what is commanded then acts it
// will have had them for 0.4 s, and goes at their speed.
HeadModel movingAt(SpeedCommand command, const HeadParameters& parameters = agile()) {
  HeadModel head(parameters);
  head.read(0, 0.0, 0.0);
  head.commanded(0, command);
  for (std::int64_t now = 50'000; now <= 400'000; now += 50'000) {
    head.read(now, 0.0, 0.0);
  }
  return head;
}

// So far off in the middle of the command's life.
Subject offBy(double pan, double tilt, const HeadModel& head) {
  const AxisMotion panAhead = head.pan();
  const AxisMotion tiltAhead = head.tilt();
  return at(panAhead.position + 0.025 * panAhead.velocity + pan,
            tiltAhead.position + 0.025 * tiltAhead.velocity + tilt);
}

TEST(PursuitTest, GetsFasterByHalfOfItsAccelerationWhereItIsSeen) {
  Pursuit pursuit = started(agile());
  const HeadModel standing = standingAt(0.0, 0.0);
  EXPECT_EQ(pursuit.step(standing, at(14.0, -14.0), WIDE), (SpeedCommand{10, -10}));
  const HeadModel moving = movingAt({20, -30});
  EXPECT_EQ(pursuit.step(moving, offBy(14.0, -14.0, moving), WIDE), (SpeedCommand{30, -40}));
  const HeadModel back = movingAt({-20, 0});
  EXPECT_EQ(pursuit.step(back, offBy(-14.0, 0.0, back), WIDE)->pan, -30);
}

// 16 degrees ask for 101 deg/s, which can be braked from.
TEST(PursuitTest, HurriesToWhatIsFurtherAway) {
  Pursuit pursuit = started(agile());
  EXPECT_EQ(pursuit.step(standingAt(0.0, 0.0), at(16.0, -16.0), WIDE), (SpeedCommand{100, -100}));
  EXPECT_EQ(pursuit.step(standingAt(0.0, 0.0), at(14.0, 0.0), 50.0)->pan, 95)
      << "12.5 are a quarter";
}

// 60 degrees down 20 degrees of pan are 10 in the picture.
TEST(PursuitTest, WhatOfPanIsSeenCountsByTheCosineOfTilt) {
  Pursuit pursuit = started(agile());
  EXPECT_EQ(pursuit.step(standingAt(0.0, -60.0), at(20.0, -60.0), WIDE)->pan, 10);
}

// What counts is how fast it is when the command acts, whatever was commanded last.
TEST(PursuitTest, GetsFasterFromWhatItDoesNotFromWhatItWasTold) {
  Pursuit pursuit = started(agile());
  pursuit.commanded({60, 0});
  const HeadModel head = movingAt({20, 0});
  EXPECT_EQ(pursuit.step(head, offBy(14.0, 0.0, head), WIDE)->pan, 30);
}

// 3 deg/s in a step, of which it is told half, would be no level at all.
TEST(PursuitTest, CoarseHeadGetsFasterByALevel) {
  const SpeedLevel levels[] = {{10, 10.0}, {100, 100.0}};
  HeadParameters coarse = linear();
  coarse.pan.curve = SpeedCurve(levels, 10);
  coarse.pan.acceleration = 60.0;
  Pursuit pursuit = started(coarse);
  EXPECT_EQ(pursuit.step(standingAt(0.0, 0.0), at(10.0, 0.0), WIDE)->pan, 10);
  pursuit.commanded({10, 0});
  const HeadModel head = movingAt({10, 0}, coarse);
  EXPECT_EQ(pursuit.step(head, offBy(10.0, 0.0, head), WIDE)->pan, 20);
}

TEST(PursuitTest, GetsSlowerAsFastAsItIsToBe) {
  Pursuit pursuit = started(agile());
  const HeadModel head = movingAt({60, -60});
  Subject subject = offBy(0.0, 0.0, head);
  subject.panRate = 5.0;
  subject.tiltRate = -5.0;
  EXPECT_EQ(pursuit.step(head, subject, WIDE), (SpeedCommand{5, -5}));
}

// Through standing still, and on by as much as it gets faster from there.
TEST(PursuitTest, TurnsRoundAtOnce) {
  Pursuit pursuit = started(agile());
  const HeadModel head = movingAt({60, -60});
  EXPECT_EQ(pursuit.step(head, offBy(-14.0, 14.0, head), WIDE), (SpeedCommand{-10, 10}));
}

// ---- Where to ----

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

// A head that does 8 deg/s at the least does 0.4 degrees in a step: it begins to rest within 0.24
// degrees and goes on within 0.6, however narrow the view. What it would command otherwise is 8.
TEST(PursuitTest, RestsAsWidelyAsItsLeastSpeedMakesInAStep) {
  const SpeedLevel levels[] = {{8, 8.0}, {100, 100.0}};
  HeadParameters coarse = linear();
  coarse.pan.curve = SpeedCurve(levels, 1);
  Pursuit pursuit(coarse);
  pursuit.start();
  pursuit.commanded({8, 0});
  const HeadModel head = standingAt(0.0, 0.0);
  EXPECT_EQ(pursuit.step(head, at(0.26, 0.0, 3.9), 5.0)->pan, 8);
  EXPECT_EQ(pursuit.step(head, at(0.22, 0.0, 3.9), 5.0)->pan, 0);
  EXPECT_EQ(pursuit.step(head, at(0.58, 0.0, 3.9), 5.0)->pan, 0);
  EXPECT_EQ(pursuit.step(head, at(0.62, 0.0, 3.9), 5.0)->pan, 8);
}

// On 60 degrees what moves by less than 1.8 degrees a second is rested upon; 60 degrees down pan
// does so at 3.6.
TEST(PursuitTest, MotionOfPanCountsByTheCosineOfTilt) {
  Pursuit pursuit = started();
  EXPECT_EQ(pursuit.step(standingAt(0.0, -60.0), at(0.0, -60.0, 3.4), WIDE)->pan, 0);
  EXPECT_EQ(pursuit.step(standingAt(0.0, -60.0), at(0.0, -60.0, 3.8), WIDE)->pan, 4);
}

// Goes at 20 deg/s from 0.2 s on, after 1/15 s of ramp (2/3 deg). At 0.1 s, what is 0.2 s ahead is
// at 0.3 s: 2/3 deg and 1/30 s at 20 deg/s. Half a step later it is half a degree further.
HeadModel movingModel() {
  HeadModel head(linear());
  head.read(0, 0.0, 0.0);
  head.commanded(0, {20, 0});
  head.read(50'000, 0.0, 0.0);
  head.read(100'000, 0.0, 0.0);
  return head;
}

TEST(PursuitTest, ErrorIsThatInTheMiddleOfTheCommandsLife) {
  Pursuit pursuit = started();
  const HeadModel head = movingModel();
  EXPECT_EQ(pursuit.step(head, at(4.0 / 3.0 + 0.5, 0.0, 20.0), WIDE)->pan, 20);
  EXPECT_NEAR(pursuit.error(), 0.0, 1e-9);
  EXPECT_EQ(pursuit.step(head, at(4.0 / 3.0, 0.0, 20.0), WIDE)->pan, 18);
  EXPECT_NEAR(pursuit.error(), 0.5, 1e-9);
}

// Pan acts 0.1 s after it is commanded, tilt 0.3 s: 10 deg/s make 2 degrees of it.
TEST(PursuitTest, TiltIsAimedAtWhenItsOwnCommandActs) {
  HeadParameters parameters = quick();
  parameters.tilt.deadTime = 0.6;
  Pursuit pursuit(parameters);
  pursuit.start();
  EXPECT_EQ(pursuit.step(standingAt(0.0, -8.0), at(0.0, -10.0, 0.0, 10.0), WIDE)->tilt, 10);
  EXPECT_NEAR(pursuit.error(), 0.0, 1e-9);
  EXPECT_EQ(pursuit.step(standingAt(0.0, -9.0), at(0.0, -10.0, 0.0, 10.0), WIDE)->tilt, 13);
}

// ---- A head that is a quarter faster than was identified ----

// At 3 times the speed the model takes up all that it may.
HeadModel fasterModel() {
  HeadParameters parameters = linear();
  parameters.pan.acceleration = 1e5;
  HeadModel head(parameters);
  double position = 0.0;
  std::int64_t now = 0;
  for (; now < 5'000'000; now += 50'000) {
    position += now > 200'000 ? 3.0 : 0.0;
    head.read(now, std::remainder(position, 360.0), 0.0);
    head.commanded(now, {20, 0});
  }
  head.interrupted(now);
  head.read(now, 0.0, 0.0);
  return head;
}

TEST(PursuitTest, FasterHeadIsCommandedLess) {
  const HeadModel head = fasterModel();
  ASSERT_EQ(head.panRatio(), 1.25);
  Pursuit pursuit = started(quick());
  EXPECT_EQ(pursuit.step(head, at(0.0, 0.0, 25.0), WIDE)->pan, 20);
}

// More than its 125 deg/s is asked for.
TEST(PursuitTest, FasterHeadIsCommandedItsFullSpeed) {
  Pursuit pursuit = started();
  EXPECT_EQ(pursuit.step(fasterModel(), at(100.0, 0.0), WIDE)->pan, 100);
  EXPECT_EQ(pursuit.step(fasterModel(), at(-100.0, 0.0), WIDE)->pan, -100);
}

// 20 percent are 25 deg/s: half a step makes 0.625 degrees.
TEST(PursuitTest, FasterHeadIsFurtherInTheMiddleOfTheCommandsLife) {
  HeadModel head = fasterModel();
  head.commanded(5'000'000, {20, 0});
  for (std::int64_t now = 5'050'000; now <= 5'100'000; now += 50'000) {
    head.read(now, 0.0, 0.0);
  }
  ASSERT_NEAR(head.pan().velocity, 20.0, 1e-9);
  ASSERT_EQ(head.panRatio(), 1.25);
  Pursuit pursuit = started();
  EXPECT_EQ(pursuit.step(head, at(head.pan().position + 0.625, 0.0, 25.0), WIDE)->pan, 20);
  EXPECT_NEAR(pursuit.error(), 0.0, 1e-9);
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
  HeadParameters coarse = quick();
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

// Steadily at so many degrees per second.
int commandFor(double speed) {
  Subject subject = at(0.0, 0.0, speed);
  subject.hasCourse = true;
  for (std::size_t i = 0; i < Subject::COURSE_POINTS; ++i) {
    subject.course[i] = {0.1 * speed * static_cast<double>(i), 0.0};
  }
  Pursuit pursuit = started(quick());
  return pursuit.step(standingAt(0.0, 0.0), subject, WIDE)->pan;
}

// Within the last 3 percent of its speed a head could make no error good: it gets ahead.
TEST(LeadingGoalTest, HeadLeadsWhatTakesAllOfItsSpeed) {
  EXPECT_EQ(commandFor(96.0), 96);
  EXPECT_EQ(commandFor(99.0), 100);
  EXPECT_EQ(commandFor(-99.0), -100);
}

// It stands for a moment and then goes at so many degrees per second.
int commandBefore(double speed, const HeadModel& head = standingAt(0.0, 0.0)) {
  Subject subject = at(0.0, 0.0);
  subject.hasCourse = true;
  for (std::size_t i = 0; i < Subject::COURSE_POINTS; ++i) {
    subject.course[i] = {speed * std::max(0.0, 0.1 * static_cast<double>(i) - 0.3), 0.0};
  }
  Pursuit pursuit = started();
  return pursuit.step(head, subject, WIDE)->pan;
}

TEST(LeadingGoalTest, FasterHeadNeedNotLead) {
  EXPECT_GT(commandBefore(120.0), 0);
  EXPECT_EQ(commandBefore(120.0, fasterModel()), 0);
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
