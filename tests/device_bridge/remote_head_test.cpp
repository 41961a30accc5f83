// A head that does not do as it should, over real sockets.
#include "bridge/remote_head.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "fake_camera.h"

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

  bool hasStop = true;
  bool isStuckMoving = false;
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
      return answered(
          Tag("tr2:GetProfilesResponse",
              Tag("tr2:Profiles", Attribute("token", "p1"), Tag("tr2:Name", "main"),
                  Tag("tr2:Configurations", Tag("tr2:PTZ", Attribute("token", "ptz"))))));
    }
    if (request.operation == "GetStatus") {
      return status();
    }
    const bool isMove = request.operation == "ContinuousMove";
    const bool isStop = request.operation == "Stop" && hasStop;
    if (isMove || isStop) {
      speed = isMove && request.body.find("x=\"0\"") == std::string::npos ? 1 : 0;
      return answered(Tag(isMove ? "tptz:ContinuousMoveResponse" : "tptz:StopResponse"));
    }
    return onvif::faulted(
        onvif::Fault(onvif::FaultCode::receiver, {"ter:ActionNotSupported"}, "No"), 500);
  }

  FakeAnswer status() {
    pan = std::min(pan + 0.002 * speed, 0.9);
    const char* moves = isStuckMoving || speed != 0 ? "MOVING" : "IDLE";
    FakeAnswer told = answered(
        Tag("tptz:GetStatusResponse",
            Tag("tptz:PTZStatus",
                Tag("tt:Position", Tag("tt:PanTilt", Attribute("x", pan), Attribute("y", 0.0))),
                Tag("tt:MoveStatus", Tag("tt:PanTilt", moves), Tag("tt:Zoom", "IDLE")))));
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

}  // namespace
}  // namespace device::bridge
