// Messages to the virtual device's ONVIF side: texts with a zero byte between them.
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/units.h"
#include "fuzz/input.h"
#include "fuzz/require.h"
#include "onvif/discovery_message.h"
#include "onvif/envelope.h"
#include "onvif/fault.h"
#include "onvif/topic.h"
#include "onvif_server/analytics_operations.h"
#include "onvif_server/device_operations.h"
#include "onvif_server/media_operations.h"
#include "onvif_server/ptz_operations.h"
#include "onvif_server/token_book.h"

namespace {

using fuzz::require;
using namespace device;         // NOLINT: this file is the device's own
using namespace device::onvif;  // NOLINT

constexpr std::int64_t SECOND = units::fromSeconds(1);
constexpr std::int64_t NOON = 1767268800 * SECOND;  // 2026-01-01T12:00:00Z
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

// A camera whose time is the input's.
struct Camera {
  Camera() {
    device.addTo(operations);
    media.addTo(operations);
    ptz.addTo(operations);
    analytics.addTo(operations);
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

bool isLetIn(Camera& camera, const Operations::Operation* operation, const Envelope& envelope,
             bool asksForUser) {
  const bool isOpen = operation != nullptr && operation->access == Access::anybody;
  return !asksForUser || isOpen || (envelope.token && camera.tokens.use(*envelope.token));
}

// Returns what the camera answers.
std::string answerTo(Camera& camera, const std::string& message, bool asksForUser) {
  try {
    const Envelope envelope = readEnvelope(message);
    readFilter(envelope.operation);
    const Operations::Operation* operation = camera.operations.find(envelope.operation.name());
    if (!isLetIn(camera, operation, envelope, asksForUser)) {
      throw notAuthorized();
    }
    if (operation == nullptr) {
      throw Fault(FaultCode::receiver, {"ter:ActionNotSupported"}, envelope.operation.name().name);
    }
    std::optional<std::string> answer;
    operation->serve({envelope.operation, "camera:80", "/onvif/x"}, [&](Tag tag) {
      require(!answer, "a request is answered once");
      answer = writeEnvelope(std::move(tag));
    });
    require(answer.has_value(), "a request is answered");
    return *answer;
  } catch (const Fault& fault) {
    return writeEnvelope(fault.tag());
  }
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
  const bool asksForUser = input.flag();
  const std::int64_t pause = input.between(0, 5) * SECOND / 10;
  std::string text = input.text();
  Camera camera;
  while (!text.empty()) {
    const std::string message = text.substr(0, text.find('\0'));
    text.erase(0, message.size() + 1);
    checkDiscovery(message);
    requireReadable(answerTo(camera, message, asksForUser));
    camera.now += pause;
    checkHead(camera);
  }
  // Until the longest time of a speed is over.
  for (int i = 0; i < 70 && camera.drive.getHead().status().moving(); ++i) {
    camera.now += SECOND;
  }
  checkHead(camera);
  require(!camera.drive.getHead().status().moving(), "a head that nobody commands stands");
  return 0;
}
