#include "tracker/head_survey.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "base/units.h"
#include "src/following/simulated_head.h"

namespace {

constexpr std::int64_t TICK = 50'000;
constexpr std::int64_t SECOND = units::MICROSECONDS_PER_SECOND;
constexpr double START_TILT = -45.0;

// What came of a survey, and how far the axes went in it.
struct Outcome {
  following::HeadIdentification found;
  double lowestTilt = 0.0;
  double highestTilt = -90.0;
  double farthestPan = 0.0;
  double seconds = 0.0;
};

struct Trial {
  bool hasRelay = true;
  HeadStops stops{.lowestTilt = -90.0, .highestTilt = 20.0};
  std::function<bool(int)> fails = [](int) { return false; };  // commands by number
};

Outcome survey(const simulation::HeadKind& kind, const Trial& trial = {}) {
  simulation::SimulatedHead head(kind, 3, 0.0, START_TILT);
  HeadSurvey survey;
  survey.setStops(trial.stops);
  survey.begin();
  Outcome outcome;
  std::int64_t now = 0;
  int number = 0;
  const auto give = [&](double pan, double tilt) {
    if (!trial.fails(number++)) {
      head.command(now, pan, tilt);
      survey.noteCommand(pan, tilt, now);
    }
    now += TICK;
    head.advanceTo(now);
    outcome.lowestTilt = std::min(outcome.lowestTilt, head.getTilt());
    outcome.highestTilt = std::max(outcome.highestTilt, head.getTilt());
    outcome.farthestPan = std::max(outcome.farthestPan, std::abs(head.getPan()));
  };
  const auto status = [&] { return PtzHeadStatus{head.statusPan(), head.statusTilt(), 1, false}; };
  double pan = 35.0;
  double tilt = 35.0;
  for (int i = 0; trial.hasRelay && i < 80; ++i) {
    survey.noteStatus(status(), now);
    pan = head.statusPan() > 0.5 ? -35.0 : head.statusPan() < -0.5 ? 35.0 : pan;
    const double off = head.statusTilt() - START_TILT;
    tilt = off > 0.5 ? -35.0 : off < -0.5 ? 35.0 : tilt;
    give(pan, tilt);
  }
  const std::int64_t begin = now;
  survey.beginStaircase(status(), now);
  while (const auto command = survey.command(now)) {
    survey.noteStatus(status(), now);
    give(command->pan, command->tilt);
  }
  outcome.seconds = units::toSeconds(now - begin);
  outcome.found = survey.identify();
  return outcome;
}

simulation::HeadKind usual() {
  simulation::HeadKind kind;
  kind.latency = 0.15;
  kind.statusPeriod = 0.05;
  return kind;
}

TEST(HeadSurveyTest, FindsDeadTimeAndSpeedsOfBothAxes) {
  const Outcome outcome = survey(usual());
  ASSERT_TRUE(outcome.found.pan.isBelieved());
  const double deadTime = simulation::SimulatedHead(usual(), 3, 0.0, 0.0).deadTime();
  EXPECT_NEAR(outcome.found.pan.model.deadTime, deadTime, 0.035);
  EXPECT_NEAR(outcome.found.tilt.model.deadTime, deadTime, 0.035);
  EXPECT_NEAR(outcome.found.pan.model.curve.speed(100), 100.0, 10.0);
  EXPECT_NEAR(outcome.found.tilt.model.curve.speed(20), 20.0, 2.0);
  EXPECT_NEAR(outcome.seconds, 10.1, 0.2);
}

TEST(HeadSurveyTest, NeedsNoRelayRunBefore) {
  const Outcome outcome = survey(usual(), {.hasRelay = false});
  ASSERT_TRUE(outcome.found.pan.isBelieved());
  EXPECT_NEAR(outcome.found.pan.model.curve.speed(60), 60.0, 6.0);
  EXPECT_NEAR(outcome.seconds, 14.1, 0.2);  // with a short relay of its own
}

TEST(HeadSurveyTest, KeepsFromTheStopsOfTiltWhetherThereWasARelayOrNot) {
  simulation::HeadKind fast = usual();
  fast.fullSpeed = 200.0;
  fast.acceleration = 600.0;
  for (const bool hasRelay : {true, false}) {
    const Outcome outcome = survey(fast, {.hasRelay = hasRelay});
    EXPECT_GT(outcome.lowestTilt, -90.0) << hasRelay;
    EXPECT_LT(outcome.highestTilt, 20.0) << hasRelay;
    EXPECT_TRUE(outcome.found.pan.isBelieved()) << hasRelay;
  }
}

TEST(HeadSurveyTest, KeepsFromTheStopsOfPanWhereThereAreSome) {
  Trial trial;
  trial.stops.lowestPan = -60.0;
  trial.stops.highestPan = 60.0;
  EXPECT_LT(survey(usual(), trial).farthestPan, 60.0);
  EXPECT_GT(survey(usual()).farthestPan, 60.0);  // it would have gone further
}

TEST(HeadSurveyTest, CommandsThatFailedAreNotTakenForGiven) {
  Trial trial;
  trial.fails = [](int number) { return number % 7 == 3; };
  const Outcome outcome = survey(usual(), trial);
  ASSERT_TRUE(outcome.found.pan.isBelieved());
  EXPECT_NEAR(outcome.found.pan.model.curve.speed(100), 100.0, 10.0);
}

TEST(HeadSurveyTest, AHeadThatDoesNotMoveIsRefused) {
  simulation::HeadKind stuck = usual();
  stuck.fullSpeed = 0.0;
  EXPECT_FALSE(survey(stuck).found.pan.isBelieved());
}

TEST(HeadSurveyTest, BeginningAnewForgetsTheRecord) {
  HeadSurvey survey;
  survey.begin();
  survey.noteStatus({std::nan(""), 0.0, 1, false}, 0);
  survey.noteCommand(35.0, 35.0, 0);
  EXPECT_EQ(survey.identify().pan.refusal, following::Refusal::unsound);
  survey.begin();
  EXPECT_EQ(survey.identify().pan.refusal, following::Refusal::tooShort);
}

// Both axes at five degrees a second, up to where they are at a time.
void swing(HeadSurvey& survey, std::int64_t until, double pan, double tilt) {
  survey.noteCommand(35.0, 35.0, until - 20 * TICK);
  for (int i = 20; i > 0; --i) {
    survey.noteStatus({pan - 0.25 * i, tilt - 0.25 * i, 1, false}, until - i * TICK);
  }
}

// Faster than anything has shown before.
TEST(HeadSurveyTest, AnAxisThatNearsAStopStandsForTheRestOfTheLevel) {
  HeadSurvey survey;
  survey.setStops({.lowestTilt = -90.0, .highestTilt = 20.0});
  survey.begin();
  swing(survey, SECOND, 0.0, -45.0);
  survey.beginStaircase({0.0, -45.0, 1, false}, SECOND);
  const auto tiltAt = [&survey](double seconds, double tilt) {
    const auto time = SECOND + units::truncatedFromSeconds(seconds);
    survey.noteStatus({seconds, tilt, 1, false}, time);
    return survey.command(time)->tilt;
  };
  EXPECT_EQ(tiltAt(0.60, -45.0), 100);
  EXPECT_EQ(tiltAt(0.70, -44.0), 100);
  EXPECT_EQ(tiltAt(0.80, -36.0), 0);  // 80 deg/s: it would come to 28
  EXPECT_EQ(tiltAt(0.90, -35.0), 0);  // slower, but the level is over for it
  EXPECT_EQ(tiltAt(1.60, -35.0), -60);
  EXPECT_EQ(tiltAt(1.70, -80.0), 0);  // 450 deg/s: beyond -90
}

// What a survey commands while every status is the same, until it is over: when that was, and how
// far it would have brought tilt at a degree a second for each percent.
struct BlindRun {
  double seconds = 0.0;
  double farthest = 0.0;  // deg
};

BlindRun runBlindly(HeadSurvey& survey, std::int64_t begin, const PtzHeadStatus& status) {
  BlindRun run;
  double way = 0.0;
  for (std::int64_t now = begin;; now += TICK) {
    survey.noteStatus(status, now);
    const auto command = survey.command(now);
    if (!command) {
      return run;
    }
    survey.noteCommand(command->pan, command->tilt, now);
    way += command->tilt * units::toSeconds(TICK);
    run.farthest = std::max(run.farthest, std::abs(way));
    run.seconds = units::toSeconds(now + TICK - begin);
  }
}

// 35 percent for 1.5 s are 52.5 degrees; from -45 there are 65 to the stop.
TEST(HeadSurveyTest, AStatusThatIsFrozenEndsARelayRunOfItsOwn) {
  HeadSurvey survey;
  survey.begin();
  survey.beginStaircase({0.0, -45.0, 1, false}, 0);
  const BlindRun run = runBlindly(survey, 0, {0.0, -45.0, 1, false});
  EXPECT_NEAR(run.seconds, 1.55, 0.1);  // and what is asked after it
  EXPECT_NEAR(run.farthest, 52.5, 3.0);
  EXPECT_FALSE(survey.identify().pan.isBelieved());
}

TEST(HeadSurveyTest, AStatusThatFreezesEndsTheStaircase) {
  HeadSurvey survey;
  survey.setStops({.lowestTilt = -90.0, .highestTilt = 20.0});
  survey.begin();
  swing(survey, SECOND, 0.0, -45.0);
  survey.beginStaircase({0.0, -45.0, 1, false}, SECOND);
  EXPECT_NEAR(runBlindly(survey, SECOND, {0.0, -45.0, 1, false}).seconds, 0.6 + 1.5, 0.1);
  EXPECT_FALSE(survey.identify().pan.isBelieved());
}

// A head whose tilt is stuck, or tells nothing: pan goes on alone.
TEST(HeadSurveyTest, AnAxisThatDoesNotMoveStandsAndTheOtherGoesOn) {
  simulation::SimulatedHead head(usual(), 3, 0.0, START_TILT);
  HeadSurvey survey;
  survey.begin();
  survey.beginStaircase({0.0, -45.0, 1, false}, 0);
  std::int64_t now = 0;
  int lastTilt = 0;
  for (auto command = survey.command(now); command; command = survey.command(now)) {
    head.command(now, command->pan, command->tilt);
    survey.noteCommand(command->pan, command->tilt, now);
    lastTilt = now > 1600'000 ? std::max(lastTilt, std::abs(command->tilt)) : 0;
    now += TICK;
    head.advanceTo(now);
    survey.noteStatus({head.statusPan(), -45.0, 1, false}, now);
  }
  EXPECT_EQ(lastTilt, 0);
  const auto found = survey.identify();
  EXPECT_TRUE(found.pan.isBelieved());
  EXPECT_TRUE(found.isTiltPans);
}

TEST(HeadSurveyTest, AStatusThatIsNoNumberIsDrivenByNothing) {
  for (const double wrong : {std::nan(""), std::numeric_limits<double>::infinity()}) {
    HeadSurvey survey;
    survey.setStops({.lowestTilt = -90.0, .highestTilt = 20.0});
    survey.begin();
    swing(survey, SECOND, 0.0, -45.0);
    survey.beginStaircase({0.0, -45.0, 1, false}, SECOND);
    EXPECT_EQ(runBlindly(survey, SECOND, {wrong, wrong, 1, false}).farthest, 0.0);
    survey.begin();
    survey.beginStaircase({wrong, wrong, 1, false}, SECOND);
    EXPECT_EQ(runBlindly(survey, SECOND, {0.0, -45.0, 1, false}).farthest, 0.0);
    EXPECT_FALSE(survey.identify().pan.isBelieved());
  }
}

// Where a relay run has shown nothing, an axis with stops may be of any speed.
TEST(HeadSurveyTest, AnAxisOfUnknownSpeedIsNotDrivenTowardsItsStops) {
  HeadSurvey survey;
  survey.setStops({.lowestTilt = -90.0, .highestTilt = 20.0});
  survey.begin();
  survey.noteCommand(35.0, 35.0, 0);
  survey.beginStaircase({0.0, -45.0, 1, false}, SECOND);
  int pan = 0;
  int tilt = 0;
  for (std::int64_t now = SECOND; now < 12 * SECOND; now += TICK) {
    survey.noteStatus({units::toSeconds(now), -45.0 + units::toSeconds(now), 1, false}, now);
    if (const auto command = survey.command(now)) {
      pan = std::max(pan, std::abs(command->pan));
      tilt = std::max(tilt, std::abs(command->tilt));
    }
  }
  EXPECT_EQ(pan, 100);  // goes round and round
  EXPECT_EQ(tilt, 0);
}

}  // namespace
