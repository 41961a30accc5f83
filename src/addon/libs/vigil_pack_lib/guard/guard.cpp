#include "addon/libs/vigil_pack_lib/guard/guard.h"

#include <algorithm>
#include <utility>

#include "addon/libs/vigil_pack_lib/filters/low_confident_object_filter.h"
#include "config/constants.h"
#include "events/camera_info.h"
#include "geometry/svg_doc.h"

namespace {

constexpr std::int64_t VISUAL_CONFIRMATION_TIMEOUT = 900'000'000;  // microseconds, 15 minutes

constexpr double FILL_OPACITY = 0.2;
constexpr double STROKE_WIDTH = 0.005;
constexpr const char* ALARM_COLOUR = "#FF0000";
constexpr const char* NORMAL_COLOUR = "#00FF00";

const char* colourOf(const ObjectAlarmStatus& entry) {
  const bool isAlarm = entry.object->getIsConfident() && entry.status == AlarmDataStatus_e::alarm;
  return isAlarm ? ALARM_COLOUR : NORMAL_COLOUR;
}

}  // namespace

std::string Guard::drawingStyle(const char* colour) {
  return createSVGStyle(colour, FILL_OPACITY, colour, STROKE_WIDTH);
}

Guard::Guard(const std::string& name, std::int32_t uid, std::int32_t camera,
             std::int64_t eventDuration, const std::string& appName, StateEventProducerI& producer,
             std::int32_t preset)
    : name(name),
      uid(uid),
      camera(camera),
      eventDuration(eventDuration),
      isMechanicalPtz(CameraInfo::isMechanicalPTZ()),
      visualConfirmation(constants::VISUAL_CONFIRMATION_EVENT, VISUAL_CONFIRMATION_TIMEOUT),
      preset(preset),
      stateEvents(camera, uid, appName, name, eventDuration, producer) {
  addExclusionFilter(std::make_unique<LowConfidentObjectFilter>());
}

Guard::~Guard() = default;

void Guard::handleStartupPreset(std::int32_t p) {
  const LockGuard guard(lock);
  currentPreset = p;
}

void Guard::handleArrivingAtPreset(std::int32_t p, std::int64_t time) {
  const LockGuard guard(lock);
  currentPreset = p;
  arrivalTime = time;
}

void Guard::handleLeavingPreset(std::int64_t time) {
  const LockGuard guard(lock);
  currentPreset = PRESET_NONE;
  stopAllEvents(time);
}

void Guard::handleMovementEvent(bool moving, std::int64_t time) {
  const LockGuard guard(lock);
  isMoving = moving;
  movementTime = time;
  stopAllEvents(time);
}

void Guard::handleTransportLoss(std::int64_t time) {
  const LockGuard guard(lock);
  stopAllEvents(time);
}

bool Guard::shouldDataBeProcessed(std::int64_t time) const {
  const LockGuard guard(lock);
  if (isMoving) {
    return false;
  }
  switch (preset) {
    case PRESET_NOT_BOUND:
      return time >= movementTime || (currentPreset == PRESET_NOT_BOUND && time >= arrivalTime);
    case PRESET_ANY:
      return currentPreset != PRESET_NONE && time >= arrivalTime;
    default:
      return currentPreset == preset && time >= arrivalTime;
  }
}

void Guard::addExclusionFilter(std::unique_ptr<ExclusionFilter> filter) {
  const LockGuard guard(lock);
  if (filter != nullptr) {
    filters.push_back(std::move(filter));
  }
}

void Guard::updateFilterData(TrackingObject& object) {
  const LockGuard guard(lock);
  for (const auto& filter : filters) {
    filter->updateFilterData(object);
  }
}

bool Guard::canObjectTriggerAlarm(TrackingObject& object) const {
  const LockGuard guard(lock);
  return passesFilters(object);
}

bool Guard::passesFilters(TrackingObject& object) const {
  return std::ranges::all_of(
      filters, [&object](const auto& filter) { return filter->canObjectTriggerAlarm(object); });
}

bool Guard::enableVisualConfirmation(const std::string& header) {
  const LockGuard guard(lock);
  svgHeader = header;
  return visualConfirmation.enable();
}

bool Guard::resumeVisualConfirmation(const VisualConfirmationData& drawing) {
  const LockGuard guard(lock);
  svgHeader = drawing.svgHeader;
  return visualConfirmation.resume(drawing.enabledSince);
}

void Guard::disableVisualConfirmation() {
  const LockGuard guard(lock);
  visualConfirmation.disable();
}

bool Guard::isVisualConfirmationAllowedToSend() const {
  const LockGuard guard(lock);
  return visualConfirmation.isAllowedToSend();
}

VisualConfirmationData Guard::getVC_Data() const {
  const LockGuard guard(lock);
  return {uid, svgHeader, visualConfirmation.isEnabled(), visualConfirmation.getEnabledSince()};
}

AlarmDataStatus_e Guard::createAlarmStatus(bool triggers, bool passesFilters) {
  if (triggers) {
    return AlarmDataStatus_e::alarm;
  }
  return passesFilters ? AlarmDataStatus_e::passes : AlarmDataStatus_e::filtered;
}

void Guard::checkObjects(ParsedScene& scene, const std::string& svg) {
  const LockGuard guard(lock);
  const std::int64_t time = scene.getTimestamp();
  if (testAlarmRequested) {
    handleTestEvent(time, svg);
    return;
  }
  if (isMechanicalPtz && !shouldDataBeProcessed(time)) {
    return;
  }
  const AlarmData alarms = updateObjectsAndGetAlarms(scene);
  stateEvents.handleAlarm(alarms.anyAlarm, time);
  sendVisualConfirmationEvent(alarms, time, svg);
}

// While it lasts, the frame's objects are not looked at.
void Guard::handleTestEvent(std::int64_t time, const std::string& svg) {
  if (!testAlarmStarted) {
    testAlarmStarted = true;
    stateEvents.handleAlarm(true, time);
  }
  if (stateEvents.hasReachedEnd(time)) {
    testAlarmStarted = false;
    testAlarmRequested = false;
    stateEvents.handleAlarm(false, time);
    visualConfirmation.clearScreen();
    return;
  }
  if (visualConfirmation.isEnabled()) {
    visualConfirmation.sendEvent(SvgDoc(svgHeader, svg), time);
  }
}

void Guard::stopTestAlarm() {
  if (testAlarmStarted) {
    testAlarmStarted = false;
    testAlarmRequested = false;
  }
}

void Guard::sendVisualConfirmationEvent(const AlarmData& alarms, std::int64_t time,
                                        const std::string& svg) {
  if (!visualConfirmation.isEnabled()) {
    return;
  }
  SvgDoc document(svgHeader, createVisualConfirmationSvg(alarms));
  if (stateEvents.isOngoing()) {
    document += svg;
  }
  visualConfirmation.sendEvent(document, time);
}

std::string Guard::createVisualConfirmationSvg(const AlarmData& alarms) const {
  std::string body;
  for (const ObjectAlarmStatus& entry : alarms.getObjects()) {
    body += entry.object->toStringSvg(drawingStyle(colourOf(entry)));
  }
  return body;
}
