// A head that does not do as it should, over real sockets.
#include "bridge/remote_head.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "onvif/time_text.h"
#include "scripted_head.h"
#include "scripted_rtsp.h"

namespace device::bridge {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr std::int64_t MS = 1000;
class RemoteHeadTest : public testing::Test {
 protected:
  HeadSettings settings() const {
    HeadSettings told;
    told.address = {camera.url(), "", ""};
    told.told.pan = onvif::Range{-180, 180};
    told.told.tilt = onvif::Range{-90, 90};
    told.told.fieldAngles = {6, 60};
    told.usesMetadata = false;
    return told;
  }

  Announce announce() {
    return [this](const std::string& text) { announced.push_back(text); };
  }

  void drive(RemoteHead* head) {
    ASSERT_TRUE(iterateUntil([&] { return head->toldStatus().has_value(); }));
    head->command({.pan = {MoveKind::continuous, 40}, .tilt = {}, .zoom = {}});
    commanded = g_get_monotonic_time();
    ASSERT_TRUE(iterateUntil([this] { return camera.speed != 0; }));
  }

  // Found anew again and again, as it says nothing when it is asked for its stream.
  HeadSettings foundAnew() {
    camera.streamUri = rtsp.uri();
    camera.isStreamAway = true;
    return withMetadata();
  }

  HeadSettings withMetadata() const {
    HeadSettings told = settings();
    told.usesMetadata = true;
    return told;
  }

  // What its metadata tell from now on.
  void tellByMetadata(double pan, const std::string& time) {
    rtsp.document =
        "<tt:MetadataStream xmlns:tt=\"http://www.onvif.org/ver10/schema\"><tt:PTZ><tt:PTZStatus>"
        "<tt:Position><tt:PanTilt x=\"" +
        std::to_string(pan) + "\" y=\"0\"/></tt:Position><tt:UtcTime>" + time +
        "</tt:UtcTime></tt:PTZStatus></tt:PTZ></tt:MetadataStream>";
    camera.streamUri = rtsp.uri();
  }

  onvif::ScriptedRtsp rtsp;
  ScriptedHead camera;
  std::vector<std::string> announced;
  std::int64_t commanded = 0;
};

TEST_F(RemoteHeadTest, HeadThatIgnoresItsTimeoutIsStoppedWhenNobodyCommands) {
  RemoteHead head(settings(), {}, announce());
  drive(&head);
  ASSERT_TRUE(iterateUntil([this] { return camera.speed == 0; }));
  const auto stops = camera.timesOf("Stop");
  ASSERT_FALSE(stops.empty());
  EXPECT_GE(stops[0] - commanded, HeadMoves::SILENCE);
}

TEST_F(RemoteHeadTest, HeadWithoutStopGetsSpeedsOfZero) {
  camera.hasStop = false;
  RemoteHead head(settings(), {}, announce());
  drive(&head);
  ASSERT_TRUE(iterateUntil([this] { return camera.speed == 0; }));
  EXPECT_EQ(1U, camera.timesOf("Stop").size()) << "and is not asked for it again";
  EXPECT_GE(camera.timesOf("ContinuousMove").size(), 2U);
}

TEST_F(RemoteHeadTest, MotionThatIsToldForGoodIsNotBelieved) {
  camera.isStuckMoving = true;
  RemoteHead head(settings(), {}, announce());
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus() && head.toldStatus()->moving(); }));
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus() && !head.toldStatus()->moving(); }));
}

TEST_F(RemoteHeadTest, ZoomIsToldInItsOwnNumbers) {
  RemoteHead head(settings(), {}, announce());
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus().has_value(); }));
  EXPECT_FALSE(head.zoomTold());
  camera.zoom = 0.25;
  ASSERT_TRUE(iterateUntil([&] { return head.zoomTold().has_value(); }));
  EXPECT_EQ(0.25, head.zoomTold()->position);
  EXPECT_FALSE(head.zoomTold()->isInMillimetres);
  camera.zoom = 4.5;
  camera.zoomSpace = onvif::space::ZOOM_MILLIMETRES;
  ASSERT_TRUE(iterateUntil([&] { return head.zoomTold()->position == 4.5; }));
  EXPECT_TRUE(head.zoomTold()->isInMillimetres);
}

TEST_F(RemoteHeadTest, StatusThatIsHalfASecondLateIsToldAndHoldsNoCommandUp) {
  camera.statusDelay = 500;
  RemoteHead head(settings(), {}, announce());
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus().has_value(); }));
  ASSERT_TRUE(iterateUntil([this] { return !announced.empty(); }));
  EXPECT_THAT(announced, Contains(HasSubstr("it will follow late")));
  camera.statusDelay = 4000;  // the last one, which nobody waits for
  const std::size_t asked = camera.timesOf("GetStatus").size();
  ASSERT_TRUE(iterateUntil([&] { return camera.timesOf("GetStatus").size() > asked; }));
  head.command({.pan = {MoveKind::continuous, 40}, .tilt = {}, .zoom = {}});
  ASSERT_TRUE(iterateUntil([this] { return camera.speed != 0; }));
  const auto moves = camera.timesOf("ContinuousMove");
  ASSERT_FALSE(moves.empty());
  EXPECT_LT(moves[0] - camera.timesOf("GetStatus").back(), 4000 * MS) << "while it is not answered";
  ASSERT_TRUE(iterateUntil([this] { return camera.speed == 0; })) << "silence counts all the same";
}

TEST_F(RemoteHeadTest, WhatIsKnownOfAHeadCountsUntilItAnswersAnew) {
  camera.isInDegrees = true;
  HeadSettings told = foundAnew();
  told.told.pan.reset();
  told.told.tilt.reset();
  RemoteHead head(told, {}, announce());
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus().has_value(); }));
  camera.isBusy = true;
  const std::size_t before = camera.timesOf("GetNodes").size();
  ASSERT_TRUE(iterateUntil([&] { return camera.timesOf("GetNodes").size() > before; }));
  const std::size_t asked = camera.timesOf("GetStatus").size();
  ASSERT_TRUE(iterateUntil([&] { return camera.timesOf("GetStatus").size() > asked + 2; }));
  camera.pan = 0.5;
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus() && head.toldStatus()->pan == 0.5; }))
      << "where it was is not told as where it is";
  camera.isBusy = false;
  const std::size_t refused = camera.timesOf("GetNodes").size();
  ASSERT_TRUE(iterateUntil([&] { return camera.timesOf("GetPresets").size() > 1; }));
  EXPECT_GT(camera.timesOf("GetNodes").size(), refused) << "it is asked again";
}

TEST_F(RemoteHeadTest, HeadWithoutStopIsStoppedForGoodBySpeedsOfZero) {
  camera.hasStop = false;
  RemoteHead head(settings(), {}, announce());
  drive(&head);
  head.stopForGood();
  EXPECT_EQ(0, camera.speed) << "before this ends";
}

TEST_F(RemoteHeadTest, LastStopComesAfterTheMotionThatIsOnItsWay) {
  camera.isMoveLate = true;
  RemoteHead head(settings(), {}, announce());
  drive(&head);
  head.stopForGood();
  const auto stops = camera.timesOf("Stop");
  ASSERT_EQ(1U, stops.size());
  EXPECT_GE(stops[0] - commanded, ScriptedHead::LATE * MS) << "only when the motion was answered";
  EXPECT_EQ(0, camera.speed);
}

TEST_F(RemoteHeadTest, HeadThatRefusesATimeoutIsMovedWithoutAndThatIsTold) {
  camera.takesTimeout = false;
  RemoteHead head(settings(), {}, announce());
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus().has_value(); }));
  ASSERT_TRUE(iterateUntil([&] {
    head.command({.pan = {MoveKind::continuous, 40}, .tilt = {}, .zoom = {}});
    return camera.speed != 0;
  }));
  ASSERT_TRUE(iterateUntil([this] {
    return announced.back().find("this bridge alone stops it") != std::string::npos;
  })) << "once it was seen to move without";
  EXPECT_THAT(announced, Not(Contains(HasSubstr("does not do as it is told"))));
  ASSERT_TRUE(iterateUntil([this] { return camera.speed == 0; })) << "when nobody commands";
}

TEST_F(RemoteHeadTest, StopThatFailsByATimeoutTakesNoneFromTheMotions) {
  camera.stopTrouble = "Timeout of the motor";
  RemoteHead head(settings(), {}, announce());
  drive(&head);
  ASSERT_TRUE(iterateUntil([this] { return camera.timesOf("Stop").size() > 1; }));
  EXPECT_THAT(announced, Contains(HasSubstr("does not do as it is told. ")));
  EXPECT_THAT(announced, Not(Contains(HasSubstr("this bridge alone stops it"))));
  camera.stopTrouble.clear();
  ASSERT_TRUE(iterateUntil([this] { return camera.speed == 0; }));
  drive(&head);
  EXPECT_THAT(camera.lastBodyOf("ContinuousMove"), HasSubstr("Timeout"));
}

TEST_F(RemoteHeadTest, HeadThatIsFoundAnewIsAskedForATimeoutAgain) {
  camera.takesTimeout = false;
  RemoteHead head(foundAnew(), {}, announce());
  const auto isDrivenBy = [&](bool withTimeout) {
    head.command({.pan = {MoveKind::continuous, 40}, .tilt = {}, .zoom = {}});
    const bool hasTimeout =
        camera.lastBodyOf("ContinuousMove").find("Timeout") != std::string::npos;
    return camera.speed != 0 && hasTimeout == withTimeout;
  };
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus().has_value(); }));
  ASSERT_TRUE(iterateUntil([&] { return isDrivenBy(false); }));
  camera.takesTimeout = true;
  EXPECT_TRUE(iterateUntil([&] { return isDrivenBy(true); }));
}

TEST_F(RemoteHeadTest, HeadThatGoesOnAfterItsLastStopGetsSpeedsOfZero) {
  camera.heedsStop = false;
  RemoteHead head(settings(), {}, announce());
  drive(&head);
  head.stopForGood();
  EXPECT_EQ(1U, camera.timesOf("Stop").size());
  EXPECT_EQ(0, camera.speed) << "before this ends";
}

TEST_F(RemoteHeadTest, HeadThatWentOnAfterAStopIsStoppedForGood) {
  camera.heedsStop = false;
  RemoteHead head(settings(), {}, announce());
  drive(&head);
  head.command({.pan = {MoveKind::continuous, 0},
                .tilt = {MoveKind::continuous, 0},
                .zoom = {MoveKind::continuous, 0},
                .speed = 0});
  ASSERT_TRUE(iterateUntil([&] {
    return !camera.timesOf("Stop").empty() && head.toldStatus() && head.toldStatus()->moving();
  }));
  head.stopForGood();
  EXPECT_EQ(0, camera.speed) << "before this ends";
}

TEST_F(RemoteHeadTest, PresetsAreCountedOnce) {
  RemoteHead head(foundAnew(), {}, announce());
  ASSERT_TRUE(iterateUntil([&] { return !head.presets().empty(); }));
  ASSERT_TRUE(iterateUntil([this] { return camera.timesOf("GetPresets").size() >= 3; }));
  const std::size_t asked = camera.timesOf("GetStatus").size();
  ASSERT_TRUE(iterateUntil([&] { return camera.timesOf("GetStatus").size() > asked + 2; }));
  const auto presets = head.presets();
  EXPECT_EQ(2U, presets.size());
  EXPECT_TRUE(presets.contains(1));
  EXPECT_TRUE(presets.contains(7));
}

TEST_F(RemoteHeadTest, HeadWithoutMetadataIsNotLookedForAgain) {
  RemoteHead head(withMetadata(), {}, announce());
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus().has_value(); }));
  const std::int64_t begun = g_get_monotonic_time();
  ASSERT_TRUE(iterateUntil(
      [&] { return g_get_monotonic_time() - begun > GrowingPause::FIRST + 200 * MS; }));
  EXPECT_EQ(1U, camera.timesOf("GetProfiles").size());
  EXPECT_THAT(announced, Not(Contains(HasSubstr("metadata")))) << "it is polled";
}

// What it answers after the Stop is from before it.
TEST_F(RemoteHeadTest, HeadThatIsLateToTellAndGoesOnAfterAStopIsStoppedAgain) {
  camera.heedsStop = false;
  camera.statusDelay = 400;
  RemoteHead head(settings(), {}, announce());
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus().has_value(); }));
  const std::size_t asked = camera.timesOf("GetStatus").size();
  ASSERT_TRUE(iterateUntil([&] { return camera.timesOf("GetStatus").size() > asked; }));
  head.command({.pan = {MoveKind::continuous, 40}, .tilt = {}, .zoom = {}});
  ASSERT_TRUE(iterateUntil([this] { return camera.speed != 0; }));
  head.command({.pan = {MoveKind::continuous, 0},
                .tilt = {MoveKind::continuous, 0},
                .zoom = {MoveKind::continuous, 0},
                .speed = 0});
  EXPECT_TRUE(iterateUntil([this] { return camera.speed == 0; })) << "by speeds of zero";
  EXPECT_EQ(1U, camera.timesOf("Stop").size());
}

// Its status is asked for ten times a second, and its metadata come twenty times, from long ago.
TEST_F(RemoteHeadTest, MetadataThatComeLateDoNotCountAsNew) {
  camera.tellsTime = true;
  camera.pan = 0.25;
  tellByMetadata(-0.5, onvif::dateTimeText(g_get_real_time() - 5000 * MS));
  RemoteHead head(withMetadata(), {}, announce());
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus().has_value() && rtsp.played > 0; }));
  int polls = 0;
  int late = 0;
  std::size_t asked = 0;
  ASSERT_TRUE(iterateUntil([&] {
    polls += camera.timesOf("GetStatus").size() != asked ? 1 : 0;
    asked = camera.timesOf("GetStatus").size();
    late += head.presentStatus().pan < 0 ? 1 : 0;
    return polls > 10;
  }));
  EXPECT_EQ(0, late);
  EXPECT_DOUBLE_EQ(45, head.presentStatus().pan) << "a quarter of the way";
}

// Its clock is set back while it answers no question for its status.
TEST_F(RemoteHeadTest, MetadataSetTheirOwnClockWhileNoPollIsAnswered) {
  constexpr std::int64_t HOUR = 3600000 * MS;
  camera.tellsTime = true;
  camera.pan = 0.25;
  tellByMetadata(0.25, onvif::dateTimeText(g_get_real_time()));
  RemoteHead head(withMetadata(), {}, announce());
  ASSERT_TRUE(iterateUntil([&] {
    tellByMetadata(0.25, onvif::dateTimeText(g_get_real_time()));
    return head.toldStatus().has_value() && rtsp.played > 0;
  }));
  camera.hasNoStatus = true;
  EXPECT_TRUE(iterateUntil([&] {
    tellByMetadata(-0.5, onvif::dateTimeText(g_get_real_time() - HOUR));
    return head.toldStatus() && head.toldStatus()->pan == -90;
  }));
}

TEST_F(RemoteHeadTest, MetadataThatTellOneTimeOverAndOverMakeNoStatusNew) {
  camera.hasNoStatus = true;
  tellByMetadata(0.25, onvif::dateTimeText(g_get_real_time()));
  RemoteHead head(withMetadata(), {}, announce());
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus().has_value(); }));
  ASSERT_TRUE(iterateUntil([&] { return !head.toldStatus(); }));
  tellByMetadata(0.25, onvif::dateTimeText(g_get_real_time()));
  EXPECT_TRUE(iterateUntil([&] { return head.toldStatus().has_value(); })) << "it goes on";
}

// The pauses between questions that are not answered have grown meanwhile.
TEST_F(RemoteHeadTest, HeadIsPolledAtOnceWhenMetadataThatDidInsteadFallSilent) {
  camera.hasNoStatus = true;
  tellByMetadata(0.25, onvif::dateTimeText(g_get_real_time()));
  RemoteHead head(withMetadata(), {}, announce());
  ASSERT_TRUE(iterateUntil([&] {
    tellByMetadata(0.25, onvif::dateTimeText(g_get_real_time()));
    return camera.timesOf("GetStatus").size() == 3;
  }));
  rtsp.isSilent = true;
  camera.hasNoStatus = false;
  ASSERT_TRUE(iterateUntil([this] { return camera.timesOf("GetStatus").size() > 3; }));
  const auto asked = camera.timesOf("GetStatus");
  EXPECT_LT(asked[3] - asked[2], 4 * GrowingPause::FIRST);
}

TEST_F(RemoteHeadTest, HeadWhoseStreamFailsIsNotFoundAnewForIt) {
  rtsp.document = "<tt:MetadataStream></tt:MetadataStream>";
  camera.streamUri = "rtsp://127.0.0.1:1/metadata";  // nobody listens there
  RemoteHead head(withMetadata(), {}, announce());
  ASSERT_TRUE(iterateUntil([this] { return camera.timesOf("GetStreamUri").size() == 2; }));
  EXPECT_TRUE(head.toldStatus()) << "it is polled";
  camera.streamUri = rtsp.uri();
  ASSERT_TRUE(iterateUntil([this] { return rtsp.played > 0; })) << "the stream is tried again";
  const auto asked = camera.timesOf("GetStreamUri");
  ASSERT_EQ(3U, asked.size());
  EXPECT_GE(asked[1] - asked[0], GrowingPause::FIRST);
  EXPECT_GE(asked[2] - asked[1], 2 * GrowingPause::FIRST);
  EXPECT_EQ(1U, camera.timesOf("GetProfiles").size());
  EXPECT_EQ(1U, camera.timesOf("GetNodes").size());
}

// It is busy when it is found, and says that it cannot; three refusals are taken for an answer.
TEST_F(RemoteHeadTest, HeadThatRefusedToSayWhatItCanIsAskedOnWhileItWorks) {
  camera.isInDegrees = true;
  camera.isBusy = true;
  camera.pan = 0.25;
  RemoteHead head(settings(), {}, announce());
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus().has_value(); }));
  EXPECT_EQ(45, head.toldStatus()->pan) << "as the user tells it";
  drive(&head);
  const std::size_t asked = camera.timesOf("GetNodes").size();
  camera.isBusy = false;
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus() && head.toldStatus()->pan < 1; }))
      << "in its own degrees";
  EXPECT_EQ(asked + 1, camera.timesOf("GetNodes").size());
  EXPECT_EQ(1U, camera.timesOf("GetProfiles").size()) << "it was not found anew";
}

TEST_F(RemoteHeadTest, HeadThatIsKnownToIgnoreItsTimeoutIsNamedAtTheStart) {
  HeadSettings told = settings();
  told.heedsTimeout = false;
  const RemoteHead head(told, {}, announce());
  EXPECT_THAT(announced, testing::ElementsAre(testing::AllOf(
                             HasSubstr("does not stop by itself when its time is over"),
                             HasSubstr("this bridge alone stops it"))));
}

}  // namespace
}  // namespace device::bridge
