#include "bridge/head_moves.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "onvif/namespaces.h"
#include "onvif/xml.h"

namespace device::bridge {
namespace {

constexpr std::int64_t MS = 1000;
constexpr std::int64_t SECOND = 1000 * MS;
namespace space = onvif::space;

HeadFacts facts() {
  HeadFacts result;
  result.positions = {{space::POSITION_DEGREES, {-180, 180}, {-90, 90}}};
  result.zoomPositions = {{space::ZOOM_POSITION, {0, 1}, {}}};
  result.velocities = {{space::VELOCITY, {-1, 1}, {-1, 1}}};
  result.zoomVelocities = {{space::ZOOM_VELOCITY, {-1, 1}, {}}};
  result.speeds = {{space::SPEED, {0, 1}, {}}};
  result.hasHome = true;
  return result;
}

HeadTold angles() {
  HeadTold told;
  told.fieldAngles = {6, 60};
  return told;
}

HeadCommand speeds(double pan, double tilt) {
  return {.pan = {MoveKind::continuous, pan}, .tilt = {MoveKind::continuous, tilt}, .zoom = {}};
}

// "ContinuousMove 0.4,-0.1 zoom 0.2 PT1S"
std::string wordsOf(const HeadCall& call) {
  const onvif::XmlDocument document(call.operation.document());
  const onvif::XmlElement root = document.root();
  std::string words = root.name().name;
  EXPECT_EQ("head", root.firstChild()->text()) << "the profile comes first";
  for (const onvif::XmlElement& part : root.children()) {
    if (const auto panTilt = part.child(onvif::ns::SCHEMA, "PanTilt")) {
      words += part.name().name == "Speed" ? " at " : " ";
      words += *panTilt->attribute("x") + "," + *panTilt->attribute("y");
    }
    if (const auto zoom = part.child(onvif::ns::SCHEMA, "Zoom")) {
      words += " zoom " + *zoom->attribute("x");
    }
    words += part.name().name == "Timeout" || part.name().name == "PresetToken" ? " " + part.text()
                                                                                : std::string();
  }
  return words;
}

class HeadMovesTest : public testing::Test {
 protected:
  // What is sent at a moment; empty for nothing.
  std::string next(std::int64_t now) {
    const auto call = moves.next(now, status, taken.value_or(now));
    return call ? wordsOf(*call) : "";
  }
  // The same, and it is answered at once.
  std::string send(std::int64_t now) {
    std::string words = next(now);
    if (!words.empty()) {
      moves.answered({.ok = true}, now);
    }
    return words;
  }

  HeadMoves moves{"head", {facts(), angles()}};
  HeadStatus status{.pan = 30, .tilt = -20, .zoom = 1};
  std::optional<std::int64_t> taken;  // the status; without: now
};

TEST_F(HeadMovesTest, SpeedsHaveATimeout) {
  moves.command(speeds(40, -10), 0);
  EXPECT_EQ("ContinuousMove 0.4,-0.1 PT1S", send(0));
  EXPECT_EQ("", send(0));
}

TEST_F(HeadMovesTest, OneCallAtATimeAndTheNewestCommandWins) {
  moves.command(speeds(40, 0), 0);
  EXPECT_EQ("ContinuousMove 0.4,0 PT1S", next(0));
  moves.command(speeds(50, 0), 1);
  moves.command(speeds(60, 0), 2);
  EXPECT_EQ("", next(3));
  moves.answered({.ok = true}, 4);
  EXPECT_EQ("ContinuousMove 0.6,0 PT1S", next(4));
}

TEST_F(HeadMovesTest, UnchangedSpeedIsRepeatedAfter400Milliseconds) {
  for (std::int64_t now = 0; now < 900 * MS; now += 100 * MS) {
    moves.command(speeds(40, 0), now);
    const bool isDue = now == 0 || now == 400 * MS || now == 800 * MS;
    EXPECT_EQ(isDue, !send(now).empty()) << now;
  }
  // What was held back is sent when its time has come, though nobody asks for it again.
  EXPECT_EQ("", send(1199 * MS - 1));
  moves.command(speeds(40, 0), 1199 * MS);
  EXPECT_EQ("", send(1199 * MS));
  EXPECT_EQ("ContinuousMove 0.4,0 PT1S", send(1200 * MS));
}

TEST_F(HeadMovesTest, AxisThatIsNotSpokenOfGoesOnUntilItsTimeout) {
  moves.command(speeds(40, 20), 0);
  send(0);
  moves.command({.pan = {MoveKind::continuous, 10}, .tilt = {}, .zoom = {}}, 500 * MS);
  EXPECT_EQ("ContinuousMove 0.1,0.2 PT1S", send(500 * MS));
  moves.command({.pan = {MoveKind::continuous, 15}, .tilt = {}, .zoom = {}}, 1499 * MS);
  EXPECT_EQ("ContinuousMove 0.15,0.2 PT1S", send(1499 * MS));
}

TEST_F(HeadMovesTest, AxisWhoseSpeedIsOverStands) {
  moves.command(speeds(0, 20), 0);
  send(0);
  moves.command({.pan = {}, .tilt = {}, .zoom = {MoveKind::continuous, 5}}, 999 * MS);
  send(999 * MS);
  moves.command({.pan = {MoveKind::continuous, 10}, .tilt = {}, .zoom = {}}, SECOND);
  EXPECT_EQ("ContinuousMove 0.1,0 PT1S", send(SECOND));
}

TEST_F(HeadMovesTest, ZoomBySpeedIsInTheSameCall) {
  HeadCommand command = speeds(40, 0);
  command.zoom = {MoveKind::continuous, -20};
  moves.command(command, 0);
  EXPECT_EQ("ContinuousMove 0.4,0 zoom -0.2 PT1S", send(0));
}

TEST_F(HeadMovesTest, AbsoluteZoomBesideSpeedsIsACallOfItsOwn) {
  HeadCommand command = speeds(40, 0);
  command.zoom = {MoveKind::absolute, 9999};
  moves.command(command, 0);
  EXPECT_EQ("ContinuousMove 0.4,0 PT1S", send(0));
  moves.command(speeds(50, 0), 1);
  EXPECT_EQ("AbsoluteMove zoom 1", send(1)) << "in turns";
  EXPECT_EQ("ContinuousMove 0.5,0 PT1S", send(1));
}

TEST_F(HeadMovesTest, PositionIsInDegreesAndWithinASpeed) {
  moves.command({.pan = {MoveKind::absolute, -35},
                 .tilt = {MoveKind::absolute, -25},
                 .zoom = {},
                 .speed = 50},
                0);
  EXPECT_EQ("AbsoluteMove -35,-25 at 0.5,0.5", send(0));
  EXPECT_FALSE(moves.isCompromised());
}

TEST_F(HeadMovesTest, PositionBesideASpeedIsOneWithTheOtherAxisWhereItIs) {
  moves.command({.pan = {MoveKind::absolute, -35}, .tilt = {MoveKind::continuous, 20}, .zoom = {}},
                0);
  EXPECT_EQ("AbsoluteMove -35,-20 at 1,1", send(0));
  EXPECT_TRUE(moves.isCompromised());
}

TEST_F(HeadMovesTest, StopDropsWhatWaits) {
  moves.command(speeds(40, 0), 0);
  next(0);
  moves.command(speeds(50, 0), 1);
  moves.command({.pan = {MoveKind::continuous, 0},
                 .tilt = {MoveKind::continuous, 0},
                 .zoom = {MoveKind::continuous, 0},
                 .speed = 0},
                2);
  moves.answered({.ok = true}, 3);
  EXPECT_EQ("Stop", next(3));
  moves.answered({.ok = true}, 4);
  EXPECT_EQ("", next(5));
}

TEST_F(HeadMovesTest, StopThatIsMissingIsReplacedByZeroSpeeds) {
  moves.stop(0);
  EXPECT_EQ("Stop", next(0));
  moves.answered({.ok = false, .isOperationMissing = true}, 1);
  EXPECT_EQ("ContinuousMove 0,0 zoom 0 PT1S", send(1));
  moves.stop(2);
  EXPECT_EQ("ContinuousMove 0,0 zoom 0 PT1S", send(2)) << "from now on";
}

TEST_F(HeadMovesTest, StopThatDoesNotArriveIsTriedAgainWithGrowingPauses) {
  moves.stop(0);
  std::vector<std::int64_t> times;
  for (std::int64_t now = 0; now < 3 * SECOND; now += 50 * MS) {
    if (!next(now).empty()) {
      times.push_back(now / MS);
      moves.answered({}, now);
    }
  }
  EXPECT_THAT(times, testing::ElementsAre(0, 100, 300, 700, 1500, 2500));
}

TEST_F(HeadMovesTest, HeadThatGoesOnAfterAStopIsStoppedBySpeeds) {
  moves.command(speeds(40, 0), 0);
  send(0);
  moves.stop(10 * MS);
  EXPECT_EQ("Stop", send(10 * MS));
  status.panMoving = true;
  EXPECT_EQ("", send(509 * MS));
  EXPECT_EQ("ContinuousMove 0,0 zoom 0 PT1S", send(510 * MS));
  status.panMoving = false;
  EXPECT_EQ("", send(2 * SECOND));
}

TEST_F(HeadMovesTest, HeadThatStoodAfterItsStopMayBeMovedByOthers) {
  moves.command(speeds(40, 0), 0);
  send(0);
  moves.stop(10 * MS);
  EXPECT_EQ("Stop", send(10 * MS));
  EXPECT_EQ("", send(600 * MS));
  status.panMoving = true;  // by a joystick
  EXPECT_EQ("", send(700 * MS));
  EXPECT_EQ("", send(5 * SECOND));
}

// Heads tell where they were half a second ago.
TEST_F(HeadMovesTest, StatusFromBeforeTheStopSaysNothingOfIt) {
  moves.command(speeds(40, 0), 0);
  send(0);
  moves.stop(10 * MS);
  EXPECT_EQ("Stop", send(10 * MS));
  taken = 10 * MS;  // it had not begun to move yet
  EXPECT_EQ("", send(600 * MS));
  EXPECT_TRUE(moves.isStopUnseen());
  taken = 11 * MS;
  status.panMoving = true;
  EXPECT_EQ("ContinuousMove 0,0 zoom 0 PT1S", send(700 * MS)) << "it goes on";
  taken = 650 * MS;
  EXPECT_EQ("", send(1300 * MS)) << "it moved before it was stopped again";
  taken = 1250 * MS;
  status.panMoving = false;
  EXPECT_EQ("", send(1350 * MS));
  EXPECT_FALSE(moves.isStopUnseen());
}

TEST_F(HeadMovesTest, SpeedThatWaitedThroughAnOutageIsNotSentAndAPlaceIs) {
  moves.command(speeds(40, 0), 0);
  next(0);
  moves.command(speeds(50, 0), 100 * MS);
  moves.answered({}, 2 * SECOND);  // nobody was there
  EXPECT_EQ("Stop", send(2 * SECOND));
  EXPECT_EQ("", send(2 * SECOND));
  moves.stop(3 * SECOND);
  next(3 * SECOND);
  moves.command({.pan = {MoveKind::absolute, -35},
                 .tilt = {MoveKind::absolute, 0},
                 .zoom = {MoveKind::continuous, 10}},
                3 * SECOND);
  moves.answered({.ok = true}, 5 * SECOND);
  EXPECT_EQ("AbsoluteMove -35,0 at 1,1", send(5 * SECOND));
  EXPECT_EQ("", send(5 * SECOND));
}

TEST_F(HeadMovesTest, SilenceStopsWhatIsDrivenBySpeedWithinASecond) {
  moves.command(speeds(40, 0), 0);
  send(0);
  EXPECT_TRUE(moves.isDriven());
  EXPECT_EQ("", send(899 * MS));
  EXPECT_EQ("Stop", send(900 * MS));
  EXPECT_FALSE(moves.isDriven());
  EXPECT_EQ("", send(3 * SECOND));
}

TEST_F(HeadMovesTest, SilenceLetsPositionsAndTheWayHomeGoOn) {
  moves.command(speeds(40, 0), 0);
  send(0);
  moves.command({.pan = {MoveKind::absolute, -35}, .tilt = {MoveKind::absolute, 0}, .zoom = {}},
                100 * MS);
  EXPECT_EQ("AbsoluteMove -35,0 at 1,1", send(100 * MS));
  EXPECT_EQ("", send(2 * SECOND));
  moves.command(speeds(40, 0), 3 * SECOND);
  send(3 * SECOND);
  moves.goHome(100, 3 * SECOND + MS);
  EXPECT_EQ("GotoHomePosition at 1,1", send(3 * SECOND + MS));
  EXPECT_EQ("", send(5 * SECOND));
}

TEST_F(HeadMovesTest, HeadWithoutAHomeGoesWhereTheUserSays) {
  HeadFacts without = facts();
  without.hasHome = false;
  HeadTold told = angles();
  told.home = {10, -5};
  moves.setHead("head", {without, told});
  moves.goHome(100, 0);
  EXPECT_EQ("AbsoluteMove 10,-5 at 1,1", send(0));
}

TEST_F(HeadMovesTest, PresetIsCalledByItsToken) {
  moves.goToPreset("door", 30, 0);
  EXPECT_EQ("GotoPreset door at 0.3,0.3", send(0));
}

TEST_F(HeadMovesTest, TimeoutIsAsLongAsTheHeadWantsItAtLeast) {
  HeadFacts slow = facts();
  slow.timeout = Range{2, 60};
  moves.setHead("head", {slow, angles()});
  moves.command(speeds(40, 0), 0);
  EXPECT_EQ("ContinuousMove 0.4,0 PT2S", send(0));
}

TEST_F(HeadMovesTest, HeadThatKnowsPartsOfASecondGetsSoLittleThatItStandsWithinOne) {
  HeadFacts fine = facts();
  fine.timeout = Range{0.1, 60};
  moves.setHead("head", {fine, angles()});
  moves.command(speeds(40, 0), 0);
  EXPECT_EQ("ContinuousMove 0.4,0 PT0.9S", send(0));
  fine.timeout = Range{1, 60};
  HeadMoves whole("head", {fine, angles()});
  whole.command(speeds(40, 0), 0);
  EXPECT_EQ("ContinuousMove 0.4,0 PT1S", wordsOf(*whole.next(0, status, 0)));
}

TEST_F(HeadMovesTest, TimeoutIsLeftOutWhereItIsRefused) {
  moves.command(speeds(40, 0), 0);
  next(0);
  moves.answered({.ok = false, .isTimeoutRefused = true}, 1);
  moves.command(speeds(40, 0), 2);
  EXPECT_EQ("ContinuousMove 0.4,0", send(2));
  HeadFacts none = facts();
  none.timeout = Range{0, 0};
  HeadMoves other("head", {none, angles()});
  other.command(speeds(40, 0), 0);
  EXPECT_EQ("ContinuousMove 0.4,0", wordsOf(*other.next(0, status, 0)));
}

// It was busy, or it spoke of another time.
TEST_F(HeadMovesTest, TimeoutComesBackWhenWithoutItTheHeadRefusesAsWell) {
  moves.command(speeds(50, 0), 0);
  EXPECT_EQ("ContinuousMove 0.5,0 PT1S", next(0));
  moves.answered({.ok = false, .isTimeoutRefused = true}, 1);
  moves.command(speeds(50, 0), 10 * MS);
  EXPECT_EQ("ContinuousMove 0.5,0", next(10 * MS));
  moves.answered({.ok = false}, 11 * MS);
  EXPECT_TRUE(moves.hasTimeout());
  moves.command(speeds(50, 0), 20 * MS);
  EXPECT_EQ("ContinuousMove 0.5,0 PT1S", next(20 * MS));
}

}  // namespace
}  // namespace device::bridge
