#include "bridge/head_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "onvif/namespaces.h"
#include "onvif/time_text.h"
#include "onvif/xml.h"

namespace device::bridge {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr std::int64_t MS = 1000;
constexpr std::int64_t SECOND = 1000 * MS;
namespace ns = onvif::ns;
namespace space = onvif::space;

// One that turns by 0.5 of its units a second at full speed, hears a command after 100 ms and has a
// zoom of 60 to 6 degrees, even in the logarithm.
struct SimulatedHead {
  double sign = 1;
  bool hasStop = true;
  bool heedsStop = true;
  bool heedsTimeout = true;
  bool takesTimeout = true;
  bool tellsPlace = true;
  bool tellsFieldAngle = true;
  bool isStuckMoving = false;
  bool tellsMotion = true;
  bool isAtItsEnd = false;  // cannot pan on
  bool isFixed = false;     // cannot pan at all
  bool isZoomRestless = false;
  std::int64_t delay = 100 * MS;

  double pan = 0.1;
  double tilt = -0.2;
  double zoom = 0;
  double zoomTarget = 0;
  double zoomSpeed = 1e6;  // a second
  double trueHalf = 100;   // degrees for each of its numbers
  double panEnd = 1;       // it goes no further to either side
  double panLowest = -1;   // nor further than that
  double pace = 1e6;
  double usualPace = 1e6;  // of its numbers a second, on its way to a place
  bool ignoresPlaces = false;
  bool leavesPlaceOut = false;  // every other time
  double fineness = 0;          // steps in which it tells its place
  std::optional<double> panTarget;
  std::optional<double> tiltTarget;
  double panSpeed = 0;
  double tiltSpeed = 0;
  std::int64_t until = 0;
  struct Waiting {
    std::int64_t due = 0;
    onvif::Tag operation;
  };
  std::vector<Waiting> waiting;
  std::vector<std::string> heard;
  double fastest = 0;

  void step(std::int64_t now) {
    while (!waiting.empty() && waiting.front().due <= now) {
      hear(waiting.front().operation, now);
      waiting.erase(waiting.begin());
    }
    if (now >= until && heedsTimeout) {
      panSpeed = tiltSpeed = 0;
    }
    const double seconds = 0.01;
    const double next = pan + sign * panSpeed * seconds;
    pan = isFixed ? pan : isAtItsEnd ? std::min(next, 0.1) : next;
    tilt += sign * tiltSpeed * seconds;
    const auto go = [&](std::optional<double> target, double* place) {
      if (target) {
        *place += std::clamp(*target - *place, -pace * seconds, pace * seconds);
      }
    };
    go(panTarget, &pan);
    go(tiltTarget, &tilt);
    const double zoomStep = zoomSpeed * seconds;
    zoom += std::clamp(zoomTarget - zoom, -zoomStep, zoomStep);
  }

  void goTo(double x, double y, const std::string& uri) {
    if (ignoresPlaces) {
      return;
    }
    const bool isInDegrees = uri == space::POSITION_DEGREES;
    panTarget = std::clamp(isInDegrees ? x / trueHalf : x, std::max(-panEnd, panLowest), panEnd);
    tiltTarget = std::clamp(isInDegrees ? y / trueHalf : y, -1.0, 1.0);
    pace = usualPace;
  }

  void hear(const onvif::Tag& operation, std::int64_t now) {
    const onvif::XmlDocument document(operation.document());
    const onvif::XmlElement root = document.root();
    const std::string name = root.name().name;
    heard.push_back(name);
    if (name != "Stop") {
      panTarget = tiltTarget = std::nullopt;
    }
    if (name == "Stop" && heedsStop) {
      panSpeed = tiltSpeed = 0;
    }
    for (const onvif::XmlElement& part : root.children()) {
      const auto panTilt = part.child(ns::SCHEMA, "PanTilt");
      const auto zoomTo = part.child(ns::SCHEMA, "Zoom");
      if (name == "ContinuousMove" && panTilt) {
        panSpeed = 0.5 * std::stod(*panTilt->attribute("x"));
        tiltSpeed = 0.5 * std::stod(*panTilt->attribute("y"));
        fastest = std::max({fastest, std::abs(panSpeed), std::abs(tiltSpeed)});
      }
      if (name == "AbsoluteMove" && panTilt && part.name().name == "Position") {
        goTo(std::stod(*panTilt->attribute("x")), std::stod(*panTilt->attribute("y")),
             panTilt->attribute("space").value_or(""));
      }
      if (name == "AbsoluteMove" && panTilt && part.name().name == "Speed") {
        pace = std::stod(*panTilt->attribute("x")) / trueHalf;
      }
      if (name == "AbsoluteMove" && zoomTo) {
        zoomTarget = std::stod(*zoomTo->attribute("x"));
      }
      if (part.name().name == "Timeout") {
        until = now + *onvif::readDuration(part.text());
      }
    }
  }

  mutable double restless = 0;
  mutable bool isLeftOut = false;

  double toldAs(double place) const {
    return fineness > 0 ? std::round(place / fineness) * fineness : place;
  }

  HeadReading reading() const {
    HeadReading result;
    isLeftOut = leavesPlaceOut && !isLeftOut;
    if (tellsPlace && !isLeftOut) {
      result.panTilt = onvif::Vector2{toldAs(pan), toldAs(tilt), space::POSITION};
    }
    restless = isZoomRestless && zoom > 0.01 ? 0.005 - restless : 0;
    result.zoom = onvif::Vector1{zoom + restless, space::ZOOM_POSITION};
    if (tellsMotion) {
      result.panTiltMoves = isStuckMoving || panSpeed != 0 || tiltSpeed != 0;
    }
    if (tellsFieldAngle) {
      result.fieldAngle = 60 * std::pow(0.1, zoom);
    }
    return result;
  }
};

HeadFacts facts() {
  HeadFacts result;
  result.positions = {{space::POSITION, {-1, 1}, {-1, 1}}};
  result.zoomPositions = {{space::ZOOM_POSITION, {0, 1}, {}}};
  result.velocities = {{space::VELOCITY, {-1, 1}, {-1, 1}}};
  result.timeout = Range{0.1, 60};
  return result;
}

class HeadCheckTest : public testing::Test {
 protected:
  // Answers come at once; the status 20 ms after it was asked for, every 50 ms.
  void run(bool withZoom = false, std::int64_t givenUp = 0) {
    wishes.zoom = wishes.zoom || withZoom;
    HeadCheck check("head", headFacts, wishes);
    std::int64_t now = SECOND;
    for (; !check.isOver() && now < 900 * SECOND; now += 10 * MS) {
      if (givenUp != 0 && now >= givenUp) {
        check.giveUp("It was ended");
      }
      head.step(now);
      if (auto call = check.next(now)) {
        const bool isMissing = !head.hasStop && call->operation.getName() == "tptz:Stop";
        const bool isRefused =
            !head.takesTimeout && call->operation.document().find("Timeout") != std::string::npos;
        if (!isMissing && !isRefused) {
          head.waiting.push_back({now + head.delay, call->operation});
        }
        check.answered({.ok = !isMissing && !isRefused,
                        .isTimeoutRefused = isRefused,
                        .isOperationMissing = isMissing},
                       "No", now);
      }
      if (check.isPictureDue()) {
        check.pictured(picture, "It has none");
      }
      if (now % (50 * MS) == 0) {
        check.told(head.reading(), now - 20 * MS, now);
      }
    }
    ASSERT_TRUE(check.isOver());
    measured = check.getMeasured();
    trouble = check.getTrouble();
    words = wordsOf(measured);
    took = now - SECOND;
  }

  SimulatedHead head;
  HeadFacts headFacts = facts();
  HeadCheck::Wishes wishes;
  std::string picture = "a JPEG";
  HeadMeasured measured;
  std::string trouble;
  std::vector<std::string> words;
  std::int64_t took = 0;
};

// As a head answers: what it is asked for next, until it is driven.
HeadCall firstDrive(HeadCheck* check, std::int64_t* now) {
  const SimulatedHead standing{};
  for (; *now < 10 * SECOND; *now += 10 * MS) {
    check->told(standing.reading(), *now - 20 * MS, *now);
    if (auto call = check->next(*now)) {
      return *call;
    }
  }
  return {onvif::Tag("none")};
}

TEST_F(HeadCheckTest, HeadThatDoesEverythingAsItShould) {
  run();
  EXPECT_EQ("", trouble);
  EXPECT_EQ(20 * MS, measured.trip);
  EXPECT_TRUE(measured.pan.moves);
  EXPECT_TRUE(measured.tilt.moves);
  EXPECT_FALSE(measured.pan.isReversed);
  EXPECT_FALSE(measured.tilt.isReversed);
  EXPECT_NEAR(0.5, measured.pan.speed, 0.05);
  ASSERT_TRUE(measured.pan.response);
  EXPECT_GE(*measured.pan.response, 100 * MS);
  EXPECT_LE(*measured.pan.response, 160 * MS) << "of which 50 ms are between two looks";
  EXPECT_EQ(true, measured.heedsStop);
  EXPECT_EQ(true, measured.heedsTimeout);
  ASSERT_TRUE(measured.standsAfter);
  EXPECT_NEAR(1.1, static_cast<double>(*measured.standsAfter) / SECOND, 0.06);
  EXPECT_EQ(true, measured.tellsMotion);
  EXPECT_LE(head.fastest, 0.1 + 1e-9) << "a fifth of full speed";
  EXPECT_LT(took, 15 * SECOND);
}

TEST_F(HeadCheckTest, HeadIsBackWhereItWas) {
  run(true);
  EXPECT_DOUBLE_EQ(0.1, head.pan);
  EXPECT_DOUBLE_EQ(-0.2, head.tilt);
  EXPECT_DOUBLE_EQ(0, head.zoom);
  EXPECT_EQ(0, head.panSpeed);
}

TEST_F(HeadCheckTest, AxesThatCountTheOtherWayAreFound) {
  head.sign = -1;
  run();
  EXPECT_TRUE(measured.pan.isReversed);
  EXPECT_TRUE(measured.tilt.isReversed);
  EXPECT_THAT(words, Contains(HasSubstr("Its pan counts the other way")));
}

TEST_F(HeadCheckTest, HeadAtItsEndIsTriedTheOtherWay) {
  head.isAtItsEnd = true;
  run();
  EXPECT_TRUE(measured.pan.moves);
  EXPECT_FALSE(measured.pan.isReversed);
}

TEST_F(HeadCheckTest, TimeoutThatIsIgnoredIsToldAndTheHeadIsStopped) {
  head.heedsTimeout = false;
  run();
  EXPECT_EQ(false, measured.heedsTimeout);
  EXPECT_EQ(0, head.panSpeed);
  EXPECT_THAT(words,
              Contains(HasSubstr("nothing stops this head when this machine or the network")));
}

TEST_F(HeadCheckTest, HeadThatRefusesATimeoutIsCheckedWithoutAndNeverLeftAlone) {
  head.takesTimeout = false;
  head.heedsTimeout = false;
  run();
  EXPECT_EQ("", trouble);
  EXPECT_TRUE(measured.pan.moves);
  EXPECT_TRUE(measured.tilt.moves);
  EXPECT_EQ(true, measured.heedsStop);
  EXPECT_EQ(false, measured.heedsTimeout);
  EXPECT_EQ(4, std::ranges::count(head.heard, "ContinuousMove")) << "there and back on each axis";
  EXPECT_EQ(0, head.panSpeed);
  EXPECT_THAT(words, Contains(HasSubstr("It takes no time after which it is to stop")));
}

TEST_F(HeadCheckTest, TimeoutThatWasNotSeenIsToldToBeUnknown) {
  head.isFixed = true;
  run();
  EXPECT_FALSE(measured.heedsTimeout.has_value());
  EXPECT_THAT(words, Contains(HasSubstr("Whether it stops by itself was not seen")));
}

TEST_F(HeadCheckTest, StopThatIsMissingIsReplacedByZeroSpeeds) {
  head.hasStop = false;
  head.heedsTimeout = false;
  run();
  EXPECT_EQ("", trouble);
  EXPECT_EQ(false, measured.heedsStop);
  EXPECT_THAT(head.heard, Not(Contains("Stop")));
  EXPECT_EQ(0, head.panSpeed);
}

TEST_F(HeadCheckTest, StopThatIsNotHeededIsFound) {
  head.heedsStop = false;
  head.heedsTimeout = false;
  run();
  EXPECT_EQ(false, measured.heedsStop);
  EXPECT_EQ(0, head.panSpeed);
}

TEST_F(HeadCheckTest, MotionThatIsToldForGoodIsFound) {
  head.isStuckMoving = true;
  run();
  EXPECT_EQ(false, measured.tellsMotion);
}

TEST_F(HeadCheckTest, MotionThatIsNotToldIsNoLie) {
  head.tellsMotion = false;
  run();
  EXPECT_FALSE(measured.tellsMotion);
  EXPECT_THAT(words, Contains(HasSubstr("does not tell whether it moves")));
}

TEST_F(HeadCheckTest, ZoomTableHasNinePointsOfWhichMostAreWhereThePictureIsWide) {
  run(true);
  ASSERT_EQ(9U, measured.zoomTable.size());
  EXPECT_DOUBLE_EQ(60, measured.zoomTable[0].fieldAngle);
  EXPECT_DOUBLE_EQ(1.0 / 64, measured.zoomTable[1].position);
  EXPECT_DOUBLE_EQ(0.25, measured.zoomTable[4].position);
  EXPECT_NEAR(33.74, measured.zoomTable[4].fieldAngle, 0.01) << "60 / sqrt(sqrt(10))";
  EXPECT_NEAR(6, measured.zoomTable[8].fieldAngle, 1e-9);
  EXPECT_THAT(words, Contains("Its picture is 6.0 to 60.0 degrees wide"));
}

// A hundred seconds to its tele end and as many back.
TEST_F(HeadCheckTest, SlowZoomIsWaitedForAsItsSpeedWasMeasured) {
  head.zoomSpeed = 0.01;
  run(true);
  EXPECT_EQ("", trouble);
  ASSERT_EQ(9U, measured.zoomTable.size());
  EXPECT_NEAR(1, measured.zoomTable[8].position, 0.002);
  EXPECT_NEAR(6, measured.zoomTable[8].fieldAngle, 0.03);
  EXPECT_GE(took, 200 * SECOND);
  EXPECT_DOUBLE_EQ(0, head.zoom);
}

TEST_F(HeadCheckTest, ZoomThatNeverArrivesHoldsTheCheckNoLongerThanItsSpeedSays) {
  head.zoomSpeed = 0.1;
  head.isZoomRestless = true;
  run(true);
  EXPECT_EQ("", trouble);
  EXPECT_LT(took, 280 * SECOND) << "some ways of a minute, the others of some seconds";
}

TEST_F(HeadCheckTest, ProgressIsTold) {
  HeadCheck check("head", facts(), {.zoom = true});
  EXPECT_EQ("Looks where the head is", check.presentStep());
  std::int64_t now = SECOND;
  firstDrive(&check, &now);
  EXPECT_EQ("Pans a little (2 of 16)", check.presentStep());
}

HeadTold toldHalf(double pan, double tilt) {
  HeadTold told;
  told.pan = Range{-pan, pan};
  told.tilt = Range{-tilt, tilt};
  told.fieldAngles = {6, 60};
  return told;
}

// It turns by 100 degrees for each of its numbers; 110 are told of its pan, 101 of its tilt.
TEST_F(HeadCheckTest, ScaleIsThatOfItsDegrees) {
  headFacts.positions.push_back({space::POSITION_DEGREES, {-110, 110}, {-101, 101}});
  run();
  EXPECT_EQ("", trouble);
  ASSERT_TRUE(measured.pan.scale);
  EXPECT_NEAR(100, measured.pan.scale->perNumber, 0.5);
  EXPECT_TRUE(measured.pan.scale->isOtherThanTold());
  ASSERT_TRUE(measured.pan.scale->degrees);
  EXPECT_NEAR(-100, measured.pan.scale->degrees->low, 0.5);
  EXPECT_NEAR(100, measured.pan.scale->degrees->high, 0.5);
  ASSERT_TRUE(measured.tilt.scale);
  EXPECT_NEAR(100, measured.tilt.scale->perNumber, 0.5);
  EXPECT_FALSE(measured.tilt.scale->isOtherThanTold()) << "one percent";
  EXPECT_THAT(words, Contains(HasSubstr("its range is from -100.0 to 100.0 degrees")));
}

TEST_F(HeadCheckTest, ScaleIsThatOfItsSpeedWhereNothingElseTellsIt) {
  headFacts.speeds = {{space::SPEED_DEGREES, {0, 50}, {}}};
  wishes.told = toldHalf(140, 100);
  run();
  EXPECT_EQ("", trouble);
  ASSERT_TRUE(measured.pan.scale);
  EXPECT_TRUE(measured.pan.scale->isBySpeed);
  EXPECT_NEAR(100, measured.pan.scale->perNumber, 3);
  EXPECT_TRUE(measured.pan.scale->isOtherThanTold());
  ASSERT_TRUE(measured.tilt.scale);
  EXPECT_FALSE(measured.tilt.scale->isOtherThanTold());
}

TEST_F(HeadCheckTest, NoScaleOfAHeadOfWhichNoDegreesAreKnown) {
  run();
  EXPECT_FALSE(measured.pan.scale);
}

TEST_F(HeadCheckTest, EndsAreWhereItReallyStops) {
  head.panEnd = 0.9;
  wishes.told = toldHalf(100, 100);
  wishes.ends = true;
  run();
  EXPECT_EQ("", trouble);
  ASSERT_TRUE(measured.pan.ends);
  EXPECT_TRUE(measured.pan.ends->isShort());
  EXPECT_NEAR(-90, measured.pan.ends->reached.low, 1e-6);
  EXPECT_NEAR(90, measured.pan.ends->reached.high, 1e-6);
  EXPECT_NEAR(100, measured.pan.ends->announced.high, 1e-6);
  ASSERT_TRUE(measured.tilt.ends);
  EXPECT_FALSE(measured.tilt.ends->isShort());
  EXPECT_NEAR(0.1, head.pan, 1e-9) << "it is back";
}

TEST_F(HeadCheckTest, HeadThatIsStillOnItsWayIsNotAtItsEnd) {
  head.usualPace = 0.002;
  wishes.told = toldHalf(100, 100);
  wishes.ends = true;
  run();
  EXPECT_FALSE(measured.pan.ends);
  EXPECT_FALSE(measured.tilt.ends);
}

TEST_F(HeadCheckTest, HeadThatDoesNotSetOutHasNoEnds) {
  head.ignoresPlaces = true;
  wishes.told = toldHalf(100, 100);
  wishes.ends = true;
  run();
  EXPECT_EQ("", trouble);
  EXPECT_FALSE(measured.pan.ends);
  EXPECT_FALSE(measured.tilt.ends);
}

TEST_F(HeadCheckTest, OneEndAloneIsNone) {
  wishes.told = toldHalf(100, 100);
  wishes.ends = true;
  run();
  const std::int64_t whole = took;
  ASSERT_TRUE(measured.pan.ends);
  int withoutTilt = 0;
  for (std::int64_t end = 2 * SECOND; end < whole; end += 100 * MS) {
    head = {};
    run(false, end);
    EXPECT_TRUE(!measured.pan.ends || measured.pan.ends->reached.isReal()) << end;
    EXPECT_TRUE(!measured.tilt.ends || measured.tilt.ends->reached.isReal()) << end;
    withoutTilt += measured.pan.ends && !measured.tilt.ends ? 1 : 0;
  }
  EXPECT_LT(0, withoutTilt) << "one was ended between them";
}

TEST_F(HeadCheckTest, PanThatStopsFarShortIsShortAndNotRoundTheOtherWay) {
  head.panLowest = 0.05;
  head.pan = 0.2;
  wishes.told = toldHalf(179, 100);
  wishes.ends = true;
  run();
  ASSERT_TRUE(measured.pan.ends);
  EXPECT_NEAR(8.95, measured.pan.ends->reached.low, 1e-6);
  EXPECT_NEAR(179, measured.pan.ends->reached.high, 1e-6);
}

TEST_F(HeadCheckTest, PlaceThatIsLeftOutNowAndThenIsAsItWas) {
  head.leavesPlaceOut = true;
  headFacts.positions.push_back({space::POSITION_DEGREES, {-100, 100}, {-100, 100}});
  wishes.ends = true;
  run();
  EXPECT_EQ("", trouble);
  ASSERT_TRUE(measured.pan.scale);
  EXPECT_NEAR(100, measured.pan.scale->perNumber, 0.5);
  ASSERT_TRUE(measured.pan.ends);
  EXPECT_FALSE(measured.pan.ends->isShort());
}

// In steps of 1.8 degrees, over some fifty: 3.6 percent at the most.
TEST_F(HeadCheckTest, CoarseStatusMakesNoScaleWrong) {
  head.fineness = 0.018;
  head.pan = 0.1049;
  head.tilt = -0.2049;
  headFacts.positions.push_back({space::POSITION_DEGREES, {-100, 100}, {-102, 102}});
  run();
  ASSERT_TRUE(measured.pan.scale);
  EXPECT_NEAR(100, measured.pan.scale->perNumber, 3.6);
  EXPECT_FALSE(measured.pan.scale->isOtherThanTold());
  ASSERT_TRUE(measured.tilt.scale);
  EXPECT_FALSE(measured.tilt.scale->isOtherThanTold()) << "two percent, and as much by its steps";
}

TEST_F(HeadCheckTest, RangeThatLiesTwoDegreesAsideIsTold) {
  headFacts.positions.push_back({space::POSITION_DEGREES, {-98, 102}, {-99.5, 100.5}});
  run();
  ASSERT_TRUE(measured.pan.scale);
  EXPECT_TRUE(measured.pan.scale->isOtherThanTold());
  ASSERT_TRUE(measured.tilt.scale);
  EXPECT_FALSE(measured.tilt.scale->isOtherThanTold()) << "half a degree";
}

TEST_F(HeadCheckTest, NumbersThatFallWhereDegreesGrowAreTold) {
  head.trueHalf = -100;
  headFacts.positions.push_back({space::POSITION_DEGREES, {-100, 100}, {-100, 100}});
  run();
  EXPECT_FALSE(measured.pan.scale);
  EXPECT_THAT(words, Contains(HasSubstr("The numbers of its pan fall where its degrees grow")));
  EXPECT_THAT(words, Contains(HasSubstr("The numbers of its tilt fall")));
}

TEST_F(HeadCheckTest, EndsAreLeftOutUnlessTheyAreWishedAndOfWhoTurnsForEver) {
  wishes.told = toldHalf(100, 100);
  run();
  EXPECT_FALSE(measured.pan.ends);
  wishes.told = toldHalf(180, 100);
  wishes.ends = true;
  run();
  EXPECT_FALSE(measured.pan.ends);
  EXPECT_TRUE(measured.tilt.ends);
}

// From pan 0.1, tilt -0.2, that is 10 and -20 degrees, towards the middle by ten.
TEST_F(HeadCheckTest, TwoPicturesAreTakenTenDegreesApart) {
  wishes.told = toldHalf(100, 100);
  wishes.sight = true;
  run();
  EXPECT_EQ("", trouble);
  ASSERT_TRUE(measured.sight);
  EXPECT_EQ("a JPEG", measured.sight->before);
  EXPECT_EQ("a JPEG", measured.sight->after);
  EXPECT_NEAR(10, measured.sight->from.pan, 1e-6);
  EXPECT_NEAR(-20, measured.sight->from.tilt, 1e-6);
  EXPECT_NEAR(0, measured.sight->to.pan, 1e-6);
  EXPECT_NEAR(-10, measured.sight->to.tilt, 1e-6);
  EXPECT_DOUBLE_EQ(60, measured.sight->fieldAngle);
}

TEST_F(HeadCheckTest, PicturesAreNearerToEachOtherZoomedIn) {
  wishes.told = toldHalf(100, 100);
  wishes.sight = true;
  head.zoom = head.zoomTarget = 0.5;
  run();
  ASSERT_TRUE(measured.sight);
  // A fifth of 60 / sqrt(10).
  EXPECT_NEAR(3.795, measured.sight->from.pan - measured.sight->to.pan, 0.001);
}

TEST_F(HeadCheckTest, NoPicturesAreToldAndTheCheckGoesOn) {
  wishes.told = toldHalf(100, 100);
  wishes.sight = true;
  picture = "";
  run();
  EXPECT_EQ("", trouble);
  EXPECT_FALSE(measured.sight);
  EXPECT_THAT(words, Contains("Its scale cannot be looked at. It has none"));
}

TEST_F(HeadCheckTest, PicturesNeedToldRanges) {
  wishes.sight = true;
  run();
  EXPECT_EQ("", trouble);
  EXPECT_THAT(words, Contains(HasSubstr("enter its ranges and how wide its picture is")));
}

TEST_F(HeadCheckTest, HeadThatSaysNothingOfItsPlaceIsNotMoved) {
  head.tellsPlace = false;
  run();
  EXPECT_EQ("The head does not say where it is", trouble);
  EXPECT_TRUE(head.heard.empty());
}

TEST_F(HeadCheckTest, CheckThatIsGivenUpLeavesTheHeadStanding) {
  head.heedsTimeout = false;
  run(false, 1600 * MS);  // in the midst of the first motion
  EXPECT_EQ("It was ended", trouble);
  EXPECT_THAT(head.heard, Contains("Stop"));
  EXPECT_EQ(0, head.panSpeed);
}

TEST_F(HeadCheckTest, HeadIsNotDrivenAgainWhenItRefusesATimeoutAfterTheEnd) {
  HeadCheck check("head", facts(), {});
  std::int64_t now = SECOND;
  ASSERT_EQ("tptz:ContinuousMove", firstDrive(&check, &now).operation.getName());
  check.giveUp("It was ended");
  check.answered({.ok = false, .isTimeoutRefused = true}, "No", now);
  const auto next = check.next(now + 10 * MS);
  ASSERT_TRUE(next);
  EXPECT_EQ("tptz:Stop", next->operation.getName());
}

TEST_F(HeadCheckTest, StopThatFailsByATimeoutIsSentAgain) {
  HeadCheck check("head", facts(), {});
  std::int64_t now = SECOND;
  ASSERT_EQ("tptz:ContinuousMove", firstDrive(&check, &now).operation.getName());
  check.answered({.ok = true}, "", now);
  std::optional<HeadCall> next;
  for (; !next && now < 10 * SECOND; now += 10 * MS) {
    next = check.next(now);
  }
  ASSERT_TRUE(next);
  ASSERT_EQ("tptz:Stop", next->operation.getName());
  check.answered({.ok = false, .isTimeoutRefused = true}, "Timeout of the motor", now);
  next = check.next(now + 10 * MS);
  ASSERT_TRUE(next);
  EXPECT_EQ("tptz:Stop", next->operation.getName());
}

}  // namespace
}  // namespace device::bridge
