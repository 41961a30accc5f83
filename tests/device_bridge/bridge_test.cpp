// The whole bridge, with scripted cameras over real sockets: what a change concerns, and what not.
#include "bridge/bridge.h"

#include <gio/gunixsocketaddress.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "base/json_auto_ptr.h"
#include "device_services/private_bus.h"
#include "device_web/web_client.h"
#include "scripted_head.h"
#include "scripted_rtsp.h"
#include "support/temporary_folder.h"

namespace device::bridge {
namespace {

using testing::HasSubstr;

// One that sees somebody all the time.
class ScriptedOverview {
 public:
  ScriptedOverview() {
    rtsp.document =
        R"(<tt:MetadataStream xmlns:tt="http://www.onvif.org/ver10/schema"><tt:VideoAnalytics>
             <tt:Frame><tt:Object ObjectId="7"><tt:Appearance><tt:Shape>
               <tt:BoundingBox left="-0.5" top="0.5" right="0" bottom="0"/>
               <tt:CenterOfGravity x="-0.25" y="0.25"/>
             </tt:Shape></tt:Appearance></tt:Object></tt:Frame>
           </tt:VideoAnalytics></tt:MetadataStream>)";
  }

  std::string url() const { return camera.url(); }
  std::ptrdiff_t countLooks() const {
    return std::ranges::count(camera.requests, "GetServices", &onvif::FakeRequest::operation);
  }

  onvif::ScriptedRtsp rtsp;

 private:
  onvif::FakeAnswer answer(const onvif::FakeRequest& request) const {
    using onvif::Attribute;
    using onvif::Tag;
    if (request.operation == "GetServices") {
      return onvif::answered(
          Tag("tds:GetServicesResponse", Tag("tds:Service", Tag("tds:Namespace", onvif::ns::MEDIA2),
                                             Tag("tds:XAddr", camera.url()))));
    }
    if (request.operation == "GetProfiles") {
      return onvif::answered(
          Tag("tr2:GetProfilesResponse",
              Tag("tr2:Profiles", Attribute("token", "p1"), Tag("tr2:Name", "main"),
                  Tag("tr2:Configurations", Tag("tr2:VideoSource", Attribute("token", "v")),
                      Tag("tr2:Analytics", Attribute("token", "a")),
                      Tag("tr2:Metadata", Attribute("token", "m"), Tag("tt:Analytics", true))))));
    }
    if (request.operation == "GetStreamUri") {
      return onvif::answered(Tag("tr2:GetStreamUriResponse", Tag("tr2:Uri", rtsp.uri())));
    }
    return onvif::faulted(
        onvif::Fault(onvif::FaultCode::receiver, {"ter:ActionNotSupported"}, "No"), 500);
  }

  onvif::FakeCamera camera{[this](const onvif::FakeRequest& request) { return answer(request); }};
};

class BridgeTest : public testing::Test {
 protected:
  BridgeTest() {
    BridgeOptions options;
    options.log = false;
    options.quiet = true;
    options.web.port = 0;
    options.web.folder = folder.get();
    bridge.emplace(options, files,
                   DevicePaths{.scenes = folder / "scenes",
                               .subscriber = folder / "subscriber",
                               .ptzFolder = folder.get(),
                               .log = folder / "log",
                               .application = folder / "application"},
                   connection.get());
    live.emplace(port());
    live->request("GET", "/live");
    EXPECT_EQ(200, live->response().status);
  }

  std::uint16_t port() const {
    const std::string url = bridge->url();
    return static_cast<std::uint16_t>(std::atoi(url.c_str() + url.rfind(':') + 1));
  }

  std::string written() const {
    std::ifstream stream(folder / "cameras.json");
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  std::filesystem::path settingsFile() const {
    std::ofstream(folder / "cameras.json")
        << R"({"head": {"address": ")" << head.url()
        << R"(", "profile": "p1", "field_angles": [6, 60], "pan_range": [-180, 180],
                "tilt_range": [-90, 90], "metadata": false},
               "cameras": [{"address": ")"
        << gate.url() << R"(", "horizontal_fov": 60, "vertical_fov": 36, "offset_x": 0.5},
                           {"address": ")"
        << yard.url() << R"(", "horizontal_fov": 60, "vertical_fov": 36}]})";
    return folder / "cameras.json";
  }

  std::string setUp(const std::string& method, const std::string& params) {
    const WebResponse answer =
        post(R"({"method": ")" + method + R"(", "params": )" + params + "}", "/api/setup");
    EXPECT_EQ(200, answer.status) << answer.body;
    return answer.body;
  }

  WebResponse post(const std::string& body, const std::string& path) const {
    return WebClient(port()).post(body, path);
  }

  // Reads what the page is told of the scenes until it is so.
  bool isSoonSo(const std::function<bool()>& condition) {
    return iterateUntil([&] {
      readScenes();
      return condition();
    });
  }

  void readScenes() {
    const std::string& all = live->getReceived();
    for (std::size_t end = all.find("\n\n", read); end != std::string::npos;
         end = all.find("\n\n", read)) {
      const std::string message = all.substr(read, end - read);
      read = end + 2;
      const std::string frame = "event: frame\ndata: ";
      if (!message.starts_with(frame)) {
        continue;
      }
      const JsonAutoPtr json(json_loads(message.c_str() + frame.size(), 0, nullptr));
      const json_t* objects = json_object_get(json.get(), "objects");
      auto& seen = ids[static_cast<int>(json_integer_value(json_object_get(json.get(), "camera")))];
      ++seen.frames;
      seen.isEmpty = seen.isEmpty || json_array_size(objects) == 0;
      for (std::size_t i = 0; i < json_array_size(objects); ++i) {
        seen.ids.insert(json_integer_value(json_object_get(json_array_get(objects, i), "id")));
      }
    }
  }

  // Somebody is told by both cameras, and the head moves.
  void begin() {
    ASSERT_TRUE(isSoonSo([this] { return ids[1].frames > 2 && ids[2].frames > 2; }));
    ASSERT_TRUE(iterateUntil([this] { return !head.timesOf("GetStatus").empty(); }));
    ASSERT_TRUE(iterateUntil([this] {
      moved = g_get_monotonic_time();
      EXPECT_EQ(200, post(R"({"pan": 40, "tilt": 0})", "/api/calibration/head").status);
      return head.speed != 0;
    }));
    looks = head.timesOf("GetServices").size();
  }

  // More frames of a camera have come, all with the same object.
  bool goesOn(int camera) {
    const int before = ids[camera].frames;
    return isSoonSo([&] { return ids[camera].frames > before + 2; }) && !ids[camera].isEmpty &&
           ids[camera].ids == std::set<json_int_t>{1};
  }

  // A machine that is held up takes the head for silent.
  void inspectHead() {
    setUp("inspect", R"({"head": true})");
    ASSERT_TRUE(iterateUntil([this] {
      const std::string told = setUp("getSetUp", "{}");
      const bool isOver = told.find(R"("camera":{"running":false)") != std::string::npos;
      const bool isKnown = told.find(R"("token":"p1")") != std::string::npos;
      if (isOver && !isKnown) {
        setUp("inspect", R"({"head": true})");
      }
      return isOver && isKnown;
    }));
  }

  void expectTheHeadWasLeftAlone() {
    EXPECT_EQ(looks, head.timesOf("GetServices").size()) << "it was not found anew";
    for (const std::int64_t stop : head.timesOf("Stop")) {
      EXPECT_GE(stop - moved, HeadMoves::SILENCE) << "only as nobody commands";
    }
  }

  std::string parameter(const char* name) {
    BusClient client("com.orva.ParameterService", "/com/orva/ParameterService");
    const Reply reply = client.call("Get", g_variant_new("(s)", name));
    const char* value = "none";
    if (reply.ok()) {
      g_variant_get(reply.value.get(), "(&s)", &value);
    }
    return value;
  }

  struct Seen {
    int frames = 0;
    bool isEmpty = false;  // one was
    std::set<json_int_t> ids{};
  };

  DbusDaemon bus;
  GObjectPtr<GDBusConnection> connection = connectToSystemBus();
  TemporaryFolder folder;
  ScriptedHead head;
  ScriptedOverview gate;
  ScriptedOverview yard;
  SettingsFiles files{settingsFile(), folder / "credentials.json"};
  std::optional<Bridge> bridge;
  std::optional<WebClient> live;
  std::size_t read = 0;
  std::map<int, Seen> ids;  // by camera, from 1
  std::size_t looks = 0;
  std::int64_t moved = 0;
};

// An application that reads scenes, as the module does.
class SceneReader {
 public:
  explicit SceneReader(const std::string& path) : client(g_socket_client_new()) {
    const GObjectPtr<GSocketAddress> address(g_unix_socket_address_new(path.c_str()));
    connection.reset(g_socket_client_connect(client.get(), G_SOCKET_CONNECTABLE(address.get()),
                                             nullptr, nullptr));
    GSocket* socket = g_socket_connection_get_socket(connection.get());
    g_socket_set_blocking(socket, FALSE);
    const std::string wish = "SUBSCRIBE 0 1\n";
    EXPECT_EQ(static_cast<gssize>(wish.size()),
              g_socket_send(socket, wish.data(), wish.size(), nullptr, nullptr));
  }

  bool hasReceived() {
    received += std::max<gssize>(receive(), 0);
    return received > 0;
  }

  bool isConnected() {
    gssize count = receive();
    while (count > 0) {
      count = receive();
    }
    return count < 0;
  }

 private:
  // 0 when the other side has ended it, less while nothing has come.
  gssize receive() {
    std::array<char, 65536> part{};
    return g_socket_receive(g_socket_connection_get_socket(connection.get()), part.data(),
                            part.size(), nullptr, nullptr);
  }

  GObjectPtr<GSocketClient> client;
  GObjectPtr<GSocketConnection> connection;
  gssize received = 0;
};

TEST_F(BridgeTest, WhatConcernsOneCameraLeavesTheOtherAndTheHeadAlone) {
  begin();
  setUp("useCamera", R"({"number": 2, "told": {"likelihood": 0.25}})");
  expectTheHeadWasLeftAlone();
  EXPECT_TRUE(goesOn(1));
  EXPECT_EQ(1, gate.rtsp.played);
  ASSERT_TRUE(isSoonSo([this] { return ids[2].ids.contains(2); })) << "no id is given twice";
  EXPECT_TRUE(ids[2].isEmpty) << "whom it told is told to be gone";
  EXPECT_EQ(2, yard.countLooks());
  EXPECT_EQ(1, gate.countLooks());
}

TEST_F(BridgeTest, CalibrationIsToldAndEndsNoStream) {
  begin();
  SceneReader reader(folder / "subscriber");
  ASSERT_TRUE(iterateUntil([&] { return reader.hasReceived(); }));
  setUp("useCamera", R"({"number": 1, "told": {"pan": 20, "tilt": -25, "distortion": 0.01}})");
  expectTheHeadWasLeftAlone();
  EXPECT_EQ("20.0000", parameter("PTZ.RemoteCenter.C1.Pan"));
  EXPECT_TRUE(goesOn(1));
  EXPECT_TRUE(goesOn(2));
  EXPECT_TRUE(reader.isConnected());
  EXPECT_EQ(1, gate.rtsp.played);
  EXPECT_EQ(1, yard.rtsp.played);
}

TEST_F(BridgeTest, WhatConcernsTheHeadLeavesTheCamerasAlone) {
  begin();
  inspectHead();
  looks = head.timesOf("GetServices").size();
  setUp("useHead", R"({"profile": "p1", "told": {"invert_tilt": true}})");
  ASSERT_TRUE(iterateUntil([this] { return head.timesOf("GetServices").size() == looks + 1; }));
  EXPECT_EQ(0, head.speed) << "it was stopped before";
  EXPECT_TRUE(goesOn(1));
  EXPECT_TRUE(goesOn(2));
  EXPECT_EQ(1, gate.rtsp.played);
  EXPECT_EQ(1, yard.rtsp.played);
}

// Prediction reads the offset elsewhere than the other way does.
TEST_F(BridgeTest, WayOfFollowingThatThePageChoosesIsKeptAndTheOffsetGoesWithIt) {
  EXPECT_EQ("0.500", parameter("SentrelVideo.Overview.C1.OffsetX"));
  const std::string choice =
      R"({"apiVersion": "1.0", "method": "setDeviceSettings", "params": {"following": "specified"}})";
  const WebResponse answer = post(choice, "/api/device");
  EXPECT_THAT(answer.body, HasSubstr(R"("notice":"It is kept. Start the application again)"));
  EXPECT_EQ("specified", parameter("SentrelVideo.Following"));
  EXPECT_EQ("0.500", parameter("PTZ.RemoteCenter.C1.OffsetX"));
  EXPECT_EQ("none", parameter("SentrelVideo.Overview.C1.OffsetX")) << "it would count twice";
  EXPECT_THAT(written(), HasSubstr(R"("following": "specified")"));
  EXPECT_THAT(post(choice, "/api/device").body, HasSubstr(R"("data":{})"))
      << "it was chosen before";
  setUp("useGeneral", R"({"told": {"mast_height": 7}})");
  EXPECT_EQ("specified", parameter("SentrelVideo.Following")) << "another change lets it be";
}

TEST_F(BridgeTest, HeadIsIdentifiedAnewWhenThePageAsksForItAndNotByAnotherChange) {
  EXPECT_EQ("0", parameter("SentrelVideo.Identify"));
  const WebResponse answer =
      post(R"({"apiVersion": "1.0", "method": "identifyHead"})", "/api/device");
  EXPECT_THAT(answer.body, HasSubstr(R"("data":{})"));
  EXPECT_EQ("1", parameter("SentrelVideo.Identify"));
  setUp("useGeneral", R"({"told": {"mast_height": 7}})");
  EXPECT_EQ("7.000", parameter("SentrelVideo.MastHeight"));
  EXPECT_EQ("1", parameter("SentrelVideo.Identify")) << "any other text would ask for it";
}

}  // namespace
}  // namespace device::bridge
