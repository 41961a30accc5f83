// A camera whose stream breaks, over real sockets.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "bridge/camera_link.h"
#include "fake_camera.h"
#include "scripted_rtsp.h"

namespace device::bridge {
namespace {

using onvif::answered;
using onvif::Attribute;
using onvif::FakeAnswer;
using onvif::FakeCamera;
using onvif::FakeRequest;
using onvif::Tag;
using testing::ElementsAre;
using testing::IsEmpty;

namespace ns = onvif::ns;

constexpr std::int64_t LONG = 60000000;  // no part of a second of the test's machine matters
constexpr char ENDED[] = "The camera has ended the stream";
constexpr char BACK[] = "The camera is there again";

class CameraLinkTest : public testing::Test {
 protected:
  CameraLinkTest() { rtsp.document = "<tt:MetadataStream></tt:MetadataStream>"; }

  FakeAnswer answer(const FakeRequest& request) {
    if (request.operation == "GetServices") {
      return answered(Tag("tds:GetServicesResponse", serviceOf(ns::MEDIA2), serviceOf(ns::PTZ)));
    }
    if (request.operation == "GetProfiles") {
      const std::string token = asked("GetProfiles") == 1 ? "p1" : laterProfile;
      return answered(
          Tag("tr2:GetProfilesResponse",
              Tag("tr2:Profiles", Attribute("token", token), Tag("tr2:Name", "main"),
                  Tag("tr2:Configurations", Tag("tr2:VideoSource", Attribute("token", "v")),
                      Tag("tr2:Analytics", Attribute("token", "a")),
                      Tag("tr2:PTZ", Attribute("token", "z")),
                      Tag("tr2:Metadata", Attribute("token", "m"), Tag("tt:Analytics", true))))));
    }
    if (request.operation == "GetStreamUri") {
      tries.push_back(g_get_monotonic_time());
    }
    if (request.operation == "GetStreamUri" &&
        request.body.find(">" + refusedProfile + "<") != std::string::npos) {
      return onvif::faulted(onvif::Fault(onvif::FaultCode::sender,
                                         {"ter:InvalidArgVal", "ter:NoProfile"}, "No such profile"),
                            400);
    }
    if (request.operation == "GetStreamUri") {
      return answered(Tag("tr2:GetStreamUriResponse", Tag("tr2:Uri", rtsp.uri())));
    }
    return onvif::faulted(
        onvif::Fault(onvif::FaultCode::receiver, {"ter:ActionNotSupported"}, "No"), 500);
  }

  Tag serviceOf(const char* vocabulary) const {
    return Tag("tds:Service", Tag("tds:Namespace", vocabulary), Tag("tds:XAddr", camera.url()));
  }

  void start(const CameraLink::Patience& patience, bool isHead = false) {
    link.emplace(
        CameraAddress{camera.url(), "", ""}, onvif::Login(), isHead, true,
        CameraLink::Callbacks{
            .onFound = [this](const CameraFound& one) { found.push_back(one.profile.token); },
            .onMetadata = [this](const onvif::MetadataArrival&) { ++documents; },
            .onLost = [this] { ++losses; },
            .announce = [this](const std::string& text) { announced.push_back(text); }},
        patience);
  }

  std::ptrdiff_t asked(const std::string& operation) const {
    return std::ranges::count(camera.requests, operation, &FakeRequest::operation);
  }

  // Is told something on the latest of so many connections.
  bool isTold(int connections) {
    if (!iterateUntil([&] { return rtsp.played >= connections; })) {
      return false;
    }
    const int before = documents;
    return iterateUntil([&] { return documents > before; });
  }

  onvif::ScriptedRtsp rtsp;
  FakeCamera camera{[this](const FakeRequest& request) { return answer(request); }};
  std::optional<CameraLink> link;
  std::string laterProfile = "p1";  // that there is from the second time on
  std::string refusedProfile = "none";
  std::vector<std::int64_t> tries;  // when it was asked where its stream is
  std::vector<std::string> found;
  std::vector<std::string> announced;
  int documents = 0;
  int losses = 0;
};

TEST_F(CameraLinkTest, StreamThatTheCameraClosesOverAndOverIsOpenedAgainWithoutAWord) {
  rtsp.life = 500000;
  start({.lived = 0, .inTime = LONG});
  ASSERT_TRUE(isTold(4));
  EXPECT_EQ(0, losses) << "who was there before is there still";
  EXPECT_THAT(announced, IsEmpty()) << "there is nothing to be done about it";
  EXPECT_EQ(1, asked("GetStreamUri")) << "it is opened where it was";
}

// Of the product's own patience: ten seconds are long enough to have lived.
TEST_F(CameraLinkTest, StreamThatIsClosedAfterTwoSecondsHasLived) {
  rtsp.life = 2000000;
  start(CameraLink::Patience());
  ASSERT_TRUE(isTold(1));
  ASSERT_TRUE(iterateUntil([this] { return rtsp.played == 2; }));
  EXPECT_EQ(1, asked("GetStreamUri")) << "it is opened where it was";
}

TEST_F(CameraLinkTest, StreamThatBreaksBeforeItHasLivedIsTriedAfterTheFirstPauseEachTime) {
  rtsp.life = 200000;
  start({.lived = LONG, .inTime = LONG});
  ASSERT_TRUE(isTold(1));
  ASSERT_TRUE(iterateUntil([this] { return losses == 1; }));
  EXPECT_THAT(announced, ElementsAre(ENDED));
  ASSERT_TRUE(isTold(6));
  ASSERT_EQ(6U, tries.size()) << "the camera may be another one by now";
  for (std::size_t i = 1; i < tries.size(); ++i) {
    EXPECT_GE(tries[i] - tries[i - 1], GrowingPause::FIRST);
  }
  EXPECT_LT(tries[5] - tries[4], 8 * GrowingPause::FIRST)
      << "a pause that grows would be twice that";
  EXPECT_EQ(BACK, announced.back());
}

TEST_F(CameraLinkTest, StreamThatIsOpenedAgainAndTellsNothingIsLost) {
  rtsp.life = 500000;
  start({.lived = 0, .inTime = 200000});
  ASSERT_TRUE(isTold(1));
  rtsp.isSilent = true;
  ASSERT_TRUE(iterateUntil([this] { return rtsp.played == 2; }));
  rtsp.life = 0;
  ASSERT_TRUE(iterateUntil([this] { return losses > 0; }));
  EXPECT_THAT(announced, ElementsAre(ENDED));
  const int before = documents;
  rtsp.isSilent = false;
  ASSERT_TRUE(iterateUntil([&] { return documents > before; }));
  EXPECT_THAT(announced, ElementsAre(ENDED, BACK));
  EXPECT_EQ(2, rtsp.played) << "it was waited for all the same";
}

TEST_F(CameraLinkTest, HeadWhoseProfileIsGoneIsFoundAnewByTheOneThatThereIs) {
  refusedProfile = "p1";
  laterProfile = "p2";
  start(CameraLink::Patience(), true);
  ASSERT_TRUE(isTold(1)) << "by the profile that there is";
  EXPECT_THAT(found, ElementsAre("p1", "p2"));
  EXPECT_EQ(BACK, announced.back());
}

TEST_F(CameraLinkTest, HeadThatDeniesTheProfileThatItTellsIsFoundOnce) {
  refusedProfile = "p1";
  start(CameraLink::Patience(), true);
  ASSERT_TRUE(iterateUntil([this] { return asked("GetStreamUri") == 2; }));
  EXPECT_EQ(2, asked("GetProfiles")) << "another one might have been there";
  EXPECT_THAT(found, ElementsAre("p1")) << "what is known of it stays";
}

}  // namespace
}  // namespace device::bridge
