#include "web_server/web_interface.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jansson.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string_view>

#include "app/options.h"
#include "broker.h"
#include "device_services/private_bus.h"
#include "fake_application.h"
#include "services/head_drive.h"
#include "support/temporary_folder.h"
#include "web_client.h"
#include "web_server/json_values.h"
#include "web_server/live_json.h"

namespace device {
namespace {

using namespace std::string_view_literals;

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr char MESSAGE[] = "event: ";

struct Message {
  std::string type;
  JsonAutoPtr data;

  json_t* at(const char* key) const { return json_object_get(data.get(), key); }
  std::string text(const char* key) const { return json_string_value(at(key)); }
  double number(const char* key) const { return json_number_value(at(key)); }
};

Message parse(const std::string& text) {
  const std::size_t data = text.find("\ndata: ");
  EXPECT_THAT(text, StartsWith(MESSAGE));
  if (data == std::string::npos) {
    return {};
  }
  return {text.substr(sizeof(MESSAGE) - 1, data - sizeof(MESSAGE) + 1),
          JsonAutoPtr(json_loads(text.c_str() + data + 7, 0, nullptr))};
}

EventKeys stateKeys(const std::string& name, bool active) {
  return {{"topic0", "t", std::string("MiruPlatform"), false, false, "", "", ""},
          {"topic1", "t", std::string("SentrelVideo"), false, false, "", "", "SentrelVideo"},
          {"topic2", "t", name, false, false, "", "", ""},
          {"active", "", active, false, true, "", "", ""}};
}

class WebInterfaceTest : public testing::Test {
 protected:
  void SetUp() override { start(); }

  void start(const BrokerOptions& broker = {}, const std::string& address = "127.0.0.1") {
    WebOptions options;
    options.address = address;
    options.port = 0;
    options.broker = broker;
    web.emplace(options, folder / "application",
                WebSources{.name = model.name,
                           .cameras = static_cast<int>(model.world.channels.size()),
                           .model =
                               [this] {
                                 return modelJson(model,
                                                  {.model = "perfect",
                                                   .tracks = "generated",
                                                   .scene = "square",
                                                   .transport = "socket",
                                                   .seed = 5},
                                                  world);
                               },
                           .world =
                               [this](double time) {
                                 return worldJson(time, world.people(time), model.world.mastHeight);
                               },
                           .people = [this](double time) { return world.people(time); },
                           .head = drive,
                           .events = events,
                           .parameters = parameters,
                           .seconds = [this] { return seconds; },
                           .announce = [](const std::string&) {},
                           .report = &report});
    port = static_cast<std::uint16_t>(std::stoi(web->url().substr(web->url().rfind(':') + 1)));
  }

  std::uint32_t declare(EventKeys keys, bool stateless = false) {
    const Reply reply = application.call(
        "Declare", g_variant_new("(@a(ssavusss)b)", toVariant(keys), stateless ? TRUE : FALSE));
    EXPECT_TRUE(reply.ok()) << reply.error;
    std::uint32_t id = 0;
    if (reply.ok()) {
      g_variant_get(reply.value.get(), "(u)", &id);
    }
    return id;
  }

  void send(std::uint32_t id, bool active, std::int64_t time) {
    const EventKeys keys = {{"active", "", active, false, false, "", "", ""}};
    EXPECT_TRUE(
        application.call("Send", g_variant_new("(u@a(ssavusss)x)", id, toVariant(keys), time))
            .ok());
  }

  // The next message, of that type if one is given; nothing when too many others come before it.
  Message next(WebClient& client, const std::string& type = "") {
    constexpr int OTHERS = 1000;
    for (int i = 0; i < OTHERS; ++i) {
      const std::string text = client.message();
      if (text.empty()) {
        break;
      }
      if (text == ":") {
        continue;
      }
      Message message = parse(text);
      if (type.empty() || message.type == type) {
        return message;
      }
    }
    ADD_FAILURE() << "no message " << type;
    return {};
  }

  // For so long that the last minute is added to.
  static void letMomentsPass() {
    const std::int64_t begun = g_get_monotonic_time();
    EXPECT_TRUE(iterateUntil([&] { return g_get_monotonic_time() - begun > 600000; }));
  }

  std::string daemon(WebClient& client) { return lineOf(next(client, "daemon").data.get()); }

  DbusDaemon bus;
  TemporaryFolder folder;
  GObjectPtr<GDBusConnection> connection = connectToSystemBus();
  Model model = loadModel(parseOptions({"virtual_device"}).models, "perfect");
  World world{model.world, {}};
  HeadDrive drive{model.head, g_get_monotonic_time};
  EventService events{connection.get()};
  ParameterStore parameters{
      {{"root.SentrelVideo.Following", "predictive"}, {"root.SentrelVideo.Identify", "0"}}};
  double seconds = 12.5;
  Report report{{}, {.score = scoreSetupOf(model), .head = model.head}};
  BusClient application{"com.orva.EventService", "/com/orva/EventService"};
  std::optional<WebInterface> web;
  std::uint16_t port = 0;
};

TEST_F(WebInterfaceTest, ReaderOfEventsIsToldThePresentStatesFirst) {
  events.declare(stateKeys("ofTheDevice", true), false);
  const std::uint32_t first = declare(stateKeys("Camera1Profile1", false));
  declare(stateKeys("stateless", true), true);
  const std::uint32_t second = declare(stateKeys("Camera1ProfileANY", true));
  send(first, true, 1767268800123456);
  WebClient client(port);
  client.get("/events");
  Message message = next(client);
  EXPECT_EQ("event", message.type);
  EXPECT_EQ(first, message.number("id"));
  EXPECT_EQ("2026-01-01T12:00:00.123Z", message.text("time"));
  EXPECT_EQ("SentrelVideo", message.text("nice"));
  EXPECT_TRUE(json_is_true(json_object_get(message.at("data"), "active")));
  EXPECT_EQ(second, next(client).number("id"));
  const std::uint32_t third = declare(stateKeys("later", false));
  EXPECT_EQ(third, next(client).number("id"));
}

TEST_F(WebInterfaceTest, ChangesAreToldAsTheyCome) {
  WebClient client(port);
  client.get("/events");
  const std::uint32_t stateful = declare(stateKeys("Camera1Profile1", false));
  const std::uint32_t stateless = declare(stateKeys("pulse", false), true);
  send(stateful, true, 1);
  send(stateless, true, 2);
  EXPECT_TRUE(application.call("Undeclare", g_variant_new("(u)", stateful)).ok());
  Message message = next(client);
  EXPECT_EQ(stateful, message.number("id"));
  EXPECT_TRUE(json_is_false(json_object_get(message.at("data"), "active")));
  message = next(client);
  EXPECT_EQ(stateful, message.number("id"));
  EXPECT_TRUE(json_is_true(json_object_get(message.at("data"), "active")));
  message = next(client);
  EXPECT_EQ(stateless, message.number("id"));
  EXPECT_TRUE(json_is_false(message.at("stateful")));
  message = next(client);
  EXPECT_EQ("undeclared", message.type);
  EXPECT_EQ(stateful, message.number("id"));
  EXPECT_STREQ("Camera1Profile1",
               json_string_value(json_object_get(message.at("topics"), "topic2")));
}

TEST_F(WebInterfaceTest, EventsOfAnApplicationThatLeftAreToldAsUndeclared) {
  const std::uint32_t id = declare(stateKeys("Camera1Profile1", true));
  WebClient client(port);
  client.get("/events");
  EXPECT_EQ(id, next(client).number("id"));
  application.leave();
  const Message message = next(client);
  EXPECT_EQ("undeclared", message.type);
  EXPECT_EQ(id, message.number("id"));
}

TEST_F(WebInterfaceTest, EventWithoutATimeIsGivenThePresentOne) {
  const std::uint32_t id = declare(stateKeys("pulse", false), true);
  WebClient client(port);
  client.get("/events");
  send(id, true, 0);
  EXPECT_THAT(next(client).text("time"), testing::Not(StartsWith("1970")));
}

TEST_F(WebInterfaceTest, EventsAreCountedByTopicAndNameTheStartOfTheDevice) {
  WebClient client(port);
  client.get("/events");
  const std::uint32_t alarm = declare(stateKeys("Camera1Profile1", false));
  const std::uint32_t pulse = declare(stateKeys("pulse", false), true);
  send(alarm, true, 1);
  send(pulse, true, 2);
  Message message = next(client);
  EXPECT_EQ(1, message.number("seq"));
  const std::string start = message.text("start");
  EXPECT_EQ("2026-01-01T12:00:00.000Z"sv.size(), start.size()) << start;
  EXPECT_EQ(2, next(client).number("seq"));  // of the alarm
  message = next(client);
  EXPECT_EQ(pulse, message.number("id"));
  EXPECT_EQ(1, message.number("seq"));
  EXPECT_EQ(start, message.text("start"));

  // Who comes later is told the same again.
  WebClient late(port);
  late.get("/events");
  message = next(late);
  EXPECT_EQ(alarm, message.number("id"));
  EXPECT_EQ(2, message.number("seq"));
  EXPECT_EQ(start, message.text("start"));

  // A new declaration of the topics goes on counting.
  EXPECT_TRUE(application.call("Undeclare", g_variant_new("(u)", alarm)).ok());
  declare(stateKeys("Camera1Profile1", false));
  EXPECT_EQ("undeclared", next(late).type);
  EXPECT_EQ(3, next(late).number("seq"));
}

TEST_F(WebInterfaceTest, MetricsTellWhatTheDeviceSees) {
  declare(stateKeys("Camera1Profile1", true));
  const std::uint32_t gone = declare(stateKeys("Camera1Profile2", true));
  EXPECT_TRUE(application.call("Undeclare", g_variant_new("(u)", gone)).ok());
  web->frame(1, 0, {});
  WebClient(port).post("x");
  WebResponse response = WebClient(port).get("/metrics");
  EXPECT_EQ("text/plain; version=0.0.4; charset=utf-8", response.headers.at("Content-Type"));
  for (const char* line : {"sentrelvideo_frames_total{camera=\"1\"} 1\n",
                           "sentrelvideo_alarm_active{camera=\"1\",profile=\"1\"} 1\n",
                           "sentrelvideo_api_requests_total{method=\"other\",code=\"503\"} 1\n"}) {
    EXPECT_THAT(response.body, HasSubstr(line));
  }
  EXPECT_THAT(response.body, testing::Not(HasSubstr("alarm_active{camera=\"1\",profile=\"2\"}")));
  response = WebClient(port).get("/metrics", "Accept: application/openmetrics-text\r\n");
  EXPECT_EQ("application/openmetrics-text; version=1.0.0; charset=utf-8",
            response.headers.at("Content-Type"));
  EXPECT_TRUE(response.body.ends_with("\n# EOF\n"));
}

TEST_F(WebInterfaceTest, MetricsTellTheApplicationsVersions) {
  FakeApplication daemon(folder / "application");
  daemon.setAnswer(
      "Content-Type: application/json\r\nStatus: 200 OK\r\n\r\n"
      R"({"data":{"apiVersions":["1.0","1.1"],"configurationStatus":7}})");
  declare(stateKeys("Camera1ProfileANY", false));
  EXPECT_TRUE(iterateUntil([&] {
    return WebClient(port).get("/metrics").body.find(",api=\"1.0,1.1\"}") != std::string::npos;
  }));
  // Of one that is no site nothing else is asked, whatever is configured.
  WebClient(port).post(R"({"method":"setConfiguration"})");
  letMomentsPass();
  EXPECT_EQ(2u, daemon.getRequests().size());
}

// Starts the interface itself.
class LateWebInterfaceTest : public WebInterfaceTest {
 protected:
  void SetUp() override {}

  // The device's main loop turns meanwhile.
  static bool runUntil(Subscriber& subscriber, const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + BROKER_PATIENCE;
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
      g_main_context_iteration(nullptr, FALSE);
      subscriber.runOnce();
    }
    return condition();
  }
};

TEST_F(LateWebInterfaceTest, EventsReachTheBroker) {
  ASSERT_EQ(access(BROKER_PROGRAM, X_OK), 0)
      << "the broker is not installed (package mosquitto, see script/bootstrap)";
  const Broker broker;
  const std::uint32_t before = declare(stateKeys("before", true));
  start({.brokers = {{{"127.0.0.1", broker.getPort()}}}});
  Subscriber subscriber(broker.getPort());
  ASSERT_TRUE(subscriber.runUntil(
      [&] { return subscriber.find(MqttPublisher::AVAILABILITY, "online") != nullptr; }));
  const std::uint32_t stateful = declare(stateKeys("alarm", false));
  const std::uint32_t twin = declare(stateKeys("alarm", true));
  const std::uint32_t stateless = declare(stateKeys("pulse", false), true);
  send(stateless, true, 1);
  for (const std::uint32_t id : {stateful, before}) {
    EXPECT_TRUE(application.call("Undeclare", g_variant_new("(u)", id)).ok());
  }
  const std::string top = "MiruPlatform/SentrelVideo/";
  ASSERT_TRUE(subscriber.sees(top + "before", ""));

  Subscriber late(broker.getPort());
  late.drain();
  std::map<std::string, std::string> retained;
  for (const BrokerMessage& message : late.messages) {
    if (message.retained) {
      retained[message.topic] = message.payload;
    }
  }
  // The one that is left of two with the same topics is still there.
  EXPECT_THAT(retained,
              testing::ElementsAre(
                  testing::Pair(top + "alarm", HasSubstr("\"id\":" + std::to_string(twin))),
                  testing::Pair(MqttPublisher::AVAILABILITY, "online")));
  EXPECT_TRUE(subscriber.runUntil([&] {
    return std::ranges::any_of(subscriber.messages, [&](const BrokerMessage& message) {
      return message.topic == top + "pulse" && !message.retained;
    });
  }));
}

TEST_F(LateWebInterfaceTest, AlarmsAndOnlyTheyWaitInAFileForEachBroker) {
  const ReservedPort first;
  const ReservedPort second;
  const std::filesystem::path state = folder / "state";
  start({.brokers = {{{"127.0.0.1", first.getNumber()}}, {{"127.0.0.1", second.getNumber()}}},
         .state = state});
  const std::uint32_t alarm = declare(stateKeys("Camera1ProfileANY", false));
  declare(stateKeys("state", true));
  send(alarm, true, 1);
  send(alarm, false, 2);
  web.reset();
  for (const char* name : {"alarms-1.sqlite", "alarms-2.sqlite"}) {
    const AlarmOutbox outbox(state / name);
    ASSERT_EQ(3u, outbox.getWaiting().size()) << name;
    for (int i = 0; i < 3; ++i) {
      const AlarmOutbox::Alarm& waiting = outbox.getWaiting()[static_cast<std::size_t>(i)];
      EXPECT_EQ("MiruPlatform/SentrelVideo/Camera1ProfileANY", waiting.topic);
      EXPECT_THAT(waiting.payload, HasSubstr("\"seq\":" + std::to_string(i + 1) + "}"));
    }
  }
}

TEST_F(LateWebInterfaceTest, HomeAutomationIsToldWhatIsDeclaredAndThatItIsGone) {
  const Broker broker;
  const std::uint32_t before = declare(stateKeys("Camera1Profile1", false));
  start({.brokers = {{{"127.0.0.1", broker.getPort()}}},
         .site = "north",
         .discovery = "homeassistant"});
  const std::string topic = "homeassistant/device/sentrelvideo_north/config";
  Subscriber subscriber(broker.getPort());
  ASSERT_TRUE(runUntil(subscriber, [&] { return subscriber.hasTopic(topic); }));
  Subscriber late(broker.getPort());
  ASSERT_TRUE(late.runUntil([&] { return late.hasTopic(topic); }));
  EXPECT_TRUE(late.messages.back().retained);
  EXPECT_TRUE(application.call("Undeclare", g_variant_new("(u)", before)).ok());
  EXPECT_TRUE(runUntil(subscriber, [&] { return subscriber.find(topic, "") != nullptr; }));
}

TEST_F(LateWebInterfaceTest, SitesEventsReachEachOfTwoBrokersUnderItsName) {
  const Broker first;
  const Broker second;
  const std::uint32_t id = declare(stateKeys("Camera1ProfileANY", true));
  start({.brokers = {{{"127.0.0.1", first.getPort()}}, {{"127.0.0.1", second.getPort()}}},
         .site = "north"});
  const std::string top = "sites/north/MiruPlatform/SentrelVideo/";
  const std::uint32_t pulse = declare(stateKeys("pulse", false), true);
  for (const Broker* broker : {&first, &second}) {
    Subscriber subscriber(broker->getPort());
    EXPECT_TRUE(subscriber.sees("sites/north/SentrelVideo/device", "online"));
    send(pulse, true, 1);
    EXPECT_TRUE(subscriber.runUntil([&] { return subscriber.hasTopic(top + "pulse"); }));
    EXPECT_TRUE(subscriber.hasTopic(top + "Camera1ProfileANY"));
    const std::vector<std::string> about =
        subscriber.everyPayloadOf("sites/north/SentrelVideo/about");
    ASSERT_FALSE(about.empty());
    EXPECT_THAT(about[0], StartsWith("{\"version\":\"1.0.0\",\"model\":\"perfect\",\"cameras\":" +
                                     std::to_string(model.world.channels.size()) + ",\"url\":\"" +
                                     web->url() + "\",\"start\":\"20"));
    for (const BrokerMessage& message : subscriber.messages) {
      EXPECT_THAT(message.topic, StartsWith("sites/north/"));
    }
  }
  Subscriber atFirst(first.getPort());
  Subscriber atSecond(second.getPort());
  EXPECT_TRUE(application.call("Undeclare", g_variant_new("(u)", id)).ok());
  EXPECT_TRUE(atFirst.sees(top + "Camera1ProfileANY", ""));
  EXPECT_TRUE(atSecond.sees(top + "Camera1ProfileANY", ""));
}

TEST_F(LateWebInterfaceTest, SiteThatListensAtEveryAddressNamesNoneForItsPage) {
  const Broker broker;
  start({.brokers = {{{"127.0.0.1", broker.getPort()}}}, .site = "north"}, "0.0.0.0");
  Subscriber subscriber(broker.getPort());
  const std::string topic = "sites/north/SentrelVideo/about";
  ASSERT_TRUE(subscriber.runUntil([&] { return subscriber.hasTopic(topic); }));
  EXPECT_THAT(subscriber.everyPayloadOf(topic)[0], HasSubstr(R"("url":"","start":)"));
}

TEST_F(LateWebInterfaceTest, SiteTellsWhatItsApplicationSaysOfItself) {
  const Broker broker;
  FakeApplication daemon(folder / "application");
  const auto answers = [&](const std::string& data) {
    daemon.setAnswer("Content-Type: application/json\r\nStatus: 200 OK\r\n\r\n{\"data\":" + data +
                     "}");
  };
  answers(R"({"apiVersions":["1.0"],"configurationStatus":7})");
  start({.brokers = {{{"127.0.0.1", broker.getPort()}}}, .site = "north"});
  Subscriber subscriber(broker.getPort());
  const auto isTold = [&](const std::string& end) {
    return runUntil(subscriber, [&] {
      const auto told = subscriber.everyPayloadOf("sites/north/SentrelVideo/about");
      return !told.empty() && told.back().ends_with(end);
    });
  };
  EXPECT_TRUE(isTold("Z\"}"));
  EXPECT_THAT(daemon.getRequests(), IsEmpty());
  declare(stateKeys("Camera1ProfileANY", false));
  EXPECT_TRUE(isTold(R"(,"apiVersions":["1.0"],"configurationStatus":7})"));
  answers(R"({"apiVersions":["1.0"],"configurationStatus":8})");
  WebClient(port).post(R"({"method":"setConfiguration"})");
  EXPECT_TRUE(isTold(R"("configurationStatus":8})"));
}

// The sender's clock is the device's.
TEST_F(LateWebInterfaceTest, ClockThatJumpsChangesNoOrder) {
  const Broker broker;
  const std::uint32_t id = declare(stateKeys("Camera1Profile1", false));
  start({.brokers = {{{"127.0.0.1", broker.getPort()}}}, .site = "north"});
  Subscriber subscriber(broker.getPort());
  ASSERT_TRUE(subscriber.sees("sites/north/SentrelVideo/device", "online"));
  constexpr std::int64_t NOON = 1767268800000000;  // 2026-01-01T12:00:00 UTC
  constexpr std::int64_t DAY = 86400000000;
  const std::string topic = "sites/north/MiruPlatform/SentrelVideo/Camera1Profile1";
  for (const std::int64_t time : {NOON, NOON + DAY, NOON - DAY}) {
    send(id, true, time);
  }
  // The first value may be told twice.
  const auto told = [&] {
    std::vector<std::string> values = subscriber.everyPayloadOf(topic);
    values.erase(std::unique(values.begin(), values.end()), values.end());
    return values;
  };
  ASSERT_TRUE(subscriber.runUntil([&] { return told().size() >= 4; }));
  const std::string start = told()[0].substr(told()[0].find("\"start\":"), 34);
  const char* const days[] = {"01", "02", "31"};
  for (std::size_t i = 1; i < 4; ++i) {
    EXPECT_THAT(told()[i], HasSubstr(std::string("-") + days[i - 1] + "T12:00:00.000Z"));
    EXPECT_THAT(told()[i], HasSubstr(start + ",\"seq\":" + std::to_string(i + 1) + "}"));
  }
}

TEST_F(WebInterfaceTest, PageIsToldAllInItsOrder) {
  const std::uint32_t id = declare(stateKeys("Camera1Profile1", true));
  web->daemonRunning(true);
  for (int i = 0; i < 205; ++i) {
    web->log(i, {3, "SentrelVideo", "line " + std::to_string(i)});
  }
  WebClient client(port);
  client.get("/live");

  Message message = next(client);
  EXPECT_EQ("model", message.type);
  EXPECT_EQ("perfect", message.text("name"));
  EXPECT_EQ("generated", message.text("tracks"));
  EXPECT_EQ("socket", message.text("transport"));
  EXPECT_EQ(5, message.number("seed"));
  EXPECT_EQ(model.world.mastHeight, message.number("mast_height_m"));
  ASSERT_EQ(model.world.channels.size(), json_array_size(message.at("channels")));
  const json_t* channel = json_array_get(message.at("channels"), 0);
  for (const char* key : {"camera", "name", "width", "height", "rotation", "pan", "tilt", "roll",
                          "hfov", "vfov", "moves_with_head"}) {
    EXPECT_NE(nullptr, json_object_get(channel, key)) << key;
  }
  EXPECT_EQ(1, json_integer_value(json_object_get(channel, "camera")));
  EXPECT_EQ(model.world.channels[0].camera.horizontalFov,
            json_number_value(json_object_get(channel, "hfov")));
  for (const char* key : {"product", "min_field_angle", "max_field_angle", "aspect", "home"}) {
    EXPECT_NE(nullptr, json_object_get(message.at("head"), key)) << key;
  }

  message = next(client);
  EXPECT_EQ("daemon", message.type);
  EXPECT_TRUE(json_is_true(message.at("running")));
  message = next(client);
  EXPECT_EQ("history", message.type);
  EXPECT_EQ(12.5, message.number("time"));
  message = next(client);
  EXPECT_EQ("following", message.type);
  EXPECT_EQ("predictive", message.text("chosen"));
  EXPECT_TRUE(json_is_null(message.at("thought")));
  message = next(client);
  EXPECT_EQ("event", message.type);
  EXPECT_EQ(id, message.number("id"));
  for (int i = 5; i < 205; ++i) {
    message = next(client);
    EXPECT_EQ("log", message.type);
    EXPECT_EQ("line " + std::to_string(i), message.text("text"));
    EXPECT_EQ("err", message.text("level"));
    EXPECT_EQ(i, message.number("time"));
  }
}

TEST_F(WebInterfaceTest, PageIsToldOfFramesInSceneCoordinates) {
  WebClient client(port);
  client.get("/live");
  next(client, "daemon");
  FrameObject object;
  object.id = 9;
  object.confidence = 2048;
  object.outline = {{-4096, 4096}, {1024, -2048}};
  web->frame(3.5, 1, Frame{.timestamp = 1, .objects = {object}, .events = {}});
  const Message message = next(client, "frame");
  EXPECT_EQ(R"({"time":3.5,"camera":2,"objects":[{"id":9,"confidence":0.5,)"
            R"("polygon":[[-1.0,1.0],[0.25,-0.5]]}]})",
            lineOf(message.data.get()));
}

TEST_F(WebInterfaceTest, PageIsToldOfTheHeadAndThePeople) {
  WebClient client(port);
  client.get("/live");
  Message message = next(client, "head");
  EXPECT_EQ(12.5, message.number("time"));
  EXPECT_NEAR(model.head.home.pan, message.number("pan"), 1e-6);
  EXPECT_NEAR(model.head.home.tilt, message.number("tilt"), 1e-6);
  EXPECT_NEAR(model.head.maxFieldAngle, message.number("hfov"), 0.1);
  EXPECT_TRUE(json_is_false(message.at("moving")));

  message = next(client, "world");
  const std::vector<PersonView> people = world.people(12.5);
  ASSERT_FALSE(people.empty());
  ASSERT_EQ(people.size(), json_array_size(message.at("people")));
  for (std::size_t i = 0; i < people.size(); ++i) {
    const json_t* person = json_array_get(message.at("people"), i);
    const auto number = [&](const char* key) {
      return json_number_value(json_object_get(person, key));
    };
    EXPECT_EQ(people[i].id, number("id"));
    EXPECT_EQ(0, number("z_foot"));
    EXPECT_EQ(1.75, number("height"));
    // The direction is the one from the head to the place.
    const double ground = std::hypot(number("x"), number("y"));
    const double drop = model.world.mastHeight - 1.75 / 2;
    EXPECT_NEAR(number("pan"), std::atan2(number("x"), number("y")) * 180 / M_PI, 1e-4);
    EXPECT_NEAR(number("tilt"), -std::atan2(drop, ground) * 180 / M_PI, 1e-4);
    EXPECT_NEAR(number("distance"), std::hypot(ground, drop), 1e-4);
    EXPECT_EQ(people[i].inside, json_is_true(json_object_get(person, "inside")));
  }
}

TEST_F(WebInterfaceTest, PageMovesTheHeadToCalibrateByIt) {
  EXPECT_FALSE(drive.getHead().isCommandOnItsWay());
  EXPECT_EQ(WebClient(port).post(R"({"pan":20,"tilt":0})", "/api/calibration/head").status, 200);
  EXPECT_TRUE(drive.getHead().isCommandOnItsWay() || drive.getHead().status().moving());
}

TEST_F(WebInterfaceTest, PageIsToldTheRunningScore) {
  report.logLine("Autotuning: attempt 3 of 3 failed. The head keeps the gains it had");
  report.trackerState(0, "running");
  // Somebody comes to the mast's foot, whom a head that looks up does not show.
  const ScoredPerson person{.id = 1, .position = {}, .counts = true};
  report.sample({0, {0, 20, 60}, {}});
  report.sample({1, {3, 20, 60}, {person}});
  report.sample({2, {6, 20, 60}, {person}});
  report.sample({3, {9, 20, 60}, {person}});
  WebClient client(port);
  client.get("/live");
  const Message message = next(client, "score");
  EXPECT_NEAR(1.0 / 3, message.number("starts_per_s"), 1e-6) << "one start in three seconds";
  EXPECT_EQ(0, message.number("reversals_per_s"));
  EXPECT_EQ(0, message.number("acceleration_rms"));
  EXPECT_EQ(0, message.number("zoom_reversals_per_s"));
  EXPECT_EQ(12.5, message.number("time"));
  EXPECT_EQ(3, message.number("seconds_with_somebody"));
  EXPECT_EQ(0, message.number("recognised"));
  EXPECT_NEAR(110, message.number("rms_deg"), 1e-6);
  EXPECT_EQ(1, message.number("never"));
  EXPECT_EQ(1, json_integer_value(json_object_get(message.at("tuning"), "unsuccessful")));
  EXPECT_TRUE(json_is_false(json_object_get(message.at("tuning"), "succeeded")));
  EXPECT_TRUE(json_is_null(json_object_get(message.at("tuning"), "identified")));
  EXPECT_EQ("score", next(client, "score").type) << "is told again and again";
}

// The clock is the test's; the timers only say when it is looked at.
TEST_F(WebInterfaceTest, PageThatIsOpenedLateIsToldTheLastMinute) {
  const std::uint32_t id = declare(stateKeys("alarm", false));
  const std::uint32_t drawing =
      declare({{"topic1", "t", std::string("SentrelVideo"), false, false, "", "", ""},
               {"svgframe", "", std::string(), false, true, "", "", ""}});
  EXPECT_TRUE(iterateUntil([&] { return events.getTable().getEvents().size() == 2; }));
  seconds = 20;
  send(id, true, 1767268800123456);
  EXPECT_TRUE(application
                  .call("Send", g_variant_new("(u@a(ssavusss)x)", drawing,
                                              toVariant({{"svgframe", "", std::string("<svg/>"),
                                                          false, false, "", "", ""}}),
                                              std::int64_t{1767268800123457}))
                  .ok());
  letMomentsPass();
  seconds = 79.9;
  WebClient client(port);
  client.get("/live");
  Message message = next(client, "history");
  EXPECT_EQ(79.9, message.number("time"));
  const json_t* heads = message.at("heads");
  ASSERT_GE(json_array_size(heads), 2U);
  const json_t* head = json_array_get(heads, 0);
  EXPECT_EQ(20, json_number_value(json_array_get(head, 0)));
  EXPECT_NEAR(model.head.home.pan, json_number_value(json_array_get(head, 1)), 0.01);
  const json_t* people = json_array_get(json_array_get(message.at("people"), 0), 1);
  EXPECT_EQ(world.people(20).size(), json_array_size(people));
  // The alarm's declaration came before that minute, and a drawing is outdated by the next one.
  ASSERT_EQ(1U, json_array_size(message.at("events")));
  const json_t* event = json_array_get(message.at("events"), 0);
  EXPECT_EQ(id, json_integer_value(json_object_get(event, "id")));
  seconds = 81;
  letMomentsPass();
  WebClient late(port);
  late.get("/live");
  const Message later = next(late, "history");
  EXPECT_EQ(0U, json_array_size(later.at("events")));
  EXPECT_GE(json_number_value(json_array_get(json_array_get(later.at("heads"), 0), 0)), 79.9);
}

TEST_F(WebInterfaceTest, PageIsToldWhatTheApplicationThinks) {
  FakeApplication fake(folder / "application");
  fake.setAnswer(
      "Status: 200 OK\r\n\r\n"
      R"({"data":{"head":null,"aim":null,"people":[{"identity":3,"place":[1,2]}]}})");
  web->daemonRunning(true);
  WebClient client(port);
  client.get("/live");
  Message message = next(client, "following");
  EXPECT_TRUE(json_is_null(message.at("thought")));
  message = next(client, "following");
  const json_t* people = json_object_get(message.at("thought"), "people");
  ASSERT_EQ(1U, json_array_size(people));
  EXPECT_EQ(3, json_integer_value(json_object_get(json_array_get(people, 0), "identity")));
  // What it thinks is part of the last minute, too.
  Message history;
  EXPECT_TRUE(iterateUntil([&] {
    WebClient other(port);
    other.get("/live");
    history = next(other, "history");
    return json_array_size(history.at("expected")) > 0;
  }));
}

TEST_F(WebInterfaceTest, TheWayOfFollowingIsChangedOverTheNetwork) {
  const std::string request =
      R"({"apiVersion":"1.0","method":"setDeviceSettings","params":{"following":"specified"}})";
  WebClient reader(port);
  reader.get("/live");
  EXPECT_EQ("predictive", next(reader, "following").text("chosen"));
  WebClient client(port);
  client.request("POST", "/api/device", request);
  EXPECT_THAT(client.response().body, HasSubstr(R"("data":{})"));
  EXPECT_EQ("specified", parameters.get("SentrelVideo.Following"));
  EXPECT_EQ("specified", next(reader, "following").text("chosen"));
  EXPECT_EQ(405, WebClient(port).get("/api/device").status);
}

TEST_F(WebInterfaceTest, PageIsToldWhenTheDaemonGoesAndComes) {
  WebClient client(port);
  client.get("/live");
  EXPECT_EQ(R"({"running":false})", daemon(client));
  web->daemonRunning(true);
  web->daemonRunning(true);
  web->daemonRunning(false);
  EXPECT_EQ(R"({"running":true})", daemon(client));
  EXPECT_EQ(R"({"running":false})", daemon(client));
}

TEST_F(WebInterfaceTest, ApplicationThatOthersStartIsLookedFor) {
  WebClient client(port);
  client.get("/live");
  EXPECT_EQ(R"({"running":false})", daemon(client));
  web->watchApplication();
  {
    const FakeApplication fake(folder / "application");
    EXPECT_EQ(R"({"running":true})", daemon(client));
  }
  EXPECT_EQ(R"({"running":false})", daemon(client));
}

TEST_F(WebInterfaceTest, LogTextThatIsNoUtf8IsStillTold) {
  WebClient client(port);
  client.get("/live");
  web->log(1, {6, "",
               "a\xff"
               "b"});
  const Message message = next(client, "log");
  EXPECT_EQ(
      "a\xef\xbf\xbd"
      "b",
      message.text("text"));
  EXPECT_EQ("info", message.text("level"));
}

}  // namespace
}  // namespace device
