#ifndef DEVICE_BRIDGE_SCRIPTED_HEAD_H
#define DEVICE_BRIDGE_SCRIPTED_HEAD_H

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fake_camera.h"
#include "onvif/ptz_space.h"
#include "onvif/time_text.h"

namespace device::bridge {

// One that tells generic positions and, once it was driven, moves on until something stops it.
class ScriptedHead {
 public:
  static constexpr unsigned LATE = 100;  // milliseconds

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
    for (const onvif::FakeRequest& request : camera.requests) {
      body = request.operation == operation ? request.body : body;
    }
    return body;
  }

  bool hasStop = true;
  bool heedsStop = true;
  std::string stopTrouble;   // words of the fault that each Stop gets
  bool isInDegrees = false;  // and says so, if it is not busy
  bool isBusy = false;       // with its start
  bool isMoveLate = false;   // its answer to a motion
  std::string streamUri;     // of its metadata; empty: it has none
  bool isStuckMoving = false;
  std::optional<double> zoom;
  std::string zoomSpace;
  bool tellsTime = false;  // in its status
  bool hasNoStatus = false;
  bool isStreamAway = false;  // asked where it is it answers nothing that could be read
  bool takesTimeout = true;
  unsigned statusDelay = 0;  // milliseconds
  double pan = 0;
  double speed = 0;

 private:
  onvif::FakeAnswer answer(const onvif::FakeRequest& request) {
    when.push_back(g_get_monotonic_time());
    if (request.operation == "GetServices") {
      const auto service = [this](const char* name) {
        return onvif::Tag("tds:Service", onvif::Tag("tds:Namespace", name),
                          onvif::Tag("tds:XAddr", camera.url()));
      };
      return onvif::answered(onvif::Tag("tds:GetServicesResponse", service(onvif::ns::MEDIA2),
                                        service(onvif::ns::PTZ)));
    }
    if (request.operation == "GetProfiles") {
      onvif::Tag parts("tr2:Configurations",
                       onvif::Tag("tr2:PTZ", onvif::Attribute("token", "ptz")));
      if (!streamUri.empty()) {
        parts.add(onvif::Tag("tr2:Metadata", onvif::Attribute("token", "m")));
      }
      return onvif::answered(onvif::Tag(
          "tr2:GetProfilesResponse", onvif::Tag("tr2:Profiles", onvif::Attribute("token", "p1"),
                                                onvif::Tag("tr2:Name", "main"), std::move(parts))));
    }
    if (request.operation == "GetStreamUri" && isStreamAway) {
      return {.status = 503, .body = "", .challenge = "", .date = ""};
    }
    if (request.operation == "GetStreamUri") {
      return onvif::answered(
          onvif::Tag("tr2:GetStreamUriResponse", onvif::Tag("tr2:Uri", streamUri)));
    }
    const bool isFact = request.operation == "GetNodes" || request.operation == "GetConfigurations";
    if (isFact && isInDegrees) {
      return isBusy ? onvif::faulted(
                          onvif::Fault(onvif::FaultCode::receiver, {"ter:Action"}, "Busy"), 500)
                    : onvif::answered(request.operation == "GetNodes" ? nodes() : configurations());
    }
    if (request.operation == "GetPresets") {
      return onvif::answered(onvif::Tag("tptz:GetPresetsResponse",
                                        onvif::Tag("tptz:Preset", onvif::Attribute("token", "door"),
                                                   onvif::Tag("tt:Name", "door")),
                                        onvif::Tag("tptz:Preset", onvif::Attribute("token", "7"),
                                                   onvif::Tag("tt:Name", "seven"))));
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
      return onvif::answered(onvif::Tag("tptz:StopResponse"));
    }
    const bool isMove = request.operation == "ContinuousMove";
    const bool isStop = request.operation == "Stop" && hasStop;
    if (isMove || isStop) {
      speed = isMove && request.body.find("x=\"0\"") == std::string::npos ? 1 : 0;
      onvif::FakeAnswer done =
          onvif::answered(onvif::Tag(isMove ? "tptz:ContinuousMoveResponse" : "tptz:StopResponse"));
      done.delay = isMove && isMoveLate ? LATE : 0;
      return done;
    }
    return onvif::faulted(
        onvif::Fault(onvif::FaultCode::receiver, {"ter:ActionNotSupported"}, "No"), 500);
  }

  static onvif::Tag nodes() {
    const auto range = [](const char* name, double end) {
      return onvif::Tag(name, onvif::Tag("tt:Min", -end), onvif::Tag("tt:Max", end));
    };
    return onvif::Tag(
        "tptz:GetNodesResponse",
        onvif::Tag("tptz:PTZNode", onvif::Attribute("token", "n"),
                   onvif::Tag("tt:SupportedPTZSpaces",
                              onvif::Tag("tt:AbsolutePanTiltPositionSpace",
                                         onvif::Tag("tt:URI", onvif::space::POSITION_DEGREES),
                                         range("tt:XRange", 180), range("tt:YRange", 90)))));
  }

  static onvif::Tag configurations() {
    return onvif::Tag("tptz:GetConfigurationsResponse",
                      onvif::Tag("tptz:PTZConfiguration", onvif::Attribute("token", "ptz"),
                                 onvif::Tag("tt:DefaultAbsolutePantTiltPositionSpace",
                                            onvif::space::POSITION_DEGREES)));
  }

  onvif::FakeAnswer status() {
    if (hasNoStatus) {
      return onvif::faulted(
          onvif::Fault(onvif::FaultCode::receiver, {"ter:Action", "ter:NoStatus"}, "No"), 500);
    }
    pan = std::min(pan + 0.002 * speed, 0.9);
    const char* moves = isStuckMoving || speed != 0 ? "MOVING" : "IDLE";
    onvif::FakeAnswer told = onvif::answered(onvif::Tag(
        "tptz:GetStatusResponse",
        onvif::Tag(
            "tptz:PTZStatus",
            onvif::Tag(
                "tt:Position",
                onvif::Tag("tt:PanTilt", onvif::Attribute("x", pan), onvif::Attribute("y", 0.0)),
                zoom ? std::optional(onvif::Tag("tt:Zoom", onvif::Attribute("x", *zoom),
                                                onvif::Attribute("space", zoomSpace)))
                     : std::nullopt),
            onvif::Tag("tt:MoveStatus", onvif::Tag("tt:PanTilt", moves),
                       onvif::Tag("tt:Zoom", "IDLE")),
            tellsTime
                ? std::optional(onvif::Tag("tt:UtcTime", onvif::dateTimeText(g_get_real_time())))
                : std::nullopt)));
    told.delay = statusDelay;
    return told;
  }

  std::vector<std::int64_t> when;
  onvif::FakeCamera camera{[this](const onvif::FakeRequest& request) { return answer(request); }};
};

}  // namespace device::bridge

#endif
