#include "score/scorer.h"

#include <gtest/gtest.h>

#include <cmath>

#include "device/score/people.h"
#include "score/head_view.h"

namespace device {
namespace {

const ScoredPerson NEAR = personAt(1, 0, 10);
const ScoredPerson BESIDE = personAt(2, 3, 10);
// From NEAR's middle to BESIDE's as seen from the head.
const double APART = angleBetween(directionOf({0, 10, -4.15}), directionOf({3, 10, -4.15}));

// Ten metres away 9.6 px for each degree and metre or so: 153.6 px/m at 60 degrees, 25 at 130.
const double RECOGNISING = 60;
const double DETECTING = 120;
const double IDENTIFYING = 20;

HeadPose beside(const HeadPose& pose, double pan, double tilt = 0) {
  return {pose.pan + pan, pose.tilt + tilt, pose.field};
}

TEST(ScorerTest, NothingWasThere) {
  const ScoreFigures figures = Scorer(SETUP).figures();
  EXPECT_EQ(figures.seconds, 0);
  EXPECT_FALSE(figures.density[0].share);
  EXPECT_FALSE(figures.density[0].personShare);
  EXPECT_FALSE(figures.share20);
  EXPECT_FALSE(figures.inPicture);
  EXPECT_FALSE(figures.error);
  EXPECT_EQ(figures.acquisition.count, 0);
  EXPECT_FALSE(figures.acquisition.median);
  EXPECT_TRUE(figures.people.empty());
}

TEST(ScorerTest, WhoDoesNotCountIsNobody) {
  std::vector<ScoreSample> samples;
  append(samples, 3, lookingAt(NEAR, RECOGNISING), {personAt(1, 0, 10, false)});
  const ScoreFigures figures = scoreOf(samples, SETUP);
  EXPECT_NEAR(figures.seconds, 2.95, 1e-9);
  EXPECT_EQ(figures.secondsWithSomebody, 0);
  EXPECT_FALSE(figures.density[0].share);
  EXPECT_FALSE(figures.error);
}

TEST(ScorerTest, DensitiesAreSharesOfTheTimeWithSomebodyToFollow) {
  std::vector<ScoreSample> samples;
  append(samples, 1 + PERIOD, lookingAt(NEAR, DETECTING), {NEAR});
  append(samples, 2, lookingAt(NEAR, RECOGNISING), {NEAR});
  append(samples, 1, lookingAt(NEAR, IDENTIFYING), {NEAR});
  append(samples, 4, {180, 0, 60}, {NEAR});
  append(samples, 8, lookingAt(NEAR, RECOGNISING), {});
  const ScoreFigures figures = scoreOf(samples, SETUP);
  EXPECT_NEAR(figures.seconds, 16, 1e-9);
  EXPECT_NEAR(figures.secondsWithSomebody, 8, 1e-9);
  EXPECT_NEAR(*figures.density[0].share, 0.5, 1e-9);
  EXPECT_NEAR(*figures.density[1].share, 3.0 / 8, 1e-9);
  EXPECT_NEAR(*figures.density[2].share, 1.0 / 8, 1e-9);
  EXPECT_NEAR(figures.density[1].seconds, 3, 1e-9);
  EXPECT_NEAR(*figures.inPicture, 0.5, 1e-9);
}

TEST(ScorerTest, OneOfSeveralIsEnoughForTheTimeButNotForPersonTime) {
  const ScoredPerson behind = personAt(3, 0, -10);
  std::vector<ScoreSample> samples;
  append(samples, 4 + PERIOD, lookingAt(NEAR, RECOGNISING), {NEAR, behind});
  const ScoreFigures figures = scoreOf(samples, SETUP);
  EXPECT_NEAR(*figures.density[1].share, 1, 1e-9);
  EXPECT_NEAR(figures.personSeconds, 8, 1e-9);
  EXPECT_NEAR(figures.density[1].personSeconds, 4, 1e-9);
  EXPECT_NEAR(*figures.density[1].personShare, 0.5, 1e-9);
  ASSERT_EQ(figures.people.size(), 2U);
  EXPECT_NEAR(figures.people[0].density[1], 1, 1e-9);
  EXPECT_NEAR(figures.people[1].density[1], 0, 1e-9);
  EXPECT_NEAR(figures.people[1].seconds, 4, 1e-9);
}

TEST(ScorerTest, CoveredHeightIsThatOfTheLargest) {
  // At 60 degrees 22.4 per cent of the height, at 30 degrees 48 per cent.
  std::vector<ScoreSample> samples;
  append(samples, 3 + PERIOD, lookingAt(NEAR, 60), {NEAR});
  append(samples, 1, lookingAt(NEAR, 30), {NEAR});
  append(samples, 1, lookingAt(NEAR, 90), {NEAR});
  const ScoreFigures figures = scoreOf(samples, SETUP);
  EXPECT_NEAR(*figures.share20, 0.8, 1e-9);
  EXPECT_NEAR(*figures.share40, 0.2, 1e-9);
  EXPECT_NEAR(figures.people[0].share20, 0.8, 1e-9);
  EXPECT_NEAR(figures.people[0].share40, 0.2, 1e-9);
}

TEST(ScorerTest, AcquisitionIsFromEnteringToBeingRecognised) {
  std::vector<ScoreSample> samples;
  append(samples, 1, lookingAt(NEAR, DETECTING), {});
  append(samples, 1.5, lookingAt(NEAR, DETECTING), {NEAR});
  append(samples, 2, lookingAt(NEAR, RECOGNISING), {NEAR});
  const ScoreFigures figures = scoreOf(samples, SETUP);
  EXPECT_EQ(figures.acquisition.count, 1);
  EXPECT_EQ(figures.acquisition.never, 0);
  EXPECT_NEAR(*figures.acquisition.median, 1.5, 1e-9);
  EXPECT_NEAR(*figures.people[0].acquisition, 1.5, 1e-9);
  EXPECT_TRUE(figures.people[0].everRecognised);
}

TEST(ScorerTest, OneWhoIsNeverRecognisedCountsWithTheWholeStay) {
  std::vector<ScoreSample> samples;
  append(samples, 1, lookingAt(NEAR, DETECTING), {});
  append(samples, 6, lookingAt(NEAR, DETECTING), {NEAR});
  append(samples, 2, lookingAt(NEAR, RECOGNISING), {});
  const ScoreFigures figures = scoreOf(samples, SETUP);
  EXPECT_EQ(figures.acquisition.never, 1);
  EXPECT_NEAR(*figures.acquisition.median, 6, 1e-9);
  EXPECT_FALSE(figures.people[0].everRecognised);
}

TEST(ScorerTest, WhoEntersWhileAnotherIsThereIsNoAcquisition) {
  std::vector<ScoreSample> samples;
  append(samples, 1, lookingAt(NEAR, RECOGNISING), {});
  append(samples, 1, lookingAt(NEAR, RECOGNISING), {NEAR});
  append(samples, 1, lookingAt(NEAR, RECOGNISING), {NEAR, BESIDE});
  append(samples, 1, lookingAt(NEAR, RECOGNISING), {});
  append(samples, 1, lookingAt(NEAR, RECOGNISING), {NEAR, BESIDE});
  const ScoreFigures figures = scoreOf(samples, SETUP);
  EXPECT_EQ(figures.acquisition.count, 1);
  EXPECT_NEAR(*figures.acquisition.median, 0, 1e-9);
}

// It has entered at some time before.
TEST(ScorerTest, WhoIsThereFromTheFirstSampleOnIsNoAcquisition) {
  std::vector<ScoreSample> samples;
  append(samples, 4, lookingAt(NEAR, DETECTING), {NEAR});
  append(samples, 1, lookingAt(NEAR, RECOGNISING), {});
  append(samples, 2, lookingAt(NEAR, DETECTING), {NEAR});
  append(samples, 1, lookingAt(NEAR, RECOGNISING), {NEAR});
  const ScoreFigures figures = scoreOf(samples, SETUP);
  EXPECT_EQ(figures.acquisition.count, 1);
  EXPECT_EQ(figures.acquisition.never, 0);
  EXPECT_NEAR(*figures.acquisition.median, 2, 1e-9);
}

TEST(ScorerTest, EveryStayAloneIsAnAcquisition) {
  std::vector<ScoreSample> samples;
  append(samples, 1, lookingAt(NEAR, DETECTING), {});
  for (const double wait : {1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0, 10.0}) {
    append(samples, wait, lookingAt(NEAR, DETECTING), {NEAR});
    append(samples, 1, lookingAt(NEAR, RECOGNISING), {NEAR});
    append(samples, 1, lookingAt(NEAR, RECOGNISING), {});
  }
  const ScoreFigures figures = scoreOf(samples, SETUP);
  EXPECT_EQ(figures.acquisition.count, 10);
  EXPECT_NEAR(*figures.acquisition.median, 5, 1e-9);
  EXPECT_NEAR(*figures.acquisition.p90, 9, 1e-9);
}

TEST(ScorerTest, ErrorIsThatToTheFollowedOneNotToTheNearest) {
  std::vector<ScoreSample> samples;
  append(samples, 1 + PERIOD, lookingAt(NEAR, RECOGNISING), {NEAR, BESIDE});
  // For less than 2 s the head looks at the other one.
  append(samples, 1, lookingAt(BESIDE, RECOGNISING), {NEAR, BESIDE});
  const ScoreFigures figures = scoreOf(samples, SETUP);
  EXPECT_NEAR(figures.error->median, 0, 1e-6);
  EXPECT_NEAR(figures.error->p95, APART, 1e-6);
  EXPECT_NEAR(figures.error->rms, APART / std::sqrt(2), 1e-6);
  EXPECT_NEAR(figures.errorInWidth->p95, APART / RECOGNISING, 1e-9);
  EXPECT_EQ(figures.followedChanges, 0);
}

TEST(ScorerTest, HeadThatHasSettledOnAnotherFollowsThatOne) {
  std::vector<ScoreSample> samples;
  append(samples, 1, lookingAt(NEAR, RECOGNISING), {NEAR, BESIDE});
  append(samples, 2, lookingAt(BESIDE, RECOGNISING), {NEAR, BESIDE});
  Scorer scorer(SETUP);
  for (const ScoreSample& sample : samples) {
    scorer.add(sample);
  }
  EXPECT_EQ(scorer.followed(), 1);
  scorer.add({samples.back().time + PERIOD, lookingAt(BESIDE, RECOGNISING), {NEAR, BESIDE}});
  EXPECT_EQ(scorer.followed(), 2);
  EXPECT_EQ(scorer.figures().followedChanges, 1);
}

TEST(ScorerTest, HeadThatLooksBetweenTwoHasSettledOnNeither) {
  // A field of 20 degrees settles within 2 degrees; BESIDE is 15 degrees away.
  const HeadPose between = beside(lookingAt(NEAR, 40), 10);
  std::vector<ScoreSample> samples;
  append(samples, 1, lookingAt(NEAR, 40), {NEAR, BESIDE});
  append(samples, 5, between, {NEAR, BESIDE});
  ASSERT_LT(HeadView(between, SETUP).viewOf(BESIDE).error,
            HeadView(between, SETUP).viewOf(NEAR).error);
  const ScoreFigures figures = scoreOf(samples, SETUP);
  EXPECT_EQ(figures.followedChanges, 0);
  EXPECT_EQ(figures.people[1].followedSeconds, 0);
  EXPECT_FALSE(figures.people[1].error);
}

TEST(ScorerTest, WhoIsOutOfThePictureForLongIsNotFollowedAnyLonger) {
  const ScoredPerson behind = personAt(3, 0, -10);
  std::vector<ScoreSample> samples;
  append(samples, 1, lookingAt(NEAR, RECOGNISING), {NEAR, behind});
  const HeadPose away = beside(lookingAt(NEAR, RECOGNISING), 120);
  append(samples, 1.95, away, {NEAR, behind});
  Scorer scorer(SETUP);
  for (const ScoreSample& sample : samples) {
    scorer.add(sample);
  }
  EXPECT_EQ(scorer.followed(), 1);
  scorer.add({samples.back().time + PERIOD, away, {NEAR, behind}});
  EXPECT_EQ(scorer.followed(), 3) << "nearer to where the head now looks";
  EXPECT_EQ(scorer.figures().followedChanges, 1);
}

TEST(ScorerTest, OneAloneOutOfThePictureStaysTheFollowedOne) {
  std::vector<ScoreSample> samples;
  append(samples, 10 + PERIOD, beside(lookingAt(NEAR, RECOGNISING), 0, 50), {NEAR});
  const ScoreFigures figures = scoreOf(samples, SETUP);
  EXPECT_NEAR(figures.error->rms, 50, 1e-6) << "nothing is left out";
  EXPECT_NEAR(figures.people[0].followedSeconds, 10, 1e-9);
  EXPECT_EQ(figures.followedChanges, 0);
}

TEST(ScorerTest, AnotherOneAfterSomebodyLeftIsNoChange) {
  std::vector<ScoreSample> samples;
  append(samples, 1, lookingAt(NEAR, RECOGNISING), {NEAR, BESIDE});
  append(samples, 1, lookingAt(NEAR, RECOGNISING), {BESIDE});
  const ScoreFigures figures = scoreOf(samples, SETUP);
  EXPECT_EQ(figures.followedChanges, 0);
  EXPECT_NEAR(figures.people[1].followedSeconds, 1, 1e-9);
}

TEST(ScorerTest, LateErrorIsWithoutTheFirstTwoSecondsOfAStay) {
  std::vector<ScoreSample> samples;
  append(samples, 1, lookingAt(NEAR, RECOGNISING), {});
  append(samples, 2, beside(lookingAt(NEAR, RECOGNISING), 0, 20), {NEAR});
  append(samples, 2, beside(lookingAt(NEAR, RECOGNISING), 0, 1), {NEAR});
  const ScoreFigures figures = scoreOf(samples, SETUP);
  EXPECT_NEAR(figures.people[0].error->rms, std::sqrt((400 + 1) / 2.0), 1e-6);
  EXPECT_NEAR(figures.people[0].lateError->rms, 1, 1e-6);
}

TEST(ScorerTest, MotionIsToldFromTheTruth) {
  // Pan at 2 degrees a second for a second, then rest, back at the same speed, and rest.
  std::vector<ScoreSample> samples;
  double pan = 0;
  const auto turn = [&](double seconds, double rate) {
    for (int i = 0; i < static_cast<int>(seconds / PERIOD + 0.5); ++i) {
      pan += rate * PERIOD;
      append(samples, PERIOD, {pan, 0, 60}, {});
    }
  };
  append(samples, PERIOD, {0, 0, 60}, {});
  turn(1, 0);
  turn(1, 2);
  turn(1, 0);
  turn(1, -2);
  turn(1, 0);
  const MotionFigures motion = scoreOf(samples, SETUP).motion;
  EXPECT_NEAR(motion.startsPerSecond, 2 / 5.0, 1e-9);
  EXPECT_NEAR(motion.reversalsPerSecond, 1 / 5.0, 1e-9);
  // Four changes of 2 degrees a second within a period of 0.05 s.
  EXPECT_NEAR(motion.accelerationRms, std::sqrt(4 * std::pow(2 / PERIOD, 2) * PERIOD / 5), 1e-6);
  EXPECT_EQ(motion.zoomReversalsPerSecond, 0);
}

TEST(ScorerTest, TremblingBelowHalfADegreeASecondIsRest) {
  std::vector<ScoreSample> samples;
  for (int i = 0; i < 100; ++i) {
    append(samples, PERIOD, {i % 2 == 0 ? 0 : 0.02, 0, 60}, {});
  }
  const MotionFigures motion = scoreOf(samples, SETUP).motion;
  EXPECT_EQ(motion.startsPerSecond, 0);
  EXPECT_EQ(motion.reversalsPerSecond, 0);
}

TEST(ScorerTest, WayOverTheSeamIsShort) {
  std::vector<ScoreSample> samples;
  for (int i = 0; i <= 100; ++i) {
    append(samples, PERIOD, {normalizedPan(178 + i * 0.1), 0, 60}, {});
  }
  const MotionFigures motion = scoreOf(samples, SETUP).motion;
  EXPECT_EQ(motion.reversalsPerSecond, 0);
  EXPECT_NEAR(motion.accelerationRms, 0, 1e-6);
}

TEST(ScorerTest, ZoomThatTurnsBackIsCounted) {
  std::vector<ScoreSample> samples;
  double field = 60;
  for (const double factor : {0.99, 1.01, 0.99}) {
    for (int i = 0; i < 20; ++i) {
      field *= factor;
      append(samples, PERIOD, {0, 0, field}, {});
    }
  }
  append(samples, PERIOD, {0, 0, field}, {});
  EXPECT_NEAR(scoreOf(samples, SETUP).motion.zoomReversalsPerSecond, 2 / 3.0, 1e-9);
}

TEST(ScorerTest, MotionOfAPersonIsThatWhileItWasFollowed) {
  std::vector<ScoreSample> samples;
  append(samples, 1, lookingAt(NEAR, RECOGNISING), {NEAR});
  for (int i = 0; i < 40; ++i) {  // trembles while nobody is there
    append(samples, PERIOD, {i % 2 == 0 ? 0.0 : 1.0, 0, 60}, {});
  }
  const ScoreFigures figures = scoreOf(samples, SETUP);
  EXPECT_GT(figures.motion.reversalsPerSecond, 5);
  EXPECT_EQ(figures.people[0].motion->reversalsPerSecond, 0);
}

TEST(QuantileTest, IsTheLeastValueThatTheShareDoesNotExceed) {
  EXPECT_EQ(quantileOf({3}, 0.5), 3);
  EXPECT_EQ(quantileOf({4, 1, 3, 2}, 0.5), 2);
  EXPECT_EQ(quantileOf({5, 4, 1, 3, 2}, 0.5), 3);
  EXPECT_EQ(quantileOf({10, 9, 8, 7, 6, 5, 4, 3, 2, 1}, 0.9), 9);
  EXPECT_EQ(quantileOf({10, 9, 8, 7, 6, 5, 4, 3, 2, 1}, 0.1), 1);
}

}  // namespace
}  // namespace device
