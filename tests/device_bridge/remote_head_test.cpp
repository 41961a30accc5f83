// A head that does not do as it should, over real sockets.
#include "bridge/remote_head.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fake_camera.h"
#include "onvif/ptz_space.h"
#include "onvif/time_text.h"
#include "scripted_rtsp.h"

namespace device::bridge {
namespace {

using onvif::answered;
using onvif::Attribute;
using onvif::FakeAnswer;
using onvif::FakeCamera;
using onvif::FakeRequest;
using onvif::Tag;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr std::int64_t MS = 1000;
namespace ns = onvif::ns;

// One that tells generic positions and, once it was driven, moves on until something stops it.
class ScriptedHead {
 public:
  std::string url() const { return camera.url(); }

  // When an operation was asked for, since the beginning.
  std::vector<std::int64_t> timesOf(const std::string& operation) const {
    std::vector<std::int64_t> times;
    for (std::size_t i = 0; i < camera.requests.size(); ++i) {
      if (camera.requests[i].operation == operation) {
        times.push_back(when[i]);
      }
    }
    return times;
  }

  std::string lastBodyOf(const std::string& operation) const {
    std::string body;
    for (const FakeRequest& request : camera.requests) {
      body = request.operation == operation ? request.body : body;
    }
    return body;
  }

  bool hasStop = true;
  bool heedsStop = true;
  std::string stopTrouble;   // words of the fault that each Stop gets
  bool isInDegrees = false;  // and says so, if it is not busy
  bool isBusy = false;       // with its start
  bool isMoveLate = false;   // its answer to a motion, by 300 ms
  std::string streamUri;     // of its metadata; empty: it has none
  bool isStuckMoving = false;
  bool tellsTime = false;  // in its status
  bool takesTimeout = true;
  unsigned statusDelay = 0;  // milliseconds
  double pan = 0;
  double speed = 0;

 private:
  FakeAnswer answer(const FakeRequest& request) {
    when.push_back(g_get_monotonic_time());
    if (request.operation == "GetServices") {
      const auto service = [this](const char* name) {
        return Tag("tds:Service", Tag("tds:Namespace", name), Tag("tds:XAddr", camera.url()));
      };
      return answered(Tag("tds:GetServicesResponse", service(ns::MEDIA2), service(ns::PTZ)));
    }
    if (request.operation == "GetProfiles") {
      Tag parts("tr2:Configurations", Tag("tr2:PTZ", Attribute("token", "ptz")));
      if (!streamUri.empty()) {
        parts.add(Tag("tr2:Metadata", Attribute("token", "m")));
      }
      return answered(
          Tag("tr2:GetProfilesResponse", Tag("tr2:Profiles", Attribute("token", "p1"),
                                             Tag("tr2:Name", "main"), std::move(parts))));
    }
    if (request.operation == "GetStreamUri") {
      return answered(Tag("tr2:GetStreamUriResponse", Tag("tr2:Uri", streamUri)));
    }
    const bool isFact = request.operation == "GetNodes" || request.operation == "GetConfigurations";
    if (isFact && isInDegrees) {
      return isBusy ? onvif::faulted(
                          onvif::Fault(onvif::FaultCode::receiver, {"ter:Action"}, "Busy"), 500)
                    : answered(request.operation == "GetNodes" ? nodes() : configurations());
    }
    if (request.operation == "GetPresets") {
      return answered(Tag("tptz:GetPresetsResponse",
                          Tag("tptz:Preset", Attribute("token", "door"), Tag("tt:Name", "door")),
                          Tag("tptz:Preset", Attribute("token", "7"), Tag("tt:Name", "seven"))));
    }
    if (request.operation == "GetStatus") {
      return status();
    }
    if (!takesTimeout && request.body.find("Timeout") != std::string::npos) {
      return onvif::faulted(onvif::Fault(onvif::FaultCode::sender,
                                         {"ter:InvalidArgVal", "ter:TimeoutNotSupported"}, "No"),
                            400);
    }
    if (request.operation == "Stop" && !stopTrouble.empty()) {
      return onvif::faulted(onvif::Fault(onvif::FaultCode::receiver, {"ter:Action"}, stopTrouble),
                            500);
    }
    if (request.operation == "Stop" && !heedsStop) {
      return answered(Tag("tptz:StopResponse"));
    }
    const bool isMove = request.operation == "ContinuousMove";
    const bool isStop = request.operation == "Stop" && hasStop;
    if (isMove || isStop) {
      speed = isMove && request.body.find("x=\"0\"") == std::string::npos ? 1 : 0;
      FakeAnswer done = answered(Tag(isMove ? "tptz:ContinuousMoveResponse" : "tptz:StopResponse"));
      done.delay = isMove && isMoveLate ? 300 : 0;
      return done;
    }
    return onvif::faulted(
        onvif::Fault(onvif::FaultCode::receiver, {"ter:ActionNotSupported"}, "No"), 500);
  }

  static Tag nodes() {
    const auto range = [](const char* name, double end) {
      return Tag(name, Tag("tt:Min", -end), Tag("tt:Max", end));
    };
    return Tag(
        "tptz:GetNodesResponse",
        Tag("tptz:PTZNode", Attribute("token", "n"),
            Tag("tt:SupportedPTZSpaces", Tag("tt:AbsolutePanTiltPositionSpace",
                                             Tag("tt:URI", onvif::space::POSITION_DEGREES),
                                             range("tt:XRange", 180), range("tt:YRange", 90)))));
  }

  static Tag configurations() {
    return Tag("tptz:GetConfigurationsResponse",
               Tag("tptz:PTZConfiguration", Attribute("token", "ptz"),
                   Tag("tt:DefaultAbsolutePantTiltPositionSpace", onvif::space::POSITION_DEGREES)));
  }

  FakeAnswer status() {
    pan = std::min(pan + 0.002 * speed, 0.9);
    const char* moves = isStuckMoving || speed != 0 ? "MOVING" : "IDLE";
    FakeAnswer told = answered(
        Tag("tptz:GetStatusResponse",
            Tag("tptz:PTZStatus",
                Tag("tt:Position", Tag("tt:PanTilt", Attribute("x", pan), Attribute("y", 0.0))),
                Tag("tt:MoveStatus", Tag("tt:PanTilt", moves), Tag("tt:Zoom", "IDLE")),
                tellsTime ? std::optional(Tag("tt:UtcTime", onvif::dateTimeText(g_get_real_time())))
                          : std::nullopt)));
    told.delay = statusDelay;
    return told;
  }

  std::vector<std::int64_t> when;
  FakeCamera camera{[this](const FakeRequest& request) { return answer(request); }};
};

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

  // Found anew each second, as its stream breaks whenever it was opened.
  HeadSettings foundAnew() {
    rtsp.document = "<tt:MetadataStream></tt:MetadataStream>";
    rtsp.life = 300000;
    camera.streamUri = rtsp.uri();
    HeadSettings told = settings();
    told.usesMetadata = true;
    return told;
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

TEST_F(RemoteHeadTest, StatusThatIsHalfASecondLateIsToldAndHoldsNoCommandUp) {
  camera.statusDelay = 500;
  RemoteHead head(settings(), {}, announce());
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus().has_value(); }));
  ASSERT_TRUE(iterateUntil([this] { return !announced.empty(); }));
  EXPECT_THAT(announced, Contains(HasSubstr("it will follow late")));
  const std::size_t asked = camera.timesOf("GetStatus").size();
  ASSERT_TRUE(iterateUntil([&] { return camera.timesOf("GetStatus").size() > asked; }));
  drive(&head);  // while a question waits for its answer
  const auto moves = camera.timesOf("ContinuousMove");
  ASSERT_FALSE(moves.empty());
  EXPECT_LT(moves[0] - camera.timesOf("GetStatus").back(), 500 * MS);
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
  const std::int64_t begun = g_get_monotonic_time();
  head.stopForGood();
  const auto stops = camera.timesOf("Stop");
  ASSERT_EQ(1U, stops.size());
  EXPECT_GE(stops[0] - commanded, 300 * MS) << "only when the motion was answered";
  EXPECT_LT(g_get_monotonic_time() - begun, 1000 * MS) << "and not the silence's";
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

// Its stream is broken again and again, and so is found again and again.
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
  HeadSettings told = settings();
  told.usesMetadata = true;
  RemoteHead head(told, {}, announce());
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus().has_value(); }));
  const std::int64_t begun = g_get_monotonic_time();
  ASSERT_TRUE(iterateUntil(
      [&] { return g_get_monotonic_time() - begun > GrowingPause::FIRST + 200 * MS; }));
  EXPECT_EQ(1U, camera.timesOf("GetProfiles").size());
  EXPECT_THAT(announced, Not(Contains(HasSubstr("metadata")))) << "it is polled";
}

// Its status is asked for ten times a second, and its metadata come twenty times, from long ago.
TEST_F(RemoteHeadTest, MetadataThatComeLateDoNotCountAsNew) {
  camera.tellsTime = true;
  camera.pan = 0.25;
  rtsp.document =
      "<tt:MetadataStream xmlns:tt=\"http://www.onvif.org/ver10/schema\"><tt:PTZ><tt:PTZStatus>"
      "<tt:Position><tt:PanTilt x=\"-0.5\" y=\"0\"/></tt:Position><tt:UtcTime>" +
      onvif::dateTimeText(g_get_real_time() - 5000 * MS) +
      "</tt:UtcTime></tt:PTZStatus></tt:PTZ></tt:MetadataStream>";
  camera.streamUri = rtsp.uri();
  HeadSettings told = settings();
  told.usesMetadata = true;
  RemoteHead head(told, {}, announce());
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

}  // namespace
}  // namespace device::bridge
