#include "tracker/head_follower.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <variant>
#include <vector>

#include "base/units.h"
#include "fakes/fake_clock.h"
#include "fakes/fake_events.h"
#include "fakes/fake_ptz_library.h"
#include "src/tracker/moves.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t SECOND = units::MICROSECONDS_PER_SECOND;

class NobodyToFollow : public Selection {
 public:
  std::optional<Target> selectTarget(double, double) override { return std::nullopt; }
  std::optional<FollowedSubject> selectSubject(double, double, std::int64_t,
                                               std::int64_t) override {
    return std::nullopt;
  }
};

// Says what the test has told it to say, or nothing.
class ScriptedFollowing : public Following {
 public:
  std::optional<HeadCommand> step(const PtzHeadStatus& status, const HeadOptics&,
                                  Selection& selection, std::int64_t now) override {
    seen = status;
    times.push_back(now);
    selection.selectTarget(status.pan, status.tilt);
    return command;
  }
  void taken(const HeadCommand& given, std::int64_t time) override {
    takenPans.push_back(given.panValue);
    takenTimes.push_back(time);
  }
  std::int64_t pauseAfter(std::int64_t spent) const override { return spent + 1; }
  void forget() override { ++forgotten; }

  std::optional<HeadCommand> command;
  PtzHeadStatus seen;
  std::vector<std::int64_t> times;
  std::vector<double> takenPans;
  std::vector<std::int64_t> takenTimes;
  int forgotten = 0;
};

class HeadFollowerTest : public testing::Test {
 protected:
  HeadFollowerTest() {
    FakePtzLibrary::reset();
    FakeEvents::reset();
    clock.set(1000 * SECOND);
    homing.setEnabled(true);
    state.declareEvents();
    state.exchange(TrackerState::CameraState::running);
  }
  ~HeadFollowerTest() override { state.undeclareEvents(); }

  // One step and what reached the head.
  std::vector<std::string> step() {
    const std::size_t before = FakePtzLibrary::calls().size();
    follower.step({}, nobody);
    auto calls = FakePtzLibrary::calls();
    return {calls.begin() + static_cast<std::ptrdiff_t>(before), calls.end()};
  }

  // Whether the head is being steered, as others have been told, one after the other.
  static std::vector<bool> told() {
    std::vector<bool> values;
    for (const FakeEvents::Sent& sent : FakeEvents::sentTo("isSentreling")) {
      values.push_back(std::get<bool>(sent.keys.at("active").value));
    }
    return values;
  }

  void pass(std::int64_t microseconds) { clock.set(clock.now() + microseconds); }

  void followFor(int steps) {
    following.command = HeadCommand{.panValue = 10.0};
    for (int i = 0; i < steps; ++i) {
      step();
    }
    following.command.reset();
  }

  void loseHeadFor(int steps) {
    FakePtzLibrary::failStatus(steps, "mute");
    for (int i = 0; i < steps; ++i) {
      step();
    }
  }

  FakeClock clock;
  PtzHead head;
  NobodyToFollow nobody;
  ScriptedFollowing following;
  Homing homing;
  TrackerState state;
  HeadFollower follower{head, following, homing, state};
};

TEST_F(HeadFollowerTest, TellsThatItSteersBeforeTheFirstCommand) {
  following.command = HeadCommand{.panValue = 10.0, .tiltValue = -5.0, .zoom = 7};
  EXPECT_THAT(step(), ElementsAre("status", "move"));
  EXPECT_THAT(told(), ElementsAre(true));
  EXPECT_THAT(FakePtzLibrary::moves(), ElementsAre(IsMove(10.0, 3, -5.0, 3, 7, 3)));
}

TEST_F(HeadFollowerTest, OthersKnowThatItSteersFromBeforeTheFirstCommandToAfterTheLast) {
  std::vector<std::size_t> movesWhenTold;
  FakeEvents::onFree([&movesWhenTold] { movesWhenTold.push_back(FakePtzLibrary::moves().size()); });
  followFor(2);
  step();
  FakeEvents::onFree({});
  EXPECT_THAT(movesWhenTold, ElementsAre(0, 3));
}

TEST_F(HeadFollowerTest, StopsOnceWhenThereIsNothingToFollowAnyMore) {
  followFor(1);
  FakePtzLibrary::clearMoves();
  EXPECT_THAT(step(), ElementsAre("status", "move"));
  EXPECT_THAT(FakePtzLibrary::moves(), ElementsAre(IsMove(0.0, 3, 0.0, 3, 0, 3)));
  EXPECT_THAT(told(), ElementsAre(true, false));
  EXPECT_THAT(step(), ElementsAre("status"));
}

TEST_F(HeadFollowerTest, AStopThatFailsIsTriedAgain) {
  followFor(1);
  FakePtzLibrary::failMoves(2, "mute");
  EXPECT_THAT(step(), ElementsAre("status", "move"));
  EXPECT_THAT(step(), ElementsAre("status", "move"));
  EXPECT_THAT(step(), ElementsAre("status", "move"));
  EXPECT_THAT(step(), ElementsAre("status"));
  EXPECT_THAT(told(), ElementsAre(true, false));
}

TEST_F(HeadFollowerTest, ACommandMakesUpForAStop) {
  followFor(1);
  FakePtzLibrary::failMoves(1, "mute");
  step();
  followFor(1);
  step();
  EXPECT_THAT(step(), ElementsAre("status"));
}

TEST_F(HeadFollowerTest, WithoutThePositionNothingIsCommanded) {
  followFor(1);
  FakePtzLibrary::failStatus(9, "mute");
  following.command = HeadCommand{};
  for (int i = 0; i < 9; ++i) {
    EXPECT_THAT(step(), ElementsAre("status"));
  }
}

TEST_F(HeadFollowerTest, AfterTenFailuresTheHeadIsStoppedAndTheTargetForgotten) {
  followFor(1);
  FakePtzLibrary::clearMoves();
  loseHeadFor(15);
  EXPECT_THAT(FakePtzLibrary::moves(), ElementsAre(IsStop()));
  EXPECT_EQ(following.forgotten, 1);
  EXPECT_THAT(told(), ElementsAre(true, false));
}

// ---- What the way of following is told ----

TEST_F(HeadFollowerTest, TheWayIsToldWhatTheHeadHasTaken) {
  followFor(1);
  step();
  EXPECT_THAT(following.takenPans, ElementsAre(10.0, 0.0));
  EXPECT_THAT(following.takenTimes, ElementsAre(1000 * SECOND, 1000 * SECOND));
}

TEST_F(HeadFollowerTest, TheWayIsNotToldOfACommandThatFailed) {
  FakePtzLibrary::failMoves(1, "mute");
  followFor(2);
  FakePtzLibrary::failMoves(1, "mute");
  step();
  EXPECT_THAT(following.takenPans, ElementsAre(10.0));
}

TEST_F(HeadFollowerTest, AnotherWayTakesOver) {
  ScriptedFollowing other;
  other.command = HeadCommand{.panValue = 7.0};
  follower.use(other);
  step();
  EXPECT_THAT(other.times, testing::SizeIs(1));
  EXPECT_THAT(following.times, IsEmpty());
  EXPECT_EQ(follower.pauseAfter(3), 4);
}

// ---- The way home ----

TEST_F(HeadFollowerTest, GoesHomeTheTimeOutAfterTheLastCommand) {
  followFor(1);
  step();
  pass(5 * SECOND - 1);
  EXPECT_THAT(step(), ElementsAre("status"));
  pass(1);
  EXPECT_THAT(step(), ElementsAre("status", "home"));
  EXPECT_THAT(step(), ElementsAre("status"));
}

TEST_F(HeadFollowerTest, TheTimeOutCountsFromTheEndOfACommandThatTakesItsTime) {
  following.command = HeadCommand{.panValue = 10.0};
  FakePtzLibrary::duringNextStatus([this] { pass(3 * SECOND); });
  step();
  following.command.reset();
  step();
  pass(5 * SECOND - 1);
  EXPECT_THAT(step(), ElementsAre("status"));
  pass(1);
  EXPECT_THAT(step(), ElementsAre("status", "home"));
}

TEST_F(HeadFollowerTest, TheTimeIsReadAfterThePosition) {
  FakePtzLibrary::duringNextStatus([this] { pass(SECOND); });
  step();
  EXPECT_THAT(following.times, ElementsAre(1001 * SECOND));
}

TEST_F(HeadFollowerTest, AfterAnOutageTheStopComesBeforeTheWayHome) {
  followFor(1);
  FakePtzLibrary::failMoves(1, "mute");
  loseHeadFor(10);
  pass(6 * SECOND);
  EXPECT_THAT(step(), ElementsAre("status", "move", "home"));
  EXPECT_THAT(step(), ElementsAre("status"));
}

TEST_F(HeadFollowerTest, AfterAShortOutageTheStopComesBeforeTheWayHome) {
  followFor(1);
  loseHeadFor(5);
  pass(6 * SECOND);
  EXPECT_THAT(step(), ElementsAre("status", "move", "home"));
}

TEST_F(HeadFollowerTest, AHeadThatIsOwedAStopGoesHomeOnceItHasStopped) {
  followFor(1);
  FakePtzLibrary::failMoves(2, "mute");
  pass(6 * SECOND);
  EXPECT_THAT(step(), ElementsAre("status", "move"));
  EXPECT_THAT(step(), ElementsAre("status", "move"));
  EXPECT_THAT(step(), ElementsAre("status", "move", "home"));
}

TEST_F(HeadFollowerTest, DoesNotGoHomeOnceTrackingIsOffEvenIfThatHappensWhileItAsksTheHead) {
  followFor(1);
  step();
  pass(6 * SECOND);
  FakePtzLibrary::duringNextStatus([this] { state.exchange(TrackerState::CameraState::stopped); });
  EXPECT_THAT(step(), ElementsAre("status"));
}

// ---- Stopping at once ----

TEST_F(HeadFollowerTest, StoppingForgetsTheTargetAndTellsThatNothingIsSteered) {
  followFor(1);
  FakePtzLibrary::clearMoves();
  follower.stop();
  EXPECT_THAT(FakePtzLibrary::moves(), ElementsAre(IsStop()));
  EXPECT_EQ(following.forgotten, 1);
  EXPECT_THAT(told(), ElementsAre(true, false));
  EXPECT_THAT(step(), ElementsAre("status"));
}

TEST_F(HeadFollowerTest, AStopThatGotThroughIsOwedNoMore) {
  followFor(1);
  FakePtzLibrary::failMoves(1, "mute");
  step();
  follower.stop();
  EXPECT_THAT(step(), ElementsAre("status"));
}

}  // namespace
