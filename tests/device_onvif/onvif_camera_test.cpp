#include "onvif_server/onvif_camera.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "device_onvif/call.h"
#include "device_onvif/jpeg_picture.h"
#include "device_onvif/rtsp_reader.h"
#include "device_services/private_bus.h"
#include "device_web/digest_client.h"
#include "device_web/web_client.h"
#include "onvif/time_text.h"
#include "support/source_folder.h"

namespace device::onvif {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

std::uint32_t declareMotionAlarm(EventService& events, bool state) {
  return events.declare(
      {{.name = "topic0", .nameSpace = "tns1", .value = std::string("VideoSource")},
       {.name = "topic1", .nameSpace = "tns1", .value = std::string("MotionAlarm")},
       {.name = "Source", .value = 1, .isSource = true},
       {.name = "State", .value = state, .isData = true}},
      false);
}

class OnvifCameraTest : public testing::Test {
 protected:
  OnvifCameraTest() : model(loadModel(modelsFolder(), "ideal")) {}

  void start(const std::string& address) { startBefore(world, address); }

  void startBefore(const World& shown, const std::string& address) {
    options.address = address;
    camera = std::make_unique<OnvifCamera>(
        options, OnvifSources{model, shown, drive, events, [this] { return seconds; },
                              [this](const std::string& text) { announced.push_back(text); }});
  }

  std::string streamAddress(const std::string& profile) {
    WebClient client(camera->port());
    client.request("POST", "/onvif/media_service",
                   "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Body>"
                   "<GetStreamUri xmlns=\"http://www.onvif.org/ver20/media/wsdl\">"
                   "<ProfileToken>" +
                       profile + "</ProfileToken></GetStreamUri></s:Body></s:Envelope>");
    const std::string body = client.response().body;
    const std::size_t begin = body.find("rtsp://");
    return body.substr(begin, body.find('<', begin) - begin);
  }

  void synchronize(const std::string& profile) {
    WebClient client(camera->port());
    client.request("POST", "/onvif/media_service",
                   "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Body>"
                   "<SetSynchronizationPoint xmlns=\"http://www.onvif.org/ver20/media/wsdl\">"
                   "<ProfileToken>" +
                       profile + "</ProfileToken></SetSynchronizationPoint></s:Body></s:Envelope>");
    EXPECT_EQ(200, client.response().status);
  }

  DbusDaemon bus;
  GObjectPtr<GDBusConnection> connection = connectToSystemBus();
  EventService events{connection.get()};
  Model model;
  World world{model.world, {}};
  HeadDrive drive{model.head, g_get_monotonic_time};
  double seconds = 20;  // somebody is there by then
  OnvifOptions options;
  std::vector<std::string> announced;
  std::unique_ptr<OnvifCamera> camera;
};

TEST_F(OnvifCameraTest, AllServicesAreBehindOneAddress) {
  start("127.0.0.1");
  EXPECT_EQ("http://127.0.0.1:" + std::to_string(camera->port()) + "/onvif/device_service",
            camera->url());
  for (const char* operation :
       {"<GetScopes xmlns=\"http://www.onvif.org/ver10/device/wsdl\"/>",
        "<GetProfiles xmlns=\"http://www.onvif.org/ver10/media/wsdl\"/>",
        "<GetProfiles xmlns=\"http://www.onvif.org/ver20/media/wsdl\"/>",
        "<GetNodes xmlns=\"http://www.onvif.org/ver20/ptz/wsdl\"/>",
        "<GetEventProperties xmlns=\"http://www.onvif.org/ver10/events/wsdl\"/>"}) {
    WebClient client(camera->port());
    client.request("POST", "/onvif/device_service",
                   std::string("<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\">"
                               "<s:Body>") +
                       operation + "</s:Body></s:Envelope>");
    EXPECT_EQ(200, client.response().status) << operation;
  }
}

TEST_F(OnvifCameraTest, PictureOfEachProfileIsAJpegOfItsSize) {
  start("127.0.0.1");
  for (const char* token : {"head", "overview1"}) {
    WebClient client(camera->port());
    const WebResponse response = client.get(std::string("/onvif/snapshot/") + token);
    EXPECT_EQ(200, response.status);
    EXPECT_EQ("image/jpeg", response.headers.at("Content-Type"));
    EXPECT_EQ("\xFF\xD8\xFF", response.body.substr(0, 3));
    // The frame's header: 8 bits, 720 rows, 1280 columns, 3 components.
    EXPECT_THAT(response.body, HasSubstr(std::string("\x08\x02\xD0\x05\x00\x03", 6)));
  }
  EXPECT_EQ(404, WebClient(camera->port()).get("/onvif/snapshot/other").status);
  EXPECT_EQ(405, WebClient(camera->port()).get("/onvif/other").status);
}

TEST_F(OnvifCameraTest, PictureIsANewOneAfterHalfASecond) {
  start("127.0.0.1");
  const auto picture = [&] { return WebClient(camera->port()).get("/onvif/snapshot/head").body; };
  ASSERT_FALSE(world.people(seconds).empty());
  const std::string first = picture();
  drive.getHead().command({.pan = {MoveKind::continuous, 100}, .tilt = {}, .zoom = {}});
  ASSERT_TRUE(iterateUntil([&] { return drive.getHead().status().pan > 5; }));
  seconds += 0.4;
  EXPECT_EQ(first, picture());
  seconds += 0.2;
  EXPECT_NE(first, picture());
}

TEST_F(OnvifCameraTest, ProfilesOfOnePictureHaveOneSnapshot) {
  start("127.0.0.1");
  const auto picture = [&](const std::string& profile) {
    return WebClient(camera->port()).get("/onvif/snapshot/" + profile).body;
  };
  const std::string head = picture("head");
  EXPECT_EQ(head, picture("head_jpeg"));
  EXPECT_NE(head, picture("overview1"));
}

TEST_F(OnvifCameraTest, PictureNeedsTheUser) {
  options.user = WebUser{"anna", "secret word"};
  start("127.0.0.1");
  constexpr char PATH[] = "/onvif/snapshot/head";
  const WebResponse refused = WebClient(camera->port()).get(PATH);
  EXPECT_EQ(401, refused.status);
  const DigestClient login{"anna", "secret word"};
  const std::string nonce = parameterOf(refused.headers.at("WWW-Authenticate"), "nonce");
  EXPECT_EQ(200, WebClient(camera->port()).get(PATH, login.line("GET", PATH, nonce)).status);
}

TEST_F(OnvifCameraTest, StreamIsAtTheHostThatTheClientCalls) {
  start("127.0.0.1");
  WebClient client(camera->port());
  client.request("POST", "/onvif/media_service",
                 "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Body>"
                 "<GetStreamUri xmlns=\"http://www.onvif.org/ver20/media/wsdl\">"
                 "<ProfileToken>overview2</ProfileToken></GetStreamUri></s:Body></s:Envelope>");
  const WebResponse response = client.response();
  EXPECT_EQ(200, response.status);
  EXPECT_THAT(response.body, testing::ContainsRegex("rtsp://127.0.0.1:[0-9]+/overview2<"));
}

// Nobody is there: a wall before the first camera, a tree before the second one, which looks to the
// right of it, and the ground.
TEST_F(OnvifCameraTest, PictureShowsWhatStandsAround) {
  WorldSetup setup = model.world;
  setup.scenery = {{.middle = {-2, 6}, .width = 2, .depth = 0.3, .height = 3}};
  setup.detections.ghosts = {{.kind = GhostKind::tree, .middle = {6, -2}, .width = 2, .length = 3}};
  const World around(setup, {});
  seconds = 0;
  startBefore(around, "127.0.0.1");
  const auto pictureOfCamera = [&](int number) {
    const std::string path = "/onvif/snapshot/overview" + std::to_string(number);
    return pictureOf(WebClient(camera->port()).get(path).body);
  };
  const Picture first = pictureOfCamera(1);
  const Picture second = pictureOfCamera(2);
  const auto colourAt = [&](int number, const SpacePoint& place) {
    const Picture& picture = number == 1 ? first : second;
    const auto point = around.camera(number - 1).project(place);
    EXPECT_TRUE(point);
    return picture.at(static_cast<int>((point->x + 1) / 2 * picture.getWidth()),
                      static_cast<int>((1 - point->y) / 2 * picture.getHeight()));
  };
  const Colour wall = colourAt(1, {-2, 6, 1.5});
  EXPECT_GT(wall.red, wall.green);  // plaster
  const Colour tree = colourAt(2, {6, -2, 1.5});
  const Colour ground = colourAt(2, {6, 0, 0});
  EXPECT_LT(tree.blue, ground.blue * 0.75);
}

// What a client has been told of a kind since it plays the metadata of a stream.
bool hasText(RtspReader& reader, const std::string& text) {
  return std::ranges::any_of(reader.units(), [&](const RtpUnit& document) {
    return document.bytes.find(text) != std::string::npos;
  });
}

TEST_F(OnvifCameraTest, WhoBeginsToPlayIsToldThePresentState) {
  declareMotionAlarm(events, true);
  start("127.0.0.1");
  const std::string address = streamAddress("overview1") + "/metadata";
  const auto feed = [&] {
    camera->frame(0, {.timestamp = g_get_monotonic_time(), .objects = {}, .events = {}});
  };
  RtspReader first(address, "application");
  ASSERT_TRUE(iterateUntil([&] {
    feed();
    return hasText(first, "Initialized");
  }));
  // And who comes later, too.
  RtspReader second(address, "application");
  ASSERT_TRUE(iterateUntil([&] {
    feed();
    return hasText(second, "Initialized");
  }));
}

TEST_F(OnvifCameraTest, HeadThatStandsIsToldOnceASecond) {
  start("127.0.0.1");
  RtspReader reader(streamAddress("head") + "/metadata", "application");
  std::vector<std::int64_t> times;  // microseconds since 1970
  ASSERT_TRUE(iterateUntil([&] {
    times.clear();
    for (const RtpUnit& document : reader.units()) {
      const CallAnswer status = CallAnswer(document.bytes).at("PTZ").at("PTZStatus");
      times.push_back(*readDateTime(status.at("UtcTime").text()));
    }
    return times.size() >= 3;
  }));
  for (std::size_t i = 1; i < times.size(); ++i) {
    EXPECT_GT(times[i] - times[i - 1], 900000);
    EXPECT_LT(times[i] - times[i - 1], 5000000);  // beside whatever else the machine does
  }
}

// Two variants of one stream have a pipeline each.
TEST_F(OnvifCameraTest, WhoStandsMakesNobodyElseHearAnythingAgain) {
  declareMotionAlarm(events, true);
  start("127.0.0.1");
  const std::string address = streamAddress("head") + "/metadata";
  RtspReader plays(address, "application");
  RtspReader stands(address + "/gzip", "application");
  ASSERT_TRUE(iterateUntil([&] { return hasText(plays, "Initialized"); }));
  ASSERT_TRUE(iterateUntil([&] { return stands.units().size() >= 2; }));
  stands.pause();
  const auto documents = [&](const std::string& text) {
    std::vector<RtpUnit> found = plays.units();
    std::erase_if(found, [&](const RtpUnit& document) {
      return document.bytes.find(text) == std::string::npos;
    });
    return found;
  };
  const std::size_t initialized = documents("Initialized").size();
  const std::size_t before = documents("PTZStatus").size();
  ASSERT_TRUE(iterateUntil([&] { return documents("PTZStatus").size() > before; }));
  synchronize("head");
  ASSERT_TRUE(iterateUntil([&] { return documents("PTZStatus").size() >= before + 3; }));
  const std::vector<RtpUnit> told = documents("PTZStatus");
  const auto timeOf = [&](std::size_t i) {
    return *readDateTime(CallAnswer(told[i].bytes).at("PTZStatus").at("UtcTime").text());
  };
  EXPECT_GT(timeOf(before + 2) - timeOf(before + 1), 900000);
  EXPECT_EQ(initialized + 1, documents("Initialized").size());
}

TEST_F(OnvifCameraTest, EventIsInTheMetadataWhenItHappens) {
  const std::uint32_t alarm =
      events.declare({{.name = "topic0", .nameSpace = "tns1", .value = std::string("VideoSource")},
                      {.name = "topic1", .nameSpace = "tns1", .value = std::string("MotionAlarm")},
                      {.name = "Source", .value = 1, .isSource = true},
                      {.name = "State", .value = false, .isData = true}},
                     false);
  start("127.0.0.1");
  RtspReader reader(streamAddress("overview1") + "/metadata", "application");
  ASSERT_TRUE(iterateUntil([&] {
    camera->frame(0, {.timestamp = g_get_monotonic_time(), .objects = {}, .events = {}});
    return hasText(reader, "Initialized");
  }));
  events.send(alarm, {{.name = "State", .value = true, .isData = true}});
  EXPECT_TRUE(iterateUntil([&] { return hasText(reader, "Changed"); }));
}

// Each frame names itself by what it deletes.
TEST_F(OnvifCameraTest, MetadataTellWhenTheirPictureWasTaken) {
  constexpr std::int64_t AGE = 300000;  // microseconds
  start("127.0.0.1");
  RtspReader reader(streamAddress("overview1") + "/metadata", "application");
  std::vector<std::int64_t> taken;  // since 1970
  ASSERT_TRUE(iterateUntil([&] {
    const auto number = static_cast<std::int32_t>(taken.size());
    taken.push_back(g_get_real_time() - AGE);
    camera->frame(0, {.timestamp = g_get_monotonic_time() - AGE,
                      .objects = {},
                      .events = {{.action = FrameAction::deletion, .from = {number}, .to = {}}}});
    return hasText(reader, "Delete");
  }));
  const std::vector<RtpUnit> documents = reader.units();
  const auto document = std::ranges::find_if(documents, [](const RtpUnit& each) {
    return each.bytes.find("Delete") != std::string::npos;
  });
  const CallAnswer frame = CallAnswer(document->bytes).at("Frame");
  const auto number = static_cast<std::size_t>(frame.at("Delete").number("ObjectId"));
  EXPECT_NEAR(taken.at(number), *readDateTime(frame.attribute("UtcTime")), 20000);
}

constexpr char EVENTS[] = "http://www.onvif.org/ver10/events/wsdl";
constexpr char HEADS[] = "http://www.onvif.org/ver20/ptz/wsdl";

// A pull point of the camera, asked by connections of their own.
class CameraEventsTest : public OnvifCameraTest {
 protected:
  CameraEventsTest() { start("127.0.0.1"); }

  static void ask(WebClient& client, const std::string& path, const std::string& nameSpace,
                  const std::string& name, const std::string& content = "") {
    client.request("POST", path,
                   "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Body><" +
                       name + " xmlns=\"" + nameSpace + "\">" + content + "</" + name +
                       "></s:Body></s:Envelope>");
  }
  CallAnswer answerTo(const std::string& path, const std::string& nameSpace,
                      const std::string& name, const std::string& content = "") {
    WebClient client(camera->port());
    ask(client, path, nameSpace, name, content);
    return CallAnswer(client.response().body);
  }
  std::string subscribe() {
    const std::string address =
        answerTo("/onvif/event_service", EVENTS, "CreatePullPointSubscription")
            .at("Address")
            .text();
    return address.substr(address.find("/onvif/"));
  }
  static std::string pullFor(const std::string& time) {
    return "<Timeout>" + time + "</Timeout><MessageLimit>10</MessageLimit>";
  }
  CallAnswer pull(const std::string& point) {
    return answerTo(point, EVENTS, "PullMessages", pullFor("PT0S"));
  }
};

TEST_F(CameraEventsTest, WhatComesForAClientThatHasGoneWaitsForTheNextPull) {
  const std::uint32_t id = declareMotionAlarm(events, false);
  const std::string point = subscribe();
  EXPECT_EQ(1, pull(point).count("NotificationMessage"));
  {
    WebClient client(camera->port());
    ask(client, point, EVENTS, "PullMessages", pullFor("PT20S"));
    // Until it waits there, and nobody else may.
    ASSERT_TRUE(iterateUntil([&] { return pull(point).count("Fault") == 1; }));
  }
  events.send(id, {{.name = "State", .value = true, .isData = true}});
  const CallAnswer told = pull(point);
  EXPECT_EQ(1, told.count("NotificationMessage"));
  EXPECT_EQ("Changed", told.at("Message").at("Message").attribute("PropertyOperation"));
  EXPECT_EQ(0, pull(point).count("NotificationMessage"));
}

TEST_F(CameraEventsTest, PresetIsToldByTheNameThatAClientGaveIt) {
  const std::uint32_t id = events.declare(
      {{.name = "topic0", .nameSpace = "tns1", .value = std::string("PTZController")},
       {.name = "topic1", .nameSpace = "tns1", .value = std::string("PTZPresets")},
       {.name = "PresetToken", .value = -1, .isSource = true},
       {.name = "on_preset", .value = false, .isData = true}},
      false);
  answerTo("/onvif/ptz_service", HEADS, "SetPreset",
           "<ProfileToken>head</ProfileToken><PresetName>gate</PresetName>");
  const std::string point = subscribe();
  events.send(id, {{.name = "PresetToken", .value = 1}, {.name = "on_preset", .value = true}});
  const CallAnswer name = pull(point).at("Data").at("SimpleItem", 1);
  EXPECT_EQ("PresetName", name.attribute("Name"));
  EXPECT_EQ("gate", name.attribute("Value"));
}

// Of the events that happen and of those that are asked for.
TEST_F(OnvifCameraTest, WhoPlaysIsToldEventsAndThePresentStateWhenAskedFor) {
  const std::uint32_t id = declareMotionAlarm(events, false);
  start("127.0.0.1");
  RtspReader reader(streamAddress("overview1") + "/metadata", "application");
  const auto countOf = [&](const std::string& text) {
    return std::ranges::count_if(reader.units(), [&](const RtpUnit& document) {
      return document.bytes.find(text) != std::string::npos;
    });
  };
  ASSERT_TRUE(iterateUntil([&] {
    camera->frame(0, {.timestamp = g_get_monotonic_time(), .objects = {}, .events = {}});
    return countOf("Initialized") == 1;
  }));
  events.send(id, {{.name = "State", .value = true, .isData = true}});
  ASSERT_TRUE(iterateUntil([&] { return countOf("Changed") == 1; }));
  synchronize("overview1_jpeg");
  EXPECT_TRUE(iterateUntil([&] { return countOf("Initialized") == 2; }));
}

TEST_F(OnvifCameraTest, WithoutDiscoveryItGoesOn) {
  start("::1");
  EXPECT_THAT(camera->url(), StartsWith("http://[::1]:"));
  EXPECT_THAT(announced,
              ElementsAre(HasSubstr("Discovery: cannot use any address but one of IPv4")));
}

TEST_F(OnvifCameraTest, ProfilesAreTheHeadAndEveryOverviewCameraInItsProportions) {
  const std::vector<CameraProfile> profiles = cameraProfiles(model, world);
  ASSERT_EQ(10U, profiles.size());
  EXPECT_EQ("head", profiles[0].token);
  EXPECT_EQ("overview4", profiles[4].token);
  EXPECT_EQ("head_jpeg", profiles[5].token);
  EXPECT_EQ("overview4_jpeg", profiles[9].token);
  EXPECT_EQ("overview4", profiles[9].picture());
  EXPECT_EQ(1280, profiles[1].width);
  EXPECT_EQ(720, profiles[1].height);
  const Model rotated = loadModel(modelsFolder(), "rotated");
  const World upright(rotated.world, {});
  EXPECT_EQ(720, cameraProfiles(rotated, upright)[1].width);
  EXPECT_EQ(1280, cameraProfiles(rotated, upright)[1].height);
}

}  // namespace
}  // namespace device::onvif
