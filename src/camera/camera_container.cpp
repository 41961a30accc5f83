#include "camera/camera_container.h"

#include <glib.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <utility>

#include "app/clock.h"
#include "app/ratio.h"
#include "base/glib_ptr.h"
#include "events/camera_info.h"
#include "events/parameter.h"
#include "events/time_conversion.h"
#include "geometry/svg_doc.h"
#include "platform/owners.h"

namespace {

constexpr double DEFAULT_ASPECT_RATIO = 16.0 / 9.0;
constexpr double SMALLEST_ASPECT_RATIO = 0.1;
constexpr double LARGEST_ASPECT_RATIO = 10.0;
constexpr std::size_t LONGEST_PARAMETER = 99;
constexpr std::array IDENTITY{1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};

double readRatio(const std::string& name, char separator) {
  return utils::parseRatio(utils::readParameter(name, LONGEST_PARAMETER), separator);
}

// Never of the future, as which an event appears when the wall clock was set back since it was
// sent: the guards would drop all frames until that time has come.
std::int64_t monotonicTimeOf(const OVEvent* event) {
  const std::int64_t time = utils::convertUTC_ToMonotonicTime(ov_event_get_time_stamp(event));
  return std::min(time, utils::monotonicTime());
}

void logUnpackError(const char* key, const ErrorSlot& error) {
  syslog(LOG_WARNING, "Failed to unpack '%s' in a PTZ event, message: %s\n", key,
         error.message().c_str());
}

// The value of a key; nothing, logged, when it cannot be read.
std::optional<bool> readBool(const OVEvent* event, const char* key) {
  ErrorSlot error;
  gboolean flag = FALSE;
  if (!ov_event_key_value_set_get_bool(ov_event_get_key_value_set(event), key, nullptr, &flag,
                                       error.out())) {
    logUnpackError(key, error);
    return std::nullopt;
  }
  return flag != FALSE;
}

std::optional<std::int32_t> readInt(const OVEvent* event, const char* key) {
  ErrorSlot error;
  std::int32_t value = 0;
  if (!ov_event_key_value_set_get_int(ov_event_get_key_value_set(event), key, nullptr, &value,
                                      error.out())) {
    logUnpackError(key, error);
    return std::nullopt;
  }
  return value;
}

}  // namespace

CameraContainer::Cameras CameraContainer::s_cameras;
Mutex CameraContainer::s_mutex;
std::atomic<bool> CameraContainer::s_canReceivePTZ_Callbacks{false};
std::int32_t CameraContainer::s_lastPreset = PRESET_NONE;
std::set<int> CameraContainer::s_assumedAspectRatios;
PTZ_MovementEvent CameraContainer::s_lastMovement;

CameraContainer::CameraContainer(const API_VersionHandler& versionHandler,
                                 std::int32_t propertyMask)
    : versionHandler(versionHandler), propertyMask(propertyMask) {
  // A head that the tracker drives must not gate the camera that watches for it.
  if (CameraInfo::isMechanicalPTZ()) {
    s_canReceivePTZ_Callbacks = true;
    ptzSubscription = std::make_unique<PTZ_Subscription>(&CameraContainer::PTZ_PresetCallback,
                                                         &CameraContainer::PTZ_MovementCallback);
  }
}

CameraContainer::~CameraContainer() {
  shutDownPTZ();
  removeAllCameras();
}

bool CameraContainer::isEmpty() {
  const LockGuard lock(s_mutex);
  return s_cameras.empty();
}

// ---- Configuration ----

void CameraContainer::updateWithNewConfiguration(CameraConfigurationContainer configurations) {
  const auto drawing = findVC_Data();
  removeUnusedCameras(configurations);
  for (CameraConfiguration& configuration : configurations.getConfigurations()) {
    if (getCamera(configuration) == nullptr) {
      createCamera(configuration.cameraNbr, configuration.rotation, versionHandler, propertyMask);
    } else if (isAspectRatioAssumed(configuration.cameraNbr)) {
      readAspectRatioAgain(configuration);
    }
    const LockGuard lock(s_mutex);
    for (const auto& camera : s_cameras) {
      if (camera->matches(configuration)) {
        camera->updateWithNewConfiguration(configuration);
      }
    }
  }
  resumeOnAnotherCamera(drawing);
}

// A profile that has moved to another camera keeps its drawing.
void CameraContainer::resumeOnAnotherCamera(const std::optional<VisualConfirmationData>& drawing) {
  if (drawing && !isVisualConfEnabled()) {
    anyCamera([&drawing](Camera& camera) { return camera.resumeVisualConfirmation(*drawing); });
  }
}

CameraContainer::Cameras CameraContainer::takeUnusedCameras(
    const CameraConfigurationContainer& configurations) {
  const LockGuard lock(s_mutex);
  const auto isUsed = [&configurations](const std::unique_ptr<Camera>& camera) {
    return std::ranges::any_of(configurations.getConfigurations(),
                               [&camera](const CameraConfiguration& configuration) {
                                 return camera->matches(configuration);
                               });
  };
  const auto unused = std::stable_partition(s_cameras.begin(), s_cameras.end(), isUsed);
  Cameras taken(std::make_move_iterator(unused), std::make_move_iterator(s_cameras.end()));
  s_cameras.erase(unused, s_cameras.end());
  return taken;
}

void CameraContainer::removeUnusedCameras(const CameraConfigurationContainer& configurations) {
  end(takeUnusedCameras(configurations));
}

void CameraContainer::insertCamera(std::unique_ptr<Camera> camera) {
  const LockGuard lock(s_mutex);
  s_cameras.push_back(std::move(camera));
}

Camera* CameraContainer::getCamera(const CameraConfiguration& configuration) const {
  const LockGuard lock(s_mutex);
  const auto found = std::ranges::find_if(
      s_cameras, [&configuration](const auto& camera) { return camera->matches(configuration); });
  return found == s_cameras.end() ? nullptr : found->get();
}

bool CameraContainer::doesCameraExist(const Camera* camera) {
  return std::ranges::any_of(s_cameras,
                             [camera](const auto& known) { return known.get() == camera; });
}

void CameraContainer::removeAllCameras() {
  Cameras removed;
  {
    const LockGuard lock(s_mutex);
    removed.swap(s_cameras);
  }
  end(std::move(removed));
}

// All are told before the first is waited for, so that they end meanwhile.
void CameraContainer::end(Cameras cameras) {
  for (const auto& camera : cameras) {
    camera->stop();
  }
  cameras.clear();
}

float CameraContainer::readAspectRatio(int cameraNbr) {
  const std::string index = std::to_string(cameraNbr - 1);
  const auto isPlausible = [](double ratio) {
    return ratio >= SMALLEST_ASPECT_RATIO && ratio <= LARGEST_ASPECT_RATIO;
  };
  double ratio = readRatio("root.ImageSource.I" + index + ".Sensor.AspectRatio", ':');
  if (!isPlausible(ratio)) {
    ratio = readRatio("root.Image.I" + index + ".Appearance.Resolution", 'x');
  }
  const LockGuard lock(s_mutex);
  if (isPlausible(ratio)) {
    s_assumedAspectRatios.erase(cameraNbr);
    return static_cast<float>(ratio);
  }
  s_assumedAspectRatios.insert(cameraNbr);
  return static_cast<float>(DEFAULT_ASPECT_RATIO);
}

bool CameraContainer::isAspectRatioAssumed(int cameraNbr) {
  const LockGuard lock(s_mutex);
  return s_assumedAspectRatios.contains(cameraNbr);
}

void CameraContainer::readAspectRatioAgain(const CameraConfiguration& configuration) {
  const float aspectRatio = readAspectRatio(configuration.cameraNbr);
  const LockGuard lock(s_mutex);
  for (const auto& camera : s_cameras) {
    if (camera->matches(configuration)) {
      camera->updateAspectRatio(aspectRatio);
    }
  }
}

// ---- Requests of the API ----

bool CameraContainer::anyCamera(const std::function<bool(Camera&)>& predicate) const {
  const LockGuard lock(s_mutex);
  return std::ranges::any_of(s_cameras, [&predicate](const auto& c) { return predicate(*c); });
}

bool CameraContainer::doesProfileExist(int uid) const {
  return anyCamera([uid](Camera& camera) { return camera.doesProfileExist(uid); });
}

bool CameraContainer::sendAlarmEvent(int uid) {
  return anyCamera([uid](Camera& camera) { return camera.sendAlarmEvent(uid); });
}

bool CameraContainer::enableVisualConfirmation(int uid) {
  if (!doesProfileExist(uid)) {
    return false;
  }
  if (const int drawing = getVisualConfIdNbr(); drawing != uid) {
    disableVisualConfirmation();
  }
  const std::string header = createSVGTransform(IDENTITY);
  return anyCamera([uid, &header](Camera& camera) {
    return camera.doesProfileExist(uid) && camera.enableVisualConfirmation(uid, header);
  });
}

void CameraContainer::disableVisualConfirmation() {
  anyCamera([](Camera& camera) {
    camera.disableVisualConfirmation();
    return false;
  });
}

void CameraContainer::disableVisualConfirmation(int uid) {
  anyCamera([uid](Camera& camera) {
    camera.disableVisualConfirmation(uid);
    return false;
  });
}

std::optional<VisualConfirmationData> CameraContainer::findVC_Data() const {
  std::optional<VisualConfirmationData> data;
  anyCamera([&data](Camera& camera) {
    data = camera.getVC_Data();
    return data.has_value();
  });
  return data;
}

int CameraContainer::getVisualConfIdNbr() const {
  const auto data = findVC_Data();
  return data ? data->uid : -1;
}

bool CameraContainer::isVisualConfEnabled() const {
  return findVC_Data().has_value();
}

// ---- PTZ events ----

void CameraContainer::PTZ_PresetCallback(std::uint32_t, OVEvent* rawEvent, void*) {
  const EventPtr event(rawEvent);
  if (!s_canReceivePTZ_Callbacks) {
    return;
  }
  const LockGuard lock(s_mutex);
  if (!s_canReceivePTZ_Callbacks) {
    return;
  }
  const auto onPreset = readBool(event.get(), "on_preset");
  const auto token = onPreset ? readInt(event.get(), "PresetToken") : std::nullopt;
  if (!token) {
    return;
  }
  PTZ_PresetEvent preset;
  preset.onPreset = *onPreset;
  preset.presetToken = *token;
  preset.timestamp = monotonicTimeOf(event.get());
  handlePresetEvent(preset);
}

void CameraContainer::PTZ_MovementCallback(std::uint32_t, OVEvent* rawEvent, void*) {
  const EventPtr event(rawEvent);
  if (!s_canReceivePTZ_Callbacks) {
    return;
  }
  const LockGuard lock(s_mutex);
  if (!s_canReceivePTZ_Callbacks) {
    return;
  }
  const auto isMoving = readBool(event.get(), "is_moving");
  if (!isMoving) {
    return;
  }
  PTZ_MovementEvent movement;
  movement.isMoving = *isMoving;
  movement.timestamp = monotonicTimeOf(event.get());
  handleMovementEvent(movement);
}

void CameraContainer::handlePresetEvent(const PTZ_PresetEvent& event) {
  constexpr std::int32_t NO_TOKEN = -1;
  if (event.presetToken != NO_TOKEN) {
    if (event.onPreset) {
      s_lastPreset = event.presetToken;
    } else if (event.presetToken == s_lastPreset) {
      s_lastPreset = PRESET_NONE;
    }
  }
  for (const auto& camera : s_cameras) {
    camera->handlePTZ_PresetEvent(event);
  }
}

void CameraContainer::handlePTZ_PresetEvent(const PTZ_PresetEvent& event) {
  const LockGuard lock(s_mutex);
  handlePresetEvent(event);
}

void CameraContainer::handlePTZ_MovementEvent(const PTZ_MovementEvent& event) {
  const LockGuard lock(s_mutex);
  handleMovementEvent(event);
}

void CameraContainer::handleMovementEvent(const PTZ_MovementEvent& event) {
  s_lastMovement = event;
  for (const auto& camera : s_cameras) {
    camera->handlePTZ_MovementEvent(event);
  }
}

// ---- Shutting down ----

void CameraContainer::shutDownPTZ() {
  {
    const LockGuard lock(s_mutex);
    s_canReceivePTZ_Callbacks = false;
  }
  ptzSubscription.reset();
}

void CameraContainer::shutDown() {
  shutDownPTZ();
  shutDownSub();
}
