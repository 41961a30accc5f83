// The bridge's cameras against the product's own ONVIF side, in one process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "bridge/overview_cameras.h"
#include "bridge/remote_head.h"
#include "bridge/remote_overview.h"
#include "device_services/private_bus.h"
#include "onvif_server/onvif_camera.h"
#include "support/source_folder.h"

namespace device::bridge {
namespace {

using testing::Each;
using testing::HasSubstr;

constexpr char USER[] = "anna";

class RemoteCameraTest : public testing::Test {
 protected:
  RemoteCameraTest() : model(loadModel(modelsFolder(), "perfect")) { start("secret word"); }

  // At the same port as before, if there was one.
  void start(const std::string& password) {
    options.user = WebUser{USER, password};
    camera = std::make_unique<onvif::OnvifCamera>(
        options, onvif::OnvifSources{model, world, drive, events, [] { return 20.0; },
                                     [](const std::string&) {}});
    options.port = camera->port();
  }

  OverviewSettings overviewSettings() const {
    OverviewSettings settings;
    settings.address = {camera->url(), USER, "overview1"};
    return settings;
  }

  // Somebody is seen by the camera, if it is there, until it is told.
  bool isSeenAnew() {
    frames.clear();
    Frame sent;
    sent.objects.push_back(
        {.id = 7, .box = {{{0, 0}, {0, 99}, {99, 99}, {99, 0}}}, .outline = {}, .velocity = {}});
    return iterateUntil([&] {
      sent.timestamp = g_get_monotonic_time();
      camera->frame(0, sent);
      return !frames.empty() && !frames.back().objects.empty();
    });
  }

  HeadSettings headSettings() const {
    HeadSettings settings;
    settings.address = {camera->url(), USER, "head"};
    settings.told.fieldAngles = {2.5, 63.4};
    return settings;
  }

  Announce announce() {
    return [this](const std::string& text) { announced.push_back(text); };
  }

  DbusDaemon bus;
  GObjectPtr<GDBusConnection> connection = connectToSystemBus();
  EventService events{connection.get()};
  Model model;
  World world{model.world, {}};
  HeadDrive drive{model.head, g_get_monotonic_time};
  onvif::OnvifOptions options;
  std::unique_ptr<onvif::OnvifCamera> camera;
  std::vector<std::string> announced;
  std::vector<Frame> frames;
};

TEST_F(RemoteCameraTest, HeadIsMovedAndSaysWhereItIsInDegrees) {
  RemoteHead head(headSettings(), {USER, "secret word"}, announce());
  EXPECT_EQ(nullptr, head.parameters()) << "nothing is known yet";
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus().has_value(); }));
  EXPECT_NEAR(-3.6, head.toldStatus()->tilt, 0.01);
  ASSERT_NE(nullptr, head.parameters());
  EXPECT_EQ("634", head.parameters()->at("PTZ.Limit.L1.MaxFieldAngle"));
  EXPECT_EQ("-90.00", head.parameters()->at("PTZ.Limit.L1.MinTilt"));
  EXPECT_FALSE(head.parameters()->contains("PTZ.Limit.L1.MinPan")) << "it turns for ever";

  head.command({.pan = {MoveKind::continuous, 40}, .tilt = {}, .zoom = {MoveKind::continuous, 50}});
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus() && head.toldStatus()->pan > 10; }));
  EXPECT_GT(head.toldStatus()->zoom, 50);
  EXPECT_TRUE(head.toldStatus()->panMoving);
  EXPECT_GT(drive.getHead().status().pan, 10);
  ASSERT_TRUE(iterateUntil([&] { return !drive.getHead().status().moving(); }))
      << "as nobody commands any more";
  EXPECT_THAT(announced, Each(HasSubstr("it will follow late"))) << "if the machine is slow";
}

TEST_F(RemoteCameraTest, HeadIsStoppedAtTheEnd) {
  RemoteHead head(headSettings(), {USER, "secret word"}, announce());
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus().has_value(); }));
  head.command({.pan = {MoveKind::continuous, 100}, .tilt = {}, .zoom = {}});
  ASSERT_TRUE(iterateUntil([&] { return drive.getHead().status().pan > 5; }));
  head.stopForGood();
  EXPECT_FALSE(drive.getHead().status().moving()) << "before this ends";
}

TEST_F(RemoteCameraTest, PresetsAndTheWayHomeAreTheHeads) {
  RemoteHead head(headSettings(), {USER, "secret word"}, announce());
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus().has_value(); }));
  EXPECT_FALSE(head.goToPreset(3, 100));
  ASSERT_TRUE(head.setPreset(3));
  ASSERT_TRUE(iterateUntil([&] { return head.presets().contains(3); }));
  EXPECT_EQ(1U, drive.getHead().getPresets().size());
  head.command({.pan = {MoveKind::absolute, 20}, .tilt = {MoveKind::absolute, -30}, .zoom = {}});
  ASSERT_TRUE(iterateUntil([&] {
    const HeadStatus status = drive.getHead().status();
    return status.pan > 19.99 && status.tilt < -29.99;
  }));
  ASSERT_TRUE(iterateUntil([&] { return head.toldStatus() && head.toldStatus()->pan > 19.9; }))
      << "it is seen there";
  ASSERT_TRUE(head.goToPreset(3, 100));
  ASSERT_TRUE(iterateUntil([&] { return head.presetHere() == 3; }));
  EXPECT_NEAR(0, drive.getHead().status().pan, 0.01);
}

TEST_F(RemoteCameraTest, WrongPasswordIsTold) {
  const RemoteHead head(headSettings(), {USER, "guess"}, announce());
  ASSERT_TRUE(iterateUntil([&] { return !announced.empty(); }));
  EXPECT_THAT(announced[0], HasSubstr("password"));
  EXPECT_THAT(announced[0], testing::Not(HasSubstr("guess")));
}

TEST_F(RemoteCameraTest, FramesOfTheAnalyticsComeAsTheyWere) {
  OverviewSettings settings;
  settings.address = {camera->url(), USER, "overview1"};
  const RemoteOverview overview(
      settings, {USER, "secret word"}, [&](const Frame& frame) { frames.push_back(frame); },
      announce());
  Frame sent;
  sent.objects.push_back({.id = 7,
                          .box = {{{-2048, -1024}, {-2048, 1024}, {-1024, 1024}, {-1024, -1024}}},
                          .outline = {{-2048, -1024}, {-1024, -1024}, {-1500, 1024}},
                          .velocity = {100, 0}});
  ASSERT_TRUE(iterateUntil([&] {
    sent.timestamp = g_get_monotonic_time();
    camera->frame(0, sent);
    return frames.size() >= 3;
  }));
  const Frame& frame = frames.back();
  ASSERT_EQ(1U, frame.objects.size());
  EXPECT_EQ(1, frame.objects[0].id) << "a number of its own";
  EXPECT_EQ(sent.objects[0].box, frame.objects[0].box);
  EXPECT_EQ(sent.objects[0].outline, frame.objects[0].outline);
  EXPECT_LE(frame.timestamp, g_get_monotonic_time());
  EXPECT_GT(frame.timestamp, g_get_monotonic_time() - 2000000);
  const auto merged = FrameEvent{FrameAction::deletion, {7}, {}};
  sent.objects.clear();
  sent.events.push_back(merged);
  camera->frame(0, sent);
  ASSERT_TRUE(iterateUntil([&] { return !frames.back().events.empty(); }));
  EXPECT_EQ((FrameEvent{FrameAction::deletion, {1}, {}}), frames.back().events[0]);
}

TEST_F(RemoteCameraTest, CameraThatGoesIsToldAndItsObjectsGo) {
  OverviewSettings settings;
  settings.address = {camera->url(), USER, "overview1"};
  const RemoteOverview overview(
      settings, {USER, "secret word"}, [&](const Frame& frame) { frames.push_back(frame); },
      announce());
  Frame sent;
  sent.objects.push_back(
      {.id = 7, .box = {{{0, 0}, {0, 99}, {99, 99}, {99, 0}}}, .outline = {}, .velocity = {}});
  ASSERT_TRUE(iterateUntil([&] {
    sent.timestamp = g_get_monotonic_time();
    camera->frame(0, sent);
    return !frames.empty();
  }));
  camera.reset();
  ASSERT_TRUE(iterateUntil([&] { return !announced.empty() && !frames.back().events.empty(); }));
  EXPECT_EQ(FrameAction::deletion, frames.back().events[0].action);
}

// Its clients' connections are closed, and all that it knew of them is gone.
TEST_F(RemoteCameraTest, CameraThatStartsAnewIsHeardAgainEachTime) {
  const RemoteOverview overview(
      overviewSettings(), {USER, "secret word"},
      [this](const Frame& frame) { frames.push_back(frame); }, announce());
  ASSERT_TRUE(isSeenAnew());
  int number = frames.back().objects[0].id;
  for (int i = 0; i < 2; ++i) {
    frames.clear();
    camera.reset();
    ASSERT_TRUE(iterateUntil([&] { return !frames.empty() && !frames.back().events.empty(); }));
    EXPECT_EQ((FrameEvent{FrameAction::deletion, {number}, {}}), frames.back().events[0]);
    start("secret word");
    ASSERT_TRUE(isSeenAnew());
    EXPECT_EQ(number + 1, frames.back().objects[0].id) << "numbers are given once";
    ++number;
  }
  EXPECT_THAT(announced, testing::Contains("The camera is there again"));
}

// The application stays: it would keep alarms, or hand them to a stranger.
TEST_F(RemoteCameraTest, WhoWasToldIsGoneWhenTheCamerasAreSetUpAnewAndNoIdIsGivenTwice) {
  OverviewCameras cameras(
      [this](int channel, const Frame& frame) {
        EXPECT_EQ(0, channel);
        frames.push_back(frame);
      },
      [this](const std::string&, const std::string& text) { announced.push_back(text); });
  const Credentials credentials{{USER, {USER, "secret word"}}};
  OverviewSettings settings = overviewSettings();
  cameras.take({settings}, credentials);
  ASSERT_TRUE(isSeenAnew());
  const int number = frames.back().objects[0].id;
  for (int i = 1; i <= 2; ++i) {
    frames.clear();
    settings.wishes.likelihood -= 0.1;
    cameras.take({settings}, credentials);
    ASSERT_EQ(1U, frames.size());
    ASSERT_EQ(1U, frames[0].events.size());
    EXPECT_EQ((FrameEvent{FrameAction::deletion, {number + i - 1}, {}}), frames[0].events[0]);
    ASSERT_TRUE(isSeenAnew());
    EXPECT_EQ(number + i, frames.back().objects[0].id);
  }
}

TEST_F(RemoteCameraTest, CameraThatIsReadAsBeforeGoesOnWithItsObjects) {
  std::vector<std::string> names;
  OverviewCameras cameras(
      [this](int, const Frame& frame) { frames.push_back(frame); },
      [&](const std::string& name, const std::string&) { names.push_back(name); });
  const Credentials credentials{{USER, {USER, "secret word"}}};
  OverviewSettings settings = overviewSettings();
  cameras.take({settings}, credentials);
  ASSERT_TRUE(isSeenAnew());
  const int number = frames.back().objects[0].id;
  frames.clear();
  settings.name = "Gate";
  settings.pan = 20;
  settings.horizontalFov = 70;
  cameras.take({settings}, credentials);
  EXPECT_TRUE(frames.empty());
  ASSERT_TRUE(isSeenAnew());
  EXPECT_EQ(number, frames.back().objects[0].id);
  camera.reset();
  ASSERT_TRUE(iterateUntil([&] { return !names.empty(); }));
  EXPECT_EQ("Gate", names.back()) << "as it is called now";
  frames.clear();
  cameras.take({settings}, {{USER, {USER, "another word"}}});
  start("another word");
  ASSERT_TRUE(isSeenAnew());
  EXPECT_LT(number, frames.back().objects[0].id) << "whoever logs in otherwise begins anew";
}

TEST_F(RemoteCameraTest, PasswordThatWasChangedIsToldOnceAndGoodAgainWhenItIsBack) {
  const RemoteOverview overview(
      overviewSettings(), {USER, "secret word"},
      [this](const Frame& frame) { frames.push_back(frame); }, announce());
  ASSERT_TRUE(isSeenAnew());
  camera.reset();
  start("another word");
  const auto isPassword = [](const std::string& text) {
    return text.find("does not accept the user or the password") != std::string::npos;
  };
  ASSERT_TRUE(iterateUntil([&] { return std::ranges::any_of(announced, isPassword); }));
  camera.reset();
  start("secret word");
  ASSERT_TRUE(isSeenAnew());
  EXPECT_EQ(1, std::ranges::count_if(announced, isPassword));
  EXPECT_EQ("The camera is there again", announced.back());
}

}  // namespace
}  // namespace device::bridge
