#include "score/device_in_memory.h"

#include <cmath>
#include <utility>

#include "base/units.h"
#include "memory/fibres.h"

namespace score {

namespace {

constexpr const char* APPLICATION = "application";  // who owns its events

std::int64_t now() {
  return memory::Fibres::get().now();
}

double seconds() {
  return units::toSeconds(now());
}

}  // namespace

DeviceInMemory::DeviceInMemory(const device::Model& model, const device::World& world,
                               std::uint64_t seed, double bootSeconds)
    : world(world),
      drive(model.head, now, seed),
      callDelay(drive.getHead().makeCallDelay()),
      parameters(model.parameters),
      headParameters(
          model.headParameters,
          [ready = now() + units::roundedFromSeconds(bootSeconds)] { return now() >= ready; }),
      monitor({.onState = [this](const std::string& state) { tuningWatch.state(seconds(), state); },
               .onSentreling = [](bool) {},
               .onAlarm = [](bool) {}}) {
  memory::setDevice(this);
}

DeviceInMemory::~DeviceInMemory() {
  memory::setDevice(nullptr);
}

device::TuningFigures DeviceInMemory::tuning() const {
  return tuningWatch.figures(seconds());
}

std::optional<std::string> DeviceInMemory::parameter(const std::string& name) {
  return parameters.get(name);
}

std::optional<memory::Lens> DeviceInMemory::lens(int channel) {
  if (channel < 0 || channel >= world.channelCount()) {
    return std::nullopt;
  }
  const device::OverviewCamera& camera = world.camera(channel);
  return memory::Lens{camera.horizontalFov(), camera.verticalFov(), camera.rotation()};
}

std::string DeviceInMemory::answerOfHead(std::string_view line) {
  return headParameters.answer(line);
}

memory::CallTime DeviceInMemory::callTime() {
  const std::int64_t whole = callDelay.isOff() ? 0 : units::roundedFromSeconds(callDelay.next());
  return {.there = whole / 2, .back = whole - whole / 2};
}

bool DeviceInMemory::move(int channel, const memory::HeadMove& move) {
  const auto pan = device::axisCommand(move.pan.kind, move.pan.value);
  const auto tilt = device::axisCommand(move.tilt.kind, move.tilt.value);
  const auto zoom = device::axisCommand(move.zoom.kind, move.zoom.value);
  if (device::refusalOf(channel, move.speed) != nullptr || !pan || !tilt || !zoom) {
    return false;
  }
  head().command({*pan, *tilt, *zoom, move.speed});
  return true;
}

bool DeviceInMemory::goHome(int channel, int speed) {
  if (device::refusalOf(channel, speed) != nullptr) {
    return false;
  }
  head().goHome(speed);
  return true;
}

std::optional<ptztolva_status> DeviceInMemory::status(int channel) {
  if (device::refusalOf(channel) != nullptr) {
    return std::nullopt;
  }
  const device::HeadStatus told = head().toldStatus();
  return ptztolva_status{.pan = static_cast<float>(told.pan),
                         .pan_moving = told.panMoving,
                         .tilt = static_cast<float>(told.tilt),
                         .tilt_moving = told.tiltMoving,
                         .zoom = told.zoom,
                         .zoom_moving = told.zoomMoving};
}

std::uint32_t DeviceInMemory::declareEvent(GVariant* keys, bool isStateless, std::int64_t time) {
  auto read = eventKeysFromVariant(keys, StrangeValue::refuse);
  if (!read) {
    return 0;
  }
  const auto declared = events.declare(APPLICATION, std::move(*read), isStateless, time);
  return declared.status == device::EventStatus_e::ok ? declared.id : 0;
}

bool DeviceInMemory::sendEvent(std::uint32_t id, GVariant* keys, std::int64_t time) {
  const auto read = eventKeysFromVariant(keys, StrangeValue::refuse);
  if (!read) {
    return false;
  }
  const auto sent = events.send(APPLICATION, id, *read, time);
  if (sent.status != device::EventStatus_e::ok) {
    return false;
  }
  monitor.handle(sent.event);
  return true;
}

bool DeviceInMemory::undeclareEvent(std::uint32_t id) {
  return events.undeclare(APPLICATION, id) == device::EventStatus_e::ok;
}

void DeviceInMemory::log(int, const std::string& line) {
  logged.push_back(line);
  tuningWatch.logLine(line);
}

}  // namespace score
