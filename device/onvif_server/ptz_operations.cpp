#include "onvif_server/ptz_operations.h"

#include <algorithm>
#include <cmath>

#include "base/text.h"
#include "base/units.h"
#include "onvif/fault.h"
#include "onvif/namespaces.h"
#include "onvif/time_text.h"

namespace device::onvif {
namespace {

constexpr char NODE[] = "head_node";
constexpr char CONFIGURATION[] = "head_ptz";
constexpr double USUAL_HOLD = 10;  // seconds, where the head has no limit of its own
constexpr std::size_t LONGEST_NAME = 64;

std::string usualTimeout(const HeadSetup& setup) {
  const double hold = std::isfinite(setup.speedHold) ? setup.speedHold : USUAL_HOLD;
  return durationText(units::roundedFromSeconds(hold));
}

Tag nodeTag(const HeadSetup& setup) {
  return Tag("tptz:PTZNode", Attribute("token", NODE), Attribute("FixedHomePosition", true),
             Tag("tt:Name", "Head"), Tag("tt:SupportedPTZSpaces", HeadSpace(setup).tags()),
             Tag("tt:MaximumNumberOfPresets", PtzOperations::MOST_PRESETS),
             Tag("tt:HomeSupported", true));
}

const char* moveText(bool moving) {
  return moving ? "MOVING" : "IDLE";
}

bool isAsked(const Request& request, const char* name) {
  const std::string text = optionalText(request, ns::PTZ, name);
  if (text != "true" && text != "1" && text != "false" && text != "0" && !text.empty()) {
    throw invalidArguments(std::string(name) + " is neither true nor false");
  }
  return text.empty() || text == "true" || text == "1";
}

PtzVector optionalVector(const Request& request, const char* name) {
  const auto element = request.body.child(ns::PTZ, name);
  return element ? readPtzVector(*element) : PtzVector();
}

}  // namespace

Tag ptzConfigurationTag(const std::string& name, const HeadSetup& setup) {
  return Tag(
      name, Attribute("token", CONFIGURATION), Tag("tt:Name", "Head"), Tag("tt:UseCount", USES),
      Tag("tt:NodeToken", NODE), Tag("tt:DefaultAbsolutePantTiltPositionSpace", space::POSITION),
      Tag("tt:DefaultAbsoluteZoomPositionSpace", space::ZOOM_POSITION),
      Tag("tt:DefaultRelativePanTiltTranslationSpace", space::TRANSLATION),
      Tag("tt:DefaultRelativeZoomTranslationSpace", space::ZOOM_TRANSLATION),
      Tag("tt:DefaultContinuousPanTiltVelocitySpace", space::VELOCITY),
      Tag("tt:DefaultContinuousZoomVelocitySpace", space::ZOOM_VELOCITY),
      Tag("tt:DefaultPTZSpeed", panTiltTag({1, 1, space::SPEED}), zoomTag({1, space::ZOOM_SPEED})),
      Tag("tt:DefaultPTZTimeout", usualTimeout(setup)),
      Tag("tt:PanTiltLimits", rangeTag("tt:Range", space::POSITION, -1, 1, -1, 1)),
      Tag("tt:ZoomLimits", rangeTag("tt:Range", space::ZOOM_POSITION, 0, 1)));
}

PtzOperations::PtzOperations(const std::vector<CameraProfile>& profiles, HeadDrive& drive,
                             WallClock clock)
    : profiles(profiles),
      drive(drive),
      clock(std::move(clock)),
      spaces(drive.getHead().getSetup()) {}

void PtzOperations::addTo(Operations& operations) {
  const auto add = [&](const char* name, Operations::Function function,
                       Access access = Access::user) {
    operations.add(ns::PTZ, name, access, std::move(function));
  };
  add(
      "GetServiceCapabilities",
      [](const Request&) {
        return Tag("tptz:GetServiceCapabilitiesResponse",
                   Tag("tptz:Capabilities", Attribute("EFlip", false), Attribute("Reverse", false),
                       Attribute("MoveStatus", true), Attribute("StatusPosition", true)));
      },
      Access::anybody);
  add("GetNodes", [this](const Request&) { return nodes(); });
  add("GetNode", [this](const Request& request) { return node(request); });
  add("GetConfigurations", [this](const Request&) { return configurations(); });
  add("GetConfiguration", [this](const Request& request) { return configuration(request); });
  add("GetCompatibleConfigurations",
      [this](const Request& request) { return compatibleConfigurations(request); });
  add("GetConfigurationOptions",
      [this](const Request& request) { return configurationOptions(request); });
  add("GetStatus", [this](const Request& request) { return status(request); });
  add("ContinuousMove", [this](const Request& request) { return continuousMove(request); });
  add("AbsoluteMove", [this](const Request& request) { return absoluteMove(request); });
  add("RelativeMove", [this](const Request& request) { return relativeMove(request); });
  add("Stop", [this](const Request& request) { return stop(request); });
  add("GotoHomePosition", [this](const Request& request) { return goHome(request); });
  add("SetHomePosition", [this](const Request& request) { return setHome(request); });
  add("GetPresets", [this](const Request& request) { return presets(request); });
  add("SetPreset", [this](const Request& request) { return setPreset(request); });
  add("GotoPreset", [this](const Request& request) { return goToPreset(request); });
  add("RemovePreset", [this](const Request& request) { return removePreset(request); });
}

void PtzOperations::requireHead(const Request& request) const {
  if (!profileOf(profiles, request, ns::PTZ).isHead()) {
    throw invalidArgument("ter:NoPTZProfile", "This profile's camera does not move");
  }
}

PtzVector PtzOperations::requiredVector(const Request& request, const char* name) const {
  const PtzVector vector = optionalVector(request, name);
  if (!vector.panTilt && !vector.zoom) {
    throw invalidArguments(std::string(name) + " says nothing");
  }
  return vector;
}

Tag PtzOperations::nodes() const {
  return Tag("tptz:GetNodesResponse", nodeTag(drive.getHead().getSetup()));
}

Tag PtzOperations::node(const Request& request) const {
  if (requiredText(request, ns::PTZ, "NodeToken") != NODE) {
    throw invalidArgument("ter:NoEntity", "There is no such node");
  }
  return Tag("tptz:GetNodeResponse", nodeTag(drive.getHead().getSetup()));
}

Tag PtzOperations::configurations() const {
  return Tag("tptz:GetConfigurationsResponse",
             ptzConfigurationTag("tptz:PTZConfiguration", drive.getHead().getSetup()));
}

Tag PtzOperations::configuration(const Request& request) const {
  if (requiredText(request, ns::PTZ, "PTZConfigurationToken") != CONFIGURATION) {
    throw invalidArgument("ter:NoConfig", "There is no such configuration");
  }
  return Tag("tptz:GetConfigurationResponse",
             ptzConfigurationTag("tptz:PTZConfiguration", drive.getHead().getSetup()));
}

Tag PtzOperations::compatibleConfigurations(const Request& request) const {
  Tag response("tptz:GetCompatibleConfigurationsResponse");
  if (profileOf(profiles, request, ns::PTZ).isHead()) {
    response.add(ptzConfigurationTag("tptz:PTZConfiguration", drive.getHead().getSetup()));
  }
  return response;
}

Tag PtzOperations::configurationOptions(const Request& request) const {
  if (requiredText(request, ns::PTZ, "ConfigurationToken") != CONFIGURATION) {
    throw invalidArgument("ter:NoConfig", "There is no such configuration");
  }
  return Tag("tptz:GetConfigurationOptionsResponse",
             Tag("tptz:PTZConfigurationOptions", Tag("tt:Spaces", spaces.tags()),
                 Tag("tt:PTZTimeout", Tag("tt:Min", durationText(LEAST_TIMEOUT)),
                     Tag("tt:Max", durationText(MOST_TIMEOUT)))));
}

// A client that has sent a command waits for the head to stand: what the command has not begun yet,
// and what the head's sensor does not tell yet, counts as motion.
Tag PtzOperations::status(const Request& request) {
  requireHead(request);
  return Tag("tptz:GetStatusResponse", statusTag("tptz:PTZStatus", true));
}

Tag PtzOperations::statusTag(const std::string& name, bool withTime) const {
  const HeadStatus told = drive.getHead().toldStatus();
  const HeadStatus real = drive.getHead().status();
  const bool pending = drive.getHead().isCommandOnItsWay() || claimsMotion();
  const bool panTiltMoves =
      pending || told.panMoving || told.tiltMoving || real.panMoving || real.tiltMoving;
  const bool zoomMoves = pending || told.zoomMoving || real.zoomMoving;
  return Tag(
      name,
      Tag("tt:Position", panTiltTag(spaces.panTiltOf(told)), zoomTag(spaces.zoomOf(told.zoom))),
      Tag("tt:MoveStatus", Tag("tt:PanTilt", moveText(panTiltMoves)),
          Tag("tt:Zoom", moveText(zoomMoves))),
      Tag("tt:UtcTime", withTime ? dateTimeText(clock()) : std::string()),
      Tag("tt:FieldOfView", Attribute("hfov", told.pictureWidth),
          Attribute("vfov", told.pictureHeight)));
}

Tag PtzOperations::continuousMove(const Request& request) {
  requireHead(request);
  HeadCommand command = spaces.velocity(requiredVector(request, "Velocity"));
  if (const std::string text = optionalText(request, ns::PTZ, "Timeout"); !text.empty()) {
    const auto timeout = readDuration(text);
    if (!timeout || *timeout < LEAST_TIMEOUT || *timeout > MOST_TIMEOUT) {
      throw invalidArgument("ter:TimeoutNotSupported", "Timeout is not within its limits");
    }
    command.hold = units::toSeconds(*timeout);
  } else if (!std::isfinite(drive.getHead().getSetup().speedHold)) {
    command.hold = USUAL_HOLD;
  }
  drive.getHead().command(command);
  return Tag("tptz:ContinuousMoveResponse");
}

Tag PtzOperations::absoluteMove(const Request& request) {
  requireHead(request);
  const PtzVector position = requiredVector(request, "Position");
  goTo(spaces.target(position, drive.getHead().toldStatus()), position,
       optionalVector(request, "Speed"));
  return Tag("tptz:AbsoluteMoveResponse");
}

Tag PtzOperations::relativeMove(const Request& request) {
  requireHead(request);
  const PtzVector way = requiredVector(request, "Translation");
  goTo(spaces.targetOfWay(way, drive.getHead().toldStatus()), way,
       optionalVector(request, "Speed"));
  return Tag("tptz:RelativeMoveResponse");
}

// Two commands, as the speeds differ; what is not spoken of is left alone.
void PtzOperations::goTo(const HeadPosition& target, const PtzVector& asked,
                         const PtzVector& speed) {
  const int panTiltSpeed = spaces.panTiltSpeed(speed);
  const int zoomSpeed = spaces.zoomSpeed(speed);
  if (asked.panTilt) {
    drive.getHead().command({.pan = {MoveKind::absolute, target.pan},
                             .tilt = {MoveKind::absolute, target.tilt},
                             .zoom = {},
                             .speed = panTiltSpeed});
  }
  if (asked.zoom) {
    drive.getHead().command({.pan = {},
                             .tilt = {},
                             .zoom = {MoveKind::absolute, static_cast<double>(target.zoom)},
                             .speed = zoomSpeed});
  }
}

Tag PtzOperations::stop(const Request& request) {
  requireHead(request);
  constexpr AxisCommand STAND{MoveKind::continuous, 0};
  HeadCommand command;
  command.speed = 0;
  if (isAsked(request, "PanTilt")) {
    command.pan = STAND;
    command.tilt = STAND;
  }
  if (isAsked(request, "Zoom")) {
    command.zoom = STAND;
  }
  drive.getHead().command(command);
  return Tag("tptz:StopResponse");
}

Tag PtzOperations::goHome(const Request& request) {
  requireHead(request);
  drive.getHead().goHome(spaces.panTiltSpeed(optionalVector(request, "Speed")));
  return Tag("tptz:GotoHomePositionResponse");
}

Tag PtzOperations::setHome(const Request& request) const {
  requireHead(request);
  throw Fault(FaultCode::receiver, {"ter:Action", "ter:CannotOverwriteHome"},
              "The home position is the installation's");
}

Tag PtzOperations::presets(const Request& request) {
  requireHead(request);
  Tag response("tptz:GetPresetsResponse");
  for (const auto& [number, position] : drive.getHead().getPresets()) {
    const HeadStatus there{.pan = position.pan, .tilt = position.tilt, .zoom = position.zoom};
    response.add(Tag("tptz:Preset", Attribute("token", std::to_string(number)),
                     Tag("tt:Name", nameOf(number)),
                     Tag("tt:PTZPosition", panTiltTag(spaces.panTiltOf(there)),
                         zoomTag(spaces.zoomOf(position.zoom)))));
  }
  return response;
}

Tag PtzOperations::setPreset(const Request& request) {
  requireHead(request);
  const std::string name = optionalText(request, ns::PTZ, "PresetName");
  const bool isNew = optionalText(request, ns::PTZ, "PresetToken").empty();
  const int preset = isNew ? freePreset() : presetOf(request);
  if (name.size() > LONGEST_NAME) {
    throw invalidArguments("PresetName is too long");
  }
  for (const auto& [number, position] : drive.getHead().getPresets()) {
    if (number != preset && !name.empty() && nameOf(number) == name) {
      throw invalidArgument("ter:PresetExist", "Another preset has this name");
    }
  }
  if (drive.getHead().status().moving() || drive.getHead().isCommandOnItsWay()) {
    throw Fault(FaultCode::receiver, {"ter:Action", "ter:MovingPTZ"}, "The head is moving");
  }
  drive.getHead().setPreset(preset);
  if (isNew || !name.empty()) {
    presetNames[preset] = name;
  }
  return Tag("tptz:SetPresetResponse", Tag("tptz:PresetToken", preset));
}

Tag PtzOperations::goToPreset(const Request& request) {
  requireHead(request);
  const int preset = presetOf(request);
  drive.getHead().goToPreset(preset, spaces.panTiltSpeed(optionalVector(request, "Speed")));
  return Tag("tptz:GotoPresetResponse");
}

Tag PtzOperations::removePreset(const Request& request) {
  requireHead(request);
  const int preset = presetOf(request);
  drive.getHead().removePreset(preset);
  presetNames.erase(preset);
  return Tag("tptz:RemovePresetResponse");
}

int PtzOperations::presetOf(const Request& request) {
  const std::string token = requiredText(request, ns::PTZ, "PresetToken");
  const auto number = text::toNumber<int>(token);
  if (!number || !drive.getHead().getPresets().contains(*number)) {
    throw invalidArgument("ter:NoToken", "There is no preset " + token);
  }
  return *number;
}

int PtzOperations::freePreset() {
  const auto& presets = drive.getHead().getPresets();
  if (presets.size() >= MOST_PRESETS) {
    throw Fault(FaultCode::receiver, {"ter:Action", "ter:TooManyPresets"},
                "There are as many presets as there may be");
  }
  int preset = 1;
  while (presets.contains(preset)) {
    ++preset;
  }
  return preset;
}

std::string PtzOperations::nameOf(int preset) const {
  const auto found = presetNames.find(preset);
  const bool isNamed = found != presetNames.end() && !found->second.empty();
  return isNamed ? found->second : "Preset " + std::to_string(preset);
}

}  // namespace device::onvif
