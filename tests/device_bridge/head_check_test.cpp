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
  std::int64_t delay = 100 * MS;

  double pan = 0.1;
  double tilt = -0.2;
  double zoom = 0;
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
  }

  void hear(const onvif::Tag& operation, std::int64_t now) {
    const onvif::XmlDocument document(operation.document());
    const onvif::XmlElement root = document.root();
    const std::string name = root.name().name;
    heard.push_back(name);
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
      if (name == "AbsoluteMove" && panTilt) {
        pan = std::stod(*panTilt->attribute("x"));
        tilt = std::stod(*panTilt->attribute("y"));
      }
      if (name == "AbsoluteMove" && zoomTo) {
        zoom = std::stod(*zoomTo->attribute("x"));
      }
      if (part.name().name == "Timeout") {
        until = now + *onvif::readDuration(part.text());
      }
    }
  }

  HeadReading reading() const {
    HeadReading result;
    if (tellsPlace) {
      result.panTilt = onvif::Vector2{pan, tilt, space::POSITION};
    }
    result.zoom = onvif::Vector1{zoom, space::ZOOM_POSITION};
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
    HeadCheck check("head", facts(), withZoom);
    std::int64_t now = SECOND;
    for (; !check.isOver() && now < 200 * SECOND; now += 10 * MS) {
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
  HeadMeasured measured;
  std::string trouble;
  std::vector<std::string> words;
  std::int64_t took = 0;
};

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

// As a head answers: what it is asked for next, until it is driven.
HeadCall firstDrive(HeadCheck* check, std::int64_t* now) {
  const SimulatedHead standing;
  for (; *now < 10 * SECOND; *now += 10 * MS) {
    check->told(standing.reading(), *now - 20 * MS, *now);
    if (auto call = check->next(*now)) {
      return *call;
    }
  }
  return {onvif::Tag("none")};
}

TEST_F(HeadCheckTest, HeadIsNotDrivenAgainWhenItRefusesATimeoutAfterTheEnd) {
  HeadCheck check("head", facts(), false);
  std::int64_t now = SECOND;
  ASSERT_EQ("tptz:ContinuousMove", firstDrive(&check, &now).operation.getName());
  check.giveUp("It was ended");
  check.answered({.ok = false, .isTimeoutRefused = true}, "No", now);
  const auto next = check.next(now + 10 * MS);
  ASSERT_TRUE(next);
  EXPECT_EQ("tptz:Stop", next->operation.getName());
}

TEST_F(HeadCheckTest, StopThatFailsByATimeoutIsSentAgain) {
  HeadCheck check("head", facts(), false);
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
