// What a camera of others answers: texts with a zero byte between them.
#include <cmath>
#include <cstdint>
#include <string>

#include "bridge/head_map.h"
#include "bridge/head_moves.h"
#include "bridge/head_sight.h"
#include "fuzz/input.h"
#include "fuzz/require.h"
#include "onvif_client/camera_calls.h"
#include "onvif_client/camera_clock.h"
#include "onvif_client/camera_facts.h"
#include "onvif_client/camera_search.h"
#include "onvif_client/head_facts.h"
#include "onvif_client/soap_reply.h"

namespace {

using fuzz::require;
using namespace device::bridge;  // NOLINT: this file is the bridge's own
using namespace device::onvif;   // NOLINT

constexpr std::int64_t PAUSE = 100000;  // microseconds

HeadTold told() {
  HeadTold result;
  result.fieldAngles = {6, 60};
  result.pan = Range{-180, 180};
  result.tilt = Range{-90, 20};
  return result;
}

void checkStatus(const device::HeadStatus& status) {
  require(status.pan >= -180 && status.pan <= 180, "pan is a bearing");
  require(std::isfinite(status.tilt), "tilt is a number");
  require(status.zoom >= HeadMap::LEAST_ZOOM && status.zoom <= HeadMap::MOST_ZOOM,
          "zoom is on the scale");
  require(status.pictureWidth >= 5.9 && status.pictureWidth <= 60.1,
          "the picture is as wide as it can be");
}

void checkMap(const HeadMap& map) {
  for (const double pan : {-170.0, 0.0, 90.0}) {
    const auto position = map.positionOf({pan, -10});
    require(std::isfinite(position.x) && std::isfinite(position.y), "targets are numbers");
    const auto speed = map.velocityOf(pan / 2, -50);
    require(std::isfinite(speed.x) && std::isfinite(speed.y), "speeds are numbers");
  }
  require(std::isfinite(map.zoomPositionOf(5000).x), "zooms are numbers");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const unsigned status = input.flag() ? 200 : input.flag() ? 401 : 500;
  std::string text = input.text();
  HeadFacts facts;
  HeadSight sight(true);
  HeadMoves moves("head", HeadMap(facts, told()));
  std::int64_t now = 0;
  while (!text.empty()) {
    const std::string message = text.substr(0, text.find('\0'));
    text.erase(0, message.size() + 1);
    now += PAUSE;
    for (const FoundCamera& camera : readDiscoveryMatches(message, "urn:uuid:question")) {
      require(!camera.endpoint.empty() && !camera.addresses.empty(), "who is found is somewhere");
    }
    const SoapReply reply = readReply(status, message);
    if (!reply.ok()) {
      require(!reply.failure().words.empty(), "what is wrong is told");
      continue;
    }
    readCameraTime(reply.body());
    for (const auto& [name, address] : readServices(reply.body())) {
      reachedAt(address, "http://127.0.0.1:8081/onvif/device_service");
    }
    readCapabilities(reply.body());
    readIdentity(reply.body());
    readProfiles(reply.body());
    for (const XmlElement& child : reply.body().children()) {
      readHeadFacts(child, &facts);
      const HeadMap map(facts, told());
      checkMap(map);
      moves.setHead("head", map);
      sight.told(readHeadReading(child), map, now);
    }
    const auto seen = sight.status(now);
    if (seen) {
      checkStatus(*seen);
    }
    moves.command({.pan = {device::MoveKind::continuous, 40},
                   .tilt = {device::MoveKind::continuous, -20},
                   .zoom = {device::MoveKind::absolute, 500}},
                  now);
    while (const auto call = moves.next(now, seen, now)) {
      const XmlDocument written(call->operation.document());
      moves.answered({.ok = true, .isTimeoutRefused = false, .isOperationMissing = false}, now);
    }
  }
  // Nobody commands any more.
  bool isStopped = !moves.isDriven();
  for (int i = 0; i < 20 && !isStopped; ++i) {
    now += PAUSE;
    if (moves.next(now, std::nullopt, now)) {
      moves.answered({.ok = true, .isTimeoutRefused = false, .isOperationMissing = false}, now);
    }
    isStopped = !moves.isDriven();
  }
  require(isStopped, "a head that nobody commands is stopped");
  return 0;
}
