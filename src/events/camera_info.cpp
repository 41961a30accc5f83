#include "events/camera_info.h"

#include <syslog.h>

#include <cstdlib>
#include <optional>

#include "app/lock_order.h"
#include "base/mutex.h"
#include "events/parameter.h"

namespace {

constexpr std::size_t LONGEST_VALUE = 99;
constexpr std::size_t MOST_DIGITS = 3;  // of a count

// Guards the answers that are kept.
Mutex s_mutex ACQUIRED_AFTER(lock_order::EVENTS) ACQUIRED_BEFORE(lock_order::DEVICE_FACTS);
std::optional<bool> s_isMechanicalPTZ GUARDED_BY(s_mutex);
API_Version s_sdkVersion GUARDED_BY(s_mutex);
int s_nbrOfCameras GUARDED_BY(s_mutex) = -1;  // unknown

std::string readText(const std::string& name) {
  return utils::readParameter(name, LONGEST_VALUE);
}

bool isYes(const char* parameter) {
  return readText(parameter) == "yes";
}

int readNbrOfSources() {
  const std::string text = utils::readParameter("root.ImageSource.NbrOfSources", MOST_DIGITS);
  return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

}  // namespace

std::string CameraInfo::getProdNbr() {
  return readText("root.Brand.ProdNbr");
}

bool CameraInfo::isMechanicalPTZ() {
  const LockGuard lock(s_mutex);
  if (!s_isMechanicalPTZ) {
    const bool hasPTZ = isYes("root.Properties.PTZ.PTZ");
    const bool isDigital = isYes("root.Properties.PTZ.DigitalPTZ");
    const bool hasDrivers = isYes("root.Properties.PTZ.DriverManagement");
    const bool isRemote = isYes("root.Properties.RemoteCameraControl.TRAVO");
    s_isMechanicalPTZ = hasPTZ && !isDigital && !hasDrivers && !isRemote;
  }
  return *s_isMechanicalPTZ;
}

API_Version CameraInfo::getSDK_Version() {
  const LockGuard lock(s_mutex);
  if (!s_sdkVersion.isValid()) {
    s_sdkVersion = API_Version(readText("root.Properties.EmbeddedDevelopment.Version"));
  }
  return s_sdkVersion;
}

int CameraInfo::getNbrOfCameras() {
  const LockGuard lock(s_mutex);
  if (s_nbrOfCameras == -1) {
    s_nbrOfCameras = isYes("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration")
                         ? readNbrOfSources()
                         : 1;
  }
  return s_nbrOfCameras;
}

bool CameraInfo::isMultiCamera() {
  return getNbrOfCameras() > 1;
}

std::string CameraInfo::getCameraName(int camera) {
  if (camera < 1 || camera > getNbrOfCameras()) {
    syslog(LOG_WARNING, "Invalid input. Camera number %i is not valid.\n", camera);
    return {};
  }
  return readText("root.ImageSource.I" + std::to_string(camera - 1) + ".Name");
}
