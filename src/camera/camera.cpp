#include "camera/camera.h"

#include <syslog.h>

#include <algorithm>
#include <utility>

#include "app/clock.h"
#include "base/units.h"

namespace {

constexpr std::int32_t NO_PRESET_TOKEN = -1;
constexpr std::int64_t LARGEST_STEP_BACK = units::fromSeconds(1);

bool sortByPriority(const std::unique_ptr<Guard>& a, const std::unique_ptr<Guard>& b) {
  return a->getPriority() < b->getPriority();
}

}  // namespace

Camera::Camera(std::int32_t cameraNbr, std::int32_t rotation, float aspectRatio,
               std::int32_t propertyMask, const StartupPosition& startupPosition)
    : cameraNbr(cameraNbr),
      propertyMask(propertyMask),
      currentPreset(startupPosition.preset),
      lastMovement(startupPosition.movement),
      parser(rotation, aspectRatio) {}

Camera::~Camera() = default;

void Camera::processFrame(const SceneFrame& frame) {
  scene.read(frame, propertyMask);
  if (!scene.isDecoded) {
    syslog(LOG_WARNING, "Could not decode scene.\n");
    return;
  }
  // What was timed by the old clock would last for as long as the clock was set back.
  if (lastTimestamp && scene.timestamp < *lastTimestamp - LARGEST_STEP_BACK) {
    syslog(LOG_WARNING, "The time of the scene was set back.\n");
    handleTransportLoss();
  }
  lastTimestamp = scene.timestamp;
  ParsedScene parsed = parser.parse(scene);
  sortGuards();
  for (const auto& guard : guards) {
    guard->checkObjects(parsed);
  }
}

// Ascending, so that the most important profile has the last word on an object.
void Camera::sortGuards() {
  std::ranges::stable_sort(guards, sortByPriority);
}

void Camera::insertGuard(std::unique_ptr<Guard> guard) {
  const LockGuard guardLock(lock);
  tellPosition(*guard);
  guards.push_back(std::move(guard));
}

Guard* Camera::getGuard(int uid) const {
  const LockGuard guardLock(lock);
  const auto found =
      std::ranges::find_if(guards, [uid](const auto& guard) { return guard->getUid() == uid; });
  return found == guards.end() ? nullptr : found->get();
}

void Camera::removeAllGuards() {
  const LockGuard guardLock(lock);
  guards.clear();
}

bool Camera::doesProfileExist(int uid) const {
  return getGuard(uid) != nullptr;
}

bool Camera::sendAlarmEvent(int uid) {
  const LockGuard guardLock(lock);
  Guard* guard = getGuard(uid);
  if (guard == nullptr) {
    return false;
  }
  guard->sendAlarmEvent();
  return true;
}

bool Camera::enableVisualConfirmation(int uid, const std::string& svgHeader) {
  const LockGuard guardLock(lock);
  Guard* guard = getGuard(uid);
  return guard != nullptr && guard->enableVisualConfirmation(svgHeader);
}

void Camera::disableVisualConfirmation() {
  const LockGuard guardLock(lock);
  for (const auto& guard : guards) {
    guard->disableVisualConfirmation();
  }
}

void Camera::disableVisualConfirmation(int uid) {
  const LockGuard guardLock(lock);
  if (Guard* guard = getGuard(uid)) {
    guard->disableVisualConfirmation();
  }
}

bool Camera::resumeVisualConfirmation(const VisualConfirmationData& drawing) {
  const LockGuard guardLock(lock);
  Guard* guard = getGuard(drawing.uid);
  return guard != nullptr && guard->resumeVisualConfirmation(drawing);
}

std::optional<VisualConfirmationData> Camera::getVC_Data() const {
  const LockGuard guardLock(lock);
  for (const auto& guard : guards) {
    if (VisualConfirmationData data = guard->getVC_Data(); data.enabled) {
      return data;
    }
  }
  return std::nullopt;
}

void Camera::handlePTZ_PresetEvent(const PTZ_PresetEvent& event) {
  const LockGuard guardLock(lock);
  if (event.presetToken == NO_PRESET_TOKEN) {
    return;
  }
  if (event.onPreset) {
    currentPreset = event.presetToken;
    for (const auto& guard : guards) {
      guard->handleArrivingAtPreset(event.presetToken, event.timestamp);
    }
    return;
  }
  if (event.presetToken != currentPreset) {
    return;
  }
  for (const auto& guard : guards) {
    guard->handleLeavingPreset(event.timestamp);
  }
  currentPreset = PRESET_NONE;
}

void Camera::handlePTZ_MovementEvent(const PTZ_MovementEvent& event) {
  const LockGuard guardLock(lock);
  lastMovement = event;
  for (const auto& guard : guards) {
    guard->handleMovementEvent(event.isMoving, event.timestamp);
  }
}

// A new guard does not know of earlier events.
void Camera::tellPosition(Guard& guard) const {
  guard.handleStartupPreset(currentPreset);
  if (lastMovement.isMoving) {
    guard.handleMovementEvent(true, lastMovement.timestamp);
  }
}

void Camera::updateWithNewConfiguration(CameraConfiguration& configuration) {
  const LockGuard guardLock(lock);
  const auto drawing = getVC_Data();
  // The old guards go while no frame can come: the end of an alarm must not follow the start of its
  // successor's.
  CameraConfiguration::Guards oldGuards = std::exchange(guards, std::move(configuration.guards));
  for (const auto& guard : guards) {
    tellPosition(*guard);
  }
  if (drawing) {
    resumeVisualConfirmation(*drawing);
  }
  oldGuards.clear();
  parser.updateCameraRotation(configuration.rotation);
}

void Camera::updateAspectRatio(float aspectRatio) {
  const LockGuard guardLock(lock);
  parser.updateAspectRatio(aspectRatio);
}

void Camera::handleTransportLoss() {
  const LockGuard guardLock(lock);
  parser.deleteAll();
  lastTimestamp.reset();
  const std::int64_t now = utils::monotonicTime();
  for (const auto& guard : guards) {
    guard->handleTransportLoss(now);
  }
}

std::int32_t Camera::getCurrentPreset() const {
  const LockGuard guardLock(lock);
  return currentPreset;
}

std::int32_t Camera::getPropertyMask() const {
  const LockGuard guardLock(lock);
  return propertyMask;
}

void Camera::setPropertyMask(std::int32_t mask) {
  const LockGuard guardLock(lock);
  propertyMask = mask;
}
