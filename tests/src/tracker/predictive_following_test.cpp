#include "tracker/predictive_following.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "base/units.h"
#include "src/following/simulated_head.h"

namespace {

using testing::Optional;

constexpr std::int64_t SECOND = units::MICROSECONDS_PER_SECOND;
constexpr std::int64_t TICK = 50'000;

// 1 deg/s for each percent, at once and without delay.
following::HeadParameters plainHead() {
  following::HeadParameters head;
  head.pan.deadTime = 0.0;
  head.tilt.deadTime = 0.0;
  head.tilt.lowest = -90.0;
  head.tilt.highest = 20.0;
  return head;
}

// Whom the test has somebody look at.
class ToldSelection : public Selection {
 public:
  std::optional<Target> selectTarget(double, double) override {
    ADD_FAILURE() << "nobody asks for what was seen";
    return std::nullopt;
  }
  std::optional<FollowedSubject> selectSubject(double, double, std::int64_t,
                                               std::int64_t at) override {
    askedFor = at;
    return chosen;
  }

  std::optional<FollowedSubject> chosen;
  std::int64_t askedFor = 0;
};

class PredictiveFollowingTest : public testing::Test {
 protected:
  PredictiveFollowingTest() {
    optics.zoomScale.minFieldAngle = 2.5;
    optics.zoomScale.maxFieldAngle = 63.4;
    optics.zoomScale.minZoom = 1;
    optics.zoomScale.maxZoom = 9999;
    optics.aspectRatio = 16.0 / 9.0;
    status.zoom = 1;
    way.setHead(plainHead());
  }

  // Somebody of ten degrees who stands there.
  void look(double pan, double tilt) {
    FollowedSubject followed;
    followed.subject.pan = pan;
    followed.subject.tilt = tilt;
    followed.subject.width = 3.0;
    followed.subject.height = 10.0;
    selection.chosen = followed;
  }

  std::optional<HeadCommand> step() {
    now += TICK;
    return way.step(status, optics, selection, now);
  }

  // A step whose command the head takes.
  std::optional<HeadCommand> steer() {
    const auto command = step();
    if (command) {
      way.taken(*command, now);
    }
    return command;
  }

  ToldSelection selection;
  PredictiveFollowing way;
  HeadOptics optics;
  PtzHeadStatus status;
  std::int64_t now = 1000 * SECOND;
};

TEST_F(PredictiveFollowingTest, TurnsToWhomItIsToLookAt) {
  look(20.0, -10.0);
  const auto command = steer();
  ASSERT_TRUE(command);
  EXPECT_GT(command->panValue, 0.0);
  EXPECT_LT(command->tiltValue, 0.0);
  EXPECT_EQ(command->panKind, PtzHead::CONTINUOUS);
  EXPECT_EQ(command->tiltKind, PtzHead::CONTINUOUS);
}

TEST_F(PredictiveFollowingTest, AsksForTheMomentAtWhichACommandActs) {
  following::HeadParameters head = plainHead();
  head.pan.deadTime = 0.4;
  head.tilt.deadTime = 0.4;
  way.setHead(head);
  look(0.0, 0.0);
  step();
  EXPECT_EQ(selection.askedFor, now + 225'000);  // half the dead time, and half a period
  head.statusAge = 0.3;
  way.setHead(head);
  step();
  EXPECT_EQ(selection.askedFor, now + 125'000);
}

TEST_F(PredictiveFollowingTest, NothingIsCommandedBeforeThereIsAHead) {
  PredictiveFollowing without;
  look(20.0, -10.0);
  EXPECT_FALSE(without.step(status, optics, selection, now));
}

TEST_F(PredictiveFollowingTest, NothingIsCommandedWhileThereIsNobody) {
  EXPECT_FALSE(step());
}

TEST_F(PredictiveFollowingTest, StandsForAWhileWhenThereIsNobodyAnyMore) {
  look(20.0, -10.0);
  steer();
  selection.chosen.reset();
  for (int i = 0; i < 29; ++i) {
    const auto command = steer();
    ASSERT_TRUE(command) << i;
    EXPECT_EQ(command->panValue, 0.0);
    EXPECT_EQ(command->tiltValue, 0.0);
    EXPECT_EQ(command->zoomKind, PtzHead::NOT_DRIVEN);
  }
  EXPECT_FALSE(step());
}

TEST_F(PredictiveFollowingTest, KeepsAPeriodWhateverAStepTakes) {
  EXPECT_EQ(way.pauseAfter(0), 50'000);
  EXPECT_EQ(way.pauseAfter(15'000), 35'000);
  EXPECT_EQ(way.pauseAfter(48'000), 10'000);
  EXPECT_EQ(way.pauseAfter(3 * SECOND), 10'000);
  EXPECT_EQ(way.pauseAfter(-SECOND), 50'000);
}

// ---- Zoom ----

// Ten degrees at 55 % of a picture of 16:9: 2 atan(16/9 tan 5 deg / 0.55) = 31.58 deg wide, 2.008
// fold, at (2.008 - 1) / 24.36 of 9999.
TEST_F(PredictiveFollowingTest, AsksForTheZoomOnceItIsTaken) {
  look(0.0, 0.0);
  auto command = steer();
  ASSERT_TRUE(command);
  EXPECT_EQ(command->zoomKind, PtzHead::ABSOLUTE);
  EXPECT_NEAR(command->zoom, 414, 3);
  EXPECT_EQ(steer()->zoomKind, PtzHead::NOT_DRIVEN);
}

TEST_F(PredictiveFollowingTest, AsksAgainForAZoomThatWasNotTaken) {
  look(0.0, 0.0);
  const auto failed = step();
  ASSERT_TRUE(failed);
  EXPECT_EQ(failed->zoomKind, PtzHead::ABSOLUTE);
  EXPECT_EQ(steer()->zoomKind, PtzHead::ABSOLUTE);
  EXPECT_EQ(steer()->zoomKind, PtzHead::NOT_DRIVEN);
}

TEST_F(PredictiveFollowingTest, ZoomsWithinTheLensWhateverItIs) {
  for (const auto& [low, high, aspect] :
       {std::array{0.0, 0.0, 0.0}, std::array{60.0, 2.0, 1.3},
        std::array{std::numeric_limits<double>::quiet_NaN(), 60.0, 1.3},
        std::array{2.0, 400.0, -1.0}}) {
    optics.zoomScale.minFieldAngle = low;
    optics.zoomScale.maxFieldAngle = high;
    optics.aspectRatio = aspect;
    way.forget();
    look(5.0, 0.0);
    for (int i = 0; i < 20; ++i) {
      const auto command = steer();
      ASSERT_TRUE(command);
      EXPECT_TRUE(std::isfinite(command->panValue));
      EXPECT_TRUE(command->zoomKind == PtzHead::NOT_DRIVEN || command->zoom >= 1);
    }
  }
}

// ---- Safety ----

// 0.4 degrees are little in the widest picture, whatever zoom is asked for, and much in a narrow
// one.
TEST_F(PredictiveFollowingTest, RestsByThePictureThatThereIs) {
  look(0.4, 0.0);
  selection.chosen->subject.width = 0.3;
  selection.chosen->subject.height = 1.0;
  for (int i = 0; i < 5; ++i) {
    const auto command = steer();
    ASSERT_TRUE(command);
    EXPECT_TRUE(i > 0 || command->zoom > 1000) << "it asks for a narrow one";
    EXPECT_EQ(command->panValue, 0.0) << i;
  }
  status.zoom = 9999;
  EXPECT_GT(steer()->panValue, 0.0);
}

TEST_F(PredictiveFollowingTest, ACommandThatFailedIsNoMotion) {
  look(20.0, 0.0);
  double last = 0.0;
  // The head never takes anything and stands: were its way believed, the commands would cease.
  for (int i = 0; i < 60; ++i) {
    last = step()->panValue;
  }
  EXPECT_GT(last, 50.0);
}

TEST_F(PredictiveFollowingTest, AStatusThatFreezesStopsTheHead) {
  look(170.0, 0.0);
  bool hasStopped = false;
  for (int i = 0; i < 60; ++i) {
    const auto command = steer();  // the status stays at 0
    hasStopped = hasStopped || (i > 10 && command->panValue == 0.0);
  }
  EXPECT_TRUE(hasStopped);
}

// Without an error to be told nothing is known of the picture.
TEST_F(PredictiveFollowingTest, AStatusThatIsFrozenLetsTheZoomGoInNoMore) {
  look(170.0, 0.0);
  int zoom = status.zoom;
  int frozen = 0;
  for (int i = 0; i < 60; ++i) {
    const auto command = steer();  // the status stays at 0
    const bool isFrozen = i > 10 && command->panValue == 0.0;
    // For a quarter of a second it may only seem so.
    if (frozen > 5 && isFrozen && command->zoomKind == PtzHead::ABSOLUTE) {
      EXPECT_LE(command->zoom, zoom) << i;
    }
    zoom = command->zoomKind == PtzHead::ABSOLUTE ? command->zoom : zoom;
    frozen += isFrozen ? 1 : 0;
  }
  EXPECT_GT(frozen, 20);
}

TEST_F(PredictiveFollowingTest, AStatusThatIsNoNumberIsNoStatus) {
  look(20.0, 0.0);
  for (const double wrong :
       {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
    status.pan = wrong;
    status.tilt = wrong;
    for (int i = 0; i < 5; ++i) {
      const auto command = steer();
      ASSERT_TRUE(command);
      EXPECT_EQ(command->panValue, 0.0);
      EXPECT_EQ(command->tiltValue, 0.0);
    }
  }
}

TEST_F(PredictiveFollowingTest, ASubjectThatIsNoNumberIsNotFollowed) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  look(nan, nan);
  selection.chosen->subject.width = nan;
  selection.chosen->subject.height = nan;
  selection.chosen->gap = nan;
  for (int i = 0; i < 5; ++i) {
    const auto command = steer();
    ASSERT_TRUE(command);
    EXPECT_EQ(command->panValue, 0.0);
    EXPECT_EQ(command->tiltValue, 0.0);
    EXPECT_EQ(command->zoomKind, PtzHead::NOT_DRIVEN);
  }
}

TEST_F(PredictiveFollowingTest, ForgettingEndsTheCommandsUntilSomebodyIsChosenAnew) {
  look(20.0, 0.0);
  steer();
  selection.chosen.reset();
  way.forget();
  EXPECT_FALSE(step());
}

// After a stop the head is where it says, not where its last commands would have brought it.
TEST_F(PredictiveFollowingTest, AfterAStopItBeginsWhereTheHeadIs) {
  look(2.0, 0.0);
  for (int i = 0; i < 4; ++i) {
    steer();
  }
  way.forget();
  const auto command = steer();
  ASSERT_TRUE(command);
  EXPECT_EQ(command->panValue, 6.0);  // 3 for each degree
}

TEST_F(PredictiveFollowingTest, AClockThatStandsOrGoesBackDoesNoHarm) {
  look(20.0, 0.0);
  for (const std::int64_t step : {std::int64_t{0}, -10 * SECOND, 3600 * SECOND}) {
    now += step;
    for (int i = 0; i < 3; ++i) {
      const auto command = way.step(status, optics, selection, now);
      ASSERT_TRUE(command);
      EXPECT_LE(std::abs(command->panValue), 100.0);
      way.taken(*command, now);
    }
  }
}

// ---- On a head ----

struct Trip {
  double error = 0.0;  // deg, at the end
  int reversals = 0;
};

// Somebody stands 60 degrees aside; the head is as it is, and known as it is told.
Trip turnTo60(const simulation::HeadKind& kind, const following::HeadParameters& known) {
  simulation::SimulatedHead head(kind, 1, 0.0, 0.0);
  ToldSelection selection;
  FollowedSubject& there = selection.chosen.emplace();
  there.subject.pan = 60.0;
  there.subject.width = 3.0;
  there.subject.height = 10.0;
  PredictiveFollowing way;
  way.setHead(known);
  Trip trip;
  double before = 0.0;
  for (std::int64_t now = 0; now < 6 * SECOND; now += TICK) {
    const PtzHeadStatus status{head.statusPan(), head.statusTilt(), 1, false};
    const auto command = way.step(status, HeadOptics(), selection, now);
    head.command(now, command->panValue, command->tiltValue);
    way.taken(*command, now);
    head.advanceTo(now + TICK);
    trip.reversals += head.panVelocity() * before < 0.0 ? 1 : 0;
    before = head.panVelocity() == 0.0 ? before : head.panVelocity();
  }
  trip.error = std::abs(head.getPan() - 60.0);
  return trip;
}

TEST(PredictiveFollowingOnAHeadTest, ComesToRestOnWhoStandsInSpiteOfADeadTime) {
  simulation::HeadKind kind;
  kind.latency = 0.3;
  kind.statusAge = 0.2;
  following::HeadParameters known;
  known.pan.deadTime = 0.5;
  known.tilt.deadTime = 0.5;
  const Trip trip = turnTo60(kind, known);
  EXPECT_LT(trip.error, 1.5);
  EXPECT_LE(trip.reversals, 1);
}

TEST(PredictiveFollowingOnAHeadTest, AModelThatFitsIsNotDoubtedAndOneThatDoesNotIs) {
  const auto misfitOf = [](double deadTime, double speed) {
    simulation::HeadKind kind;
    kind.latency = 0.3;
    kind.fullSpeed = speed;
    simulation::SimulatedHead head(kind, 1, 0.0, 0.0);
    ToldSelection selection;
    FollowedSubject& there = selection.chosen.emplace();
    there.subject.height = 10.0;
    PredictiveFollowing way;
    following::HeadParameters known;
    known.pan.deadTime = deadTime;
    known.tilt.deadTime = deadTime;
    way.setHead(known);
    for (std::int64_t now = 0; now < 60 * SECOND; now += TICK) {
      there.subject.pan = now / (4 * SECOND) % 2 == 0 ? 40.0 : -40.0;
      const PtzHeadStatus status{head.statusPan(), head.statusTilt(), 1, false};
      const auto command = way.step(status, HeadOptics(), selection, now);
      head.command(now, command->panValue, command->tiltValue);
      way.taken(*command, now);
      head.advanceTo(now + TICK);
    }
    return way.misfit();
  };
  EXPECT_LT(misfitOf(0.325, 100.0), 0.5);
  EXPECT_GT(misfitOf(0.05, 100.0), 1.0);
  EXPECT_GT(misfitOf(0.325, 30.0), 1.0);
}

}  // namespace
