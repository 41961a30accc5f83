#include "tracker/autotuner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <deque>
#include <ostream>
#include <string>
#include <vector>

#include "fakes/fake_clock.h"
#include "fakes/fake_ptz_library.h"
#include "fakes/log_capture.h"
#include "src/tracker/late_head.h"
#include "src/tracker/moves.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AutotunerTest : public testing::Test {
 protected:
  AutotunerTest() {
    FakePtzLibrary::reset();
    tuner.start();
  }

  static void setHead(double pan, double tilt, int zoom, bool isMoving = false) {
    FakePtzLibrary::setStatus(
        {static_cast<float>(pan), 0, static_cast<float>(tilt), isMoving ? 1 : 0, zoom, 0});
  }

  // One step and what it commanded.
  std::vector<FakePtzLibrary::Move> step() {
    FakePtzLibrary::clearMoves();
    const AutotuneFinding finding = tuner.step();
    if (finding.zoomCorrection) {
      corrections.push_back(*finding.zoomCorrection);
    }
    gains += finding.hasGains ? 1 : 0;
    isFinished = finding.isFinished;
    clock.set(clock.now() + 50'000);
    return FakePtzLibrary::moves();
  }

  // From the start to the step of that number, on a head that is where it should be.
  void goTo(int number) {
    setHead(0.0, -45.0, 100);
    while (tuner.getStep() < number && tuner.getStep() < 5) {
      setHead(0.0, -45.0, tuner.getStep() < 3 ? 100 : 1);
      step();
    }
  }

  static std::string successInWords(const Regulator& regulator) {
    double pan[3];
    double tilt[3];
    regulator.getPanAutotunePid(&pan[0], &pan[1], &pan[2]);
    regulator.getTiltAutotunePid(&tilt[0], &tilt[1], &tilt[2]);
    char text[200];
    std::snprintf(text, sizeof text,
                  "Autotuning: attempt 1 of 3 succeeded, gains of pan %.6g %.6g %.6g, of tilt %.6g "
                  "%.6g %.6g\n",
                  pan[0], pan[1], pan[2], tilt[0], tilt[1], tilt[2]);
    return text;
  }

  static int failuresLogged(const std::string& name) {
    return LogCapture::count(name + ": autotune failed!") +
           LogCapture::count(name + ": autotune failed!\n");
  }

  FakeClock clock;
  const LogCapture log;
  PtzHead head;
  Regulator regulator;
  Autotuner tuner{head, regulator};
  std::vector<double> corrections;
  int gains = 0;  // how often they were found
  bool isFinished = false;
};

TEST_F(AutotunerTest, BeginsAtTheFirstStep) {
  EXPECT_EQ(tuner.getStep(), 1);
  Autotuner idle(head, regulator);
  EXPECT_EQ(idle.getStep(), 0);
}

TEST_F(AutotunerTest, GoesToTheZoomCheckPosition) {
  EXPECT_THAT(step(), ElementsAre(IsMove(0.0, 1, -45.0, 1, 100, 1)));
  EXPECT_EQ(tuner.getStep(), 2);
  EXPECT_FALSE(isFinished);
}

struct ZoomCase {
  int zoom;
  double correction;  // 0: none, the step waits on
};

void PrintTo(const ZoomCase& zoom, std::ostream* out) {
  *out << zoom.zoom;
}

class ZoomCheckTest : public AutotunerTest, public testing::WithParamInterface<ZoomCase> {};

TEST_P(ZoomCheckTest, SeesHowTheHeadCountsItsZoom) {
  goTo(2);
  setHead(0.0, -45.0, GetParam().zoom);
  const std::vector<FakePtzLibrary::Move> moves = step();
  if (GetParam().correction == 0.0) {
    EXPECT_THAT(moves, IsEmpty());
    EXPECT_THAT(corrections, IsEmpty());
    EXPECT_EQ(tuner.getStep(), 2);
  } else {
    EXPECT_THAT(moves, ElementsAre(IsMove(0.0, 1, -45.0, 1, 1, 1)));
    EXPECT_THAT(corrections, ElementsAre(GetParam().correction));
    EXPECT_EQ(tuner.getStep(), 3);
  }
}

INSTANTIATE_TEST_SUITE_P(Zooms, ZoomCheckTest,
                         testing::Values(ZoomCase{44, 0.0}, ZoomCase{45, 2.0}, ZoomCase{50, 2.0},
                                         ZoomCase{55, 2.0}, ZoomCase{56, 0.0}, ZoomCase{94, 0.0},
                                         ZoomCase{95, 1.0}, ZoomCase{105, 1.0}, ZoomCase{106, 0.0},
                                         ZoomCase{189, 0.0}, ZoomCase{190, 0.5}, ZoomCase{210, 0.5},
                                         ZoomCase{211, 0.0}));

struct PositionCase {
  double pan;
  double tilt;
  bool isMoving;
  bool isThere;
};

void PrintTo(const PositionCase& at, std::ostream* out) {
  *out << at.pan << " " << at.tilt << (at.isMoving ? " moving" : "");
}

class PositionTest : public AutotunerTest, public testing::WithParamInterface<PositionCase> {};

TEST_P(PositionTest, BothWaitsEndAtRestInPosition) {
  const PositionCase& at = GetParam();
  goTo(2);
  setHead(at.pan, at.tilt, 100, at.isMoving);
  step();
  EXPECT_EQ(tuner.getStep(), at.isThere ? 3 : 2);
  goTo(3);
  setHead(at.pan, at.tilt, 1, at.isMoving);
  EXPECT_THAT(step(), IsEmpty());
  EXPECT_EQ(tuner.getStep(), at.isThere ? 4 : 3);
}

INSTANTIATE_TEST_SUITE_P(
    Positions, PositionTest,
    testing::Values(PositionCase{0.0, -45.0, false, true}, PositionCase{0.5, -45.0, false, true},
                    PositionCase{-0.5, -45.0, false, true}, PositionCase{0.0, -44.5, false, true},
                    PositionCase{0.0, -45.5, false, true}, PositionCase{0.0, -45.0, true, false},
                    PositionCase{0.625, -45.0, false, false},
                    PositionCase{-0.625, -45.0, false, false},
                    PositionCase{0.0, -44.375, false, false},
                    PositionCase{0.0, -45.625, false, false}));

TEST_F(AutotunerTest, TheTuningPositionIsZoomedOut) {
  goTo(3);
  setHead(0.0, -45.0, 20);
  step();
  EXPECT_EQ(tuner.getStep(), 3);
  setHead(0.0, -45.0, 19);
  step();
  EXPECT_EQ(tuner.getStep(), 4);
}

TEST_F(AutotunerTest, The101stWaitForTheZoomCheckPositionFails) {
  goTo(2);
  setHead(0.0, -45.0, 100, true);
  for (int wait = 1; wait <= 100; ++wait) {
    step();
    ASSERT_EQ(tuner.getStep(), 2) << wait;
  }
  step();
  EXPECT_EQ(tuner.getStep(), 6);
  EXPECT_TRUE(LogCapture::has("Failed to go to autotune zoom check position\n"));
}

TEST_F(AutotunerTest, The101stWaitForTheTuningPositionFails) {
  goTo(2);
  setHead(0.0, -45.0, 100, true);
  for (int wait = 1; wait <= 50; ++wait) {
    step();
  }
  goTo(3);  // counts anew
  setHead(0.0, -45.0, 1, true);
  for (int wait = 1; wait <= 100; ++wait) {
    step();
    ASSERT_EQ(tuner.getStep(), 3) << wait;
  }
  step();
  EXPECT_EQ(tuner.getStep(), 6);
  EXPECT_TRUE(LogCapture::has("Failed to go to autotune position\n"));
}

TEST_F(AutotunerTest, AHeadThatDoesNotAnswerFailsTheRun) {
  for (const int number : {2, 3, 4, 5}) {
    tuner.start();
    goTo(number);
    ASSERT_EQ(tuner.getStep(), number);
    FakePtzLibrary::failStatus(1, "mute");
    step();
    EXPECT_EQ(tuner.getStep(), 6) << number;
  }
}

TEST_F(AutotunerTest, TheRelaySwingsAroundWhereTheHeadIs) {
  goTo(4);
  setHead(0.25, -45.25, 1);
  EXPECT_THAT(step(), IsEmpty());
  EXPECT_EQ(tuner.getStep(), 5);
  setHead(0.5, -45.5, 1);
  EXPECT_THAT(step(), ElementsAre(IsMove(-35.0, 3, 35.0, 3, 0, 3)));
  setHead(0.0, -45.0, 1);
  EXPECT_THAT(step(), ElementsAre(IsMove(35.0, 3, -35.0, 3, 0, 3)));
  EXPECT_EQ(tuner.getStep(), 5);
}

// A head that turns as it is told, but three steps late.
TEST_F(AutotunerTest, AHeadThatSwingsIsTunedAndSentToItsRestingPlace) {
  goTo(5);
  double pan = 0.0;
  double tilt = -45.0;
  std::deque<FakePtzLibrary::Move> pending(3);
  std::vector<FakePtzLibrary::Move> last;
  for (int i = 0; i < 500 && tuner.getStep() == 5; ++i) {
    setHead(pan, tilt, 1);
    last = step();
    ASSERT_EQ(last.size(), 1U);
    pending.push_back(last[0]);
    pan += pending.front().pan * 0.05;
    tilt += pending.front().tilt * 0.05;
    pending.pop_front();
  }
  ASSERT_EQ(tuner.getStep(), 7);
  EXPECT_EQ(gains, 1);
  EXPECT_TRUE(regulator.autotuned());
  EXPECT_EQ(LogCapture::count(LOG_INFO, successInWords(regulator)), 1);
  EXPECT_EQ(last[0].panKind, 3);
  EXPECT_THAT(step(), ElementsAre(IsMove(0.0, 1, -3.6, 1, 1, 1)));
  EXPECT_TRUE(isFinished);
  EXPECT_EQ(tuner.getStep(), 0);
}

// A head that does not move: the relay gives up after 25 s, and then the head is commanded to rest.
TEST_F(AutotunerTest, ARelayThatTimesOutStopsTheHeadAndFails) {
  goTo(5);
  std::vector<FakePtzLibrary::Move> last;
  int steps = 0;
  while (tuner.getStep() == 5 && steps < 600) {
    last = step();
    ++steps;
  }
  EXPECT_EQ(tuner.getStep(), 6);
  EXPECT_GT(steps * 0.05, 25.0);
  EXPECT_THAT(last, ElementsAre(IsMove(0.0, 3, 0.0, 3, 0, 3)));
  EXPECT_EQ(gains, 0);
}

class FailureTest : public AutotunerTest {
 protected:
  // A run that fails, up to the step that decides what follows.
  void failOnce() {
    goTo(2);
    FakePtzLibrary::failStatus(1, "mute");
    step();
    ASSERT_EQ(tuner.getStep(), 6);
    LogCapture::clear();
  }
};

TEST_F(FailureTest, ARunIsRepeatedTwiceAndThenGivenUp) {
  for (int failure = 1; failure <= 2; ++failure) {
    failOnce();
    EXPECT_THAT(step(), IsEmpty());
    EXPECT_EQ(tuner.getStep(), 1);
    EXPECT_FALSE(isFinished);
    EXPECT_EQ(failuresLogged("PAN "), 1);
    EXPECT_EQ(failuresLogged("TILT"), 1);
  }
  failOnce();
  step();
  EXPECT_EQ(tuner.getStep(), 7);
  EXPECT_EQ(failuresLogged("PAN "), 0);
  EXPECT_THAT(step(), ElementsAre(IsMove(0.0, 1, -3.6, 1, 1, 1)));
  EXPECT_TRUE(isFinished);
  EXPECT_EQ(gains, 0);
}

TEST_F(FailureTest, EveryFailureIsToldInWords) {
  failOnce();
  step();
  EXPECT_EQ(LogCapture::count(LOG_WARNING, "Autotuning: attempt 1 of 3 failed, trying again\n"), 1);
  failOnce();
  step();
  EXPECT_EQ(LogCapture::count(LOG_WARNING, "Autotuning: attempt 2 of 3 failed, trying again\n"), 1);
  failOnce();
  step();
  EXPECT_EQ(
      LogCapture::count(LOG_WARNING,
                        "Autotuning: attempt 3 of 3 failed. The head keeps the gains it had and "
                        "may lag behind or swing; it is tuned again at the next start\n"),
      1);
}

TEST_F(FailureTest, AStartCountsFailuresAnew) {
  failOnce();
  step();
  failOnce();
  step();
  tuner.start();
  failOnce();
  step();
  EXPECT_EQ(tuner.getStep(), 1);
}

TEST_F(AutotunerTest, ATunerThatIsIdleIsAnInternalError) {
  Autotuner idle(head, regulator);
  idle.step();
  EXPECT_TRUE(LogCapture::has("Autotuning internal error\n"));
  EXPECT_THAT(FakePtzLibrary::moves(), IsEmpty());
}

// ---- With a survey ----

class SurveyTest : public AutotunerTest {
 protected:
  // Until it is done; the steps that were taken, each once.
  std::vector<int> run(Autotuner::Relay relay) {
    tuner.start(survey, relay);
    std::vector<int> steps;
    for (int i = 0; i < 4000 && tuner.getStep() != 0; ++i) {
      if (steps.empty() || steps.back() != tuner.getStep()) {
        steps.push_back(tuner.getStep());
      }
      FakePtzLibrary::clearMoves();
      const AutotuneFinding finding = tuner.step();
      gains += finding.hasGains ? 1 : 0;
      surveys += finding.hasSurvey ? 1 : 0;
      late.take(FakePtzLibrary::moves());
      clock.set(clock.now() + 50'000);
    }
    return steps;
  }

  void goToStaircase() {
    for (int i = 0; i < 4000 && tuner.getStep() != 8; ++i) {
      FakePtzLibrary::clearMoves();
      gains += tuner.step().hasGains ? 1 : 0;
      late.take(FakePtzLibrary::moves());
      clock.set(clock.now() + 50'000);
    }
    ASSERT_EQ(tuner.getStep(), 8);
  }

  HeadSurvey survey;
  LateHead late;
  int surveys = 0;
};

TEST_F(SurveyTest, TheStaircaseFollowsTheRelay) {
  EXPECT_THAT(run(Autotuner::Relay::wanted), ElementsAre(1, 2, 3, 4, 5, 8, 7));
  EXPECT_EQ(gains, 1);
  EXPECT_EQ(surveys, 1);
  EXPECT_TRUE(survey.identify().pan.isBelieved());
}

TEST_F(SurveyTest, OrIsRunAlone) {
  EXPECT_THAT(run(Autotuner::Relay::leftOut), ElementsAre(1, 2, 3, 4, 8, 7));
  EXPECT_EQ(gains, 0);
  EXPECT_EQ(surveys, 1);
}

// The relay times out three times; the staircase shows that the head does not move.
TEST_F(SurveyTest, IsRunWhenTheRelayHasFailedForGood) {
  late.gain = 0.0;
  EXPECT_THAT(run(Autotuner::Relay::wanted),
              ElementsAre(1, 2, 3, 4, 5, 6, 1, 2, 3, 4, 5, 6, 1, 2, 3, 4, 5, 6, 1, 2, 3, 4, 8, 7));
  EXPECT_EQ(gains, 0);
  EXPECT_EQ(surveys, 1);
  EXPECT_EQ(LogCapture::count(LOG_WARNING,
                              "Autotuning: attempt 3 of 3 failed. No gains are learned; the head "
                              "is identified without them\n"),
            1);
}

// The staircase needs no zoom: it is run where the relay is left out, or has been given up.
TEST_F(SurveyTest, IsRunOnAHeadThatCountsItsZoomInNoKnownWay) {
  late.zoomUnits = 7;
  EXPECT_THAT(run(Autotuner::Relay::leftOut), ElementsAre(1, 2, 3, 4, 8, 7));
  EXPECT_EQ(surveys, 1);
  EXPECT_TRUE(survey.identify().pan.isBelieved());
  EXPECT_THAT(run(Autotuner::Relay::wanted),
              ElementsAre(1, 2, 6, 1, 2, 6, 1, 2, 6, 1, 2, 3, 4, 8, 7));
  EXPECT_EQ(surveys, 2);
  EXPECT_EQ(gains, 0);
  EXPECT_EQ(LogCapture::count(LOG_WARNING,
                              "The head counts its zoom in no known way, it is identified all the "
                              "same\n"),
            2);
}

TEST_F(SurveyTest, AHeadThatFallsSilentIsStoppedAndTheRunFails) {
  tuner.start(survey, Autotuner::Relay::leftOut);
  goToStaircase();
  FakePtzLibrary::failStatus(1, "mute");
  EXPECT_THAT(step(), ElementsAre(IsStop()));
  EXPECT_EQ(tuner.getStep(), 6);
}

TEST_F(SurveyTest, AStaircaseThatFailsIsRepeatedWithoutTheRelayAndToldInWords) {
  tuner.start(survey, Autotuner::Relay::wanted);
  for (const char* told :
       {"Identifying the head: attempt 1 of 3 failed, trying again\n",
        "Identifying the head: attempt 2 of 3 failed, trying again\n",
        "Identifying the head: attempt 3 of 3 failed. The head is steered without being known and "
        "may lag behind or swing; it is identified again at the next start\n"}) {
    goToStaircase();
    FakePtzLibrary::failStatus(1, "mute");
    step();
    step();
    EXPECT_EQ(LogCapture::count(LOG_WARNING, told), 1) << told;
  }
  EXPECT_EQ(gains, 1);
  EXPECT_EQ(tuner.getStep(), 7);
}

TEST_F(SurveyTest, ARunWithoutOneMakesNone) {
  run(Autotuner::Relay::leftOut);
  tuner.start();
  goTo(5);
  EXPECT_EQ(tuner.getStep(), 5);
}

}  // namespace
