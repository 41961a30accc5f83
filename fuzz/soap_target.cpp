// Messages to the virtual device's ONVIF side: texts with a zero byte between them.
#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/units.h"
#include "fuzz/input.h"
#include "fuzz/require.h"
#include "onvif/discovery_message.h"
#include "onvif/envelope.h"
#include "onvif/fault.h"
#include "onvif/namespaces.h"
#include "onvif/topic.h"
#include "onvif_server/analytics_operations.h"
#include "onvif_server/device_operations.h"
#include "onvif_server/event_operations.h"
#include "onvif_server/media_operations.h"
#include "onvif_server/ptz_operations.h"
#include "onvif_server/token_book.h"

namespace {

using fuzz::require;
using namespace device;         // NOLINT: this file is the device's own
using namespace device::onvif;  // NOLINT

constexpr std::int64_t SECOND = units::fromSeconds(1);
constexpr std::int64_t NOON = 1767268800 * SECOND;  // 2026-01-01T12:00:00Z
// From one message to the next; the longest is over that of a pull point that is not told
// otherwise.
constexpr std::array<std::int64_t, 6> PAUSES = {0,          SECOND / 10, SECOND / 5,
                                                SECOND / 2, 5 * SECOND,  61 * SECOND};
const DiscoveryDevice DEVICE{"urn:uuid:1", {"onvif://www.onvif.org/type/ptz"}, "http://a/"};

HeadSetup headOfTheTarget() {
  HeadSetup setup;
  setup.pan = {.speed = 100, .acceleration = 400, .low = -180, .high = 180, .endless = true};
  setup.tilt = {.speed = 100, .acceleration = 400, .low = -90, .high = 20};
  setup.zoomSpeed = 1000;
  setup.maxZoom = 1001;
  setup.minFieldAngle = 6;
  setup.maxFieldAngle = 60;
  setup.speedHold = 1;
  return setup;
}

std::vector<std::string> rulesOf(const std::string&) {
  return {"Camera1Profile1"};
}

GDBusConnection* busOfTheTarget() {
  static const GObjectPtr<GObject> BUS(G_OBJECT(g_object_new(G_TYPE_DBUS_CONNECTION, nullptr)));
  return G_DBUS_CONNECTION(BUS.get());
}

EventKeys alarm(bool state) {
  return {{.name = "topic0", .nameSpace = "tns1", .value = std::string("VideoSource")},
          {.name = "topic1", .nameSpace = "tns1", .value = std::string("MotionAlarm")},
          {.name = "Source", .value = 1, .isSource = true},
          {.name = "State", .value = state, .isData = true}};
}

// A camera whose time is the input's.
struct Camera {
  Camera() {
    device.addTo(operations);
    media.addTo(operations);
    ptz.addTo(operations);
    analytics.addTo(operations);
    eventOperations.addTo(operations);
  }

  std::int64_t now = 1000 * SECOND;
  HeadSetup setup = headOfTheTarget();
  HeadDrive drive{setup, [this] { return now; }};
  std::vector<CameraProfile> profiles = {{.token = "head", .name = "Head"},
                                         {.token = "overview1", .name = "One", .camera = 1}};
  DeviceOperations device{{"model", "1", "2", "urn:uuid:1"}};
  MediaOperations media{profiles, setup,
                        [](const CameraProfile&, const std::string&) { return "rtsp://a/"; },
                        rulesOf};
  AnalyticsOperations analytics{profiles, rulesOf};
  PtzOperations ptz{profiles, drive, [] { return NOON; }};
  EventService events{busOfTheTarget()};
  const std::uint32_t alarmId = events.declare(alarm(false), false);
  EventOperations eventOperations{events, [this] { return now; }};
  TokenBook tokens{"user", "pass", [] { return NOON; }};
  Operations operations;
};

void requireReadable(const std::string& text) {
  try {
    const XmlDocument document(text);
  } catch (const XmlError& error) {
    require(false, "an answer can be read again", error.what() + (": " + text));
  }
}

void readFilter(const XmlElement& operation) {
  for (const XmlElement& child : operation.children()) {
    if (child.name().name == "Filter") {
      const TopicFilter filter(child);
      filter.passes({"urn:a", {"B", "C"}});
    }
  }
}

// A request and what became of it.
struct Call {
  int answers = 0;
  std::string text;
};

// What a client is, beside what it says.
struct Client {
  bool asksForUser = false;  // the camera does
  bool isThere = true;
  bool isReached = true;
  std::string path;
};

bool isLetIn(Camera& camera, const Operations::Operation* operation, const Envelope& envelope,
             bool asksForUser) {
  const bool isOpen = operation != nullptr && operation->access == Access::anybody;
  return !asksForUser || isOpen || (envelope.token && camera.tokens.use(*envelope.token));
}

// Returns what the camera answers. A pull may wait.
std::shared_ptr<Call> send(Camera& camera, const std::string& message, const Client& client) {
  const auto call = std::make_shared<Call>();
  const auto answer = [call, client](Tag tag, const Operations::Sent& sent) {
    ++call->answers;
    call->text = writeEnvelope(std::move(tag));
    if (sent) {
      sent(client.isReached);
    }
  };
  try {
    const Envelope envelope = readEnvelope(message);
    readFilter(envelope.operation);
    const Operations::Operation* operation = camera.operations.find(envelope.operation.name());
    if (!isLetIn(camera, operation, envelope, client.asksForUser)) {
      throw notAuthorized();
    }
    if (operation == nullptr) {
      throw Fault(FaultCode::receiver, {"ter:ActionNotSupported"}, envelope.operation.name().name);
    }
    operation->serve({envelope.operation, "camera:80", client.path},
                     {answer, [client] { return client.isThere; }});
    const bool mayWait = envelope.operation.name().name == "PullMessages";
    require(mayWait || call->answers == 1, "a request is answered");
  } catch (const Fault& fault) {
    answer(fault.tag(), {});
  }
  return call;
}

std::string pointPath(std::size_t number) {
  return "/onvif/event_service/" + std::to_string(number);
}

// Ends all pull points, and with them all pulls that wait.
void endPoints(Camera& camera, std::size_t messages) {
  const std::string message =
      std::string(
          "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Body>"
          "<Unsubscribe xmlns=\"") +
      ns::NOTIFICATION + "\"/></s:Body></s:Envelope>";
  for (std::size_t number = 1; number <= messages; ++number) {
    send(camera, message, {.path = pointPath(number)});
  }
  require(camera.eventOperations.pullPoints() == 0, "every pull point can be given up");
}

void checkDiscovery(const std::string& message) {
  const auto question = readDiscoveryQuestion(message);
  if (question && isMeant(*question, DEVICE)) {
    requireReadable(discoveryAnswer(*question, DEVICE, {1, 1}));
  }
}

void checkHead(Camera& camera) {
  const HeadStatus status = camera.drive.getHead().status();
  require(std::isfinite(status.pan) && status.pan >= -180 && status.pan <= 180, "pan is an angle");
  require(status.tilt >= -90 && status.tilt <= 20, "tilt is within its limits");
  require(status.zoom >= 1 && status.zoom <= 1001, "zoom is within its limits");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  Client client;
  client.asksForUser = input.flag();
  const std::int64_t pause = PAUSES[static_cast<std::size_t>(input.between(0, 5))];
  client.path = pointPath(static_cast<std::size_t>(1 + input.between(0, 2)));
  client.isThere = !input.flag();
  client.isReached = !input.flag();
  std::string text = input.text();
  Camera camera;
  bool state = false;
  std::vector<std::shared_ptr<Call>> calls;
  while (!text.empty()) {
    const std::string message = text.substr(0, text.find('\0'));
    text.erase(0, message.size() + 1);
    checkDiscovery(message);
    calls.push_back(send(camera, message, client));
    camera.now += pause;
    camera.eventOperations.update();
    camera.events.send(camera.alarmId, alarm(state = !state));
    checkHead(camera);
  }
  endPoints(camera, calls.size());
  for (const auto& call : calls) {
    require(call->answers == 1, "a request is answered once");
    requireReadable(call->text);
  }
  // Until the longest time of a speed is over.
  for (int i = 0; i < 70 && camera.drive.getHead().status().moving(); ++i) {
    camera.now += SECOND;
  }
  checkHead(camera);
  require(!camera.drive.getHead().status().moving(), "a head that nobody commands stands");
  return 0;
}
