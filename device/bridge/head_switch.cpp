#include "bridge/head_switch.h"

#include <utility>

namespace device::bridge {

void HeadSwitch::set(std::unique_ptr<RemoteHead> next) {
  stopForGood();
  head = std::move(next);
  if (head) {
    head->hold(held);
  }
}

void HeadSwitch::hold(bool isHeldNow) {
  if (isHeldNow && !held) {
    stopForGood();
  }
  held = isHeldNow;
  if (head) {
    head->hold(held);
  }
}

void HeadSwitch::stopForGood() {
  if (head) {
    head->stopForGood();
  }
}

const std::map<std::string, std::string>* HeadSwitch::parameters() const {
  return head ? head->parameters() : nullptr;
}

std::optional<RemoteHead::Zoom> HeadSwitch::zoomTold() const {
  return head ? head->zoomTold() : std::nullopt;
}

void HeadSwitch::command(const HeadCommand& command) {
  if (isFree()) {
    head->command(command);
  }
}

void HeadSwitch::goHome(int speed) {
  if (isFree()) {
    head->goHome(speed);
  }
}

bool HeadSwitch::setPreset(int preset) {
  return head && head->setPreset(preset);
}

bool HeadSwitch::goToPreset(int preset, int speed) {
  return isFree() && head->goToPreset(preset, speed);
}

std::map<int, HeadPosition> HeadSwitch::presets() {
  return head ? head->presets() : std::map<int, HeadPosition>();
}

std::optional<HeadStatus> HeadSwitch::toldStatus() {
  return head ? head->toldStatus() : std::nullopt;
}

HeadStatus HeadSwitch::presentStatus() {
  return head ? head->presentStatus() : HeadStatus();
}

int HeadSwitch::presetHere() {
  return head ? head->presetHere() : 0;
}

}  // namespace device::bridge
