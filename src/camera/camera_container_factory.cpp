#include "camera/camera_container_factory.h"

#include "app/clock.h"
#include "base/units.h"
#include "camera/callback_camera_container.h"
#include "camera/socket_camera_container.h"
#include "config/constants.h"
#include "events/camera_info.h"
#include "scene/scene_reader.h"
#include "scene/video_scene_subscriber.h"

namespace {

constexpr std::int64_t ATTEMPT_PAUSE = 100 * units::MICROSECONDS_PER_MILLISECOND;

bool isSceneSocketThere() {
  const int fd = SceneReader::connect(SceneReader::SCENE_SOCKET_PATH);
  SceneReader::disconnect(fd);
  return fd >= 0;
}

// Null when the transport is not available yet.
std::unique_ptr<CameraContainer> tryToCreate(const API_VersionHandler& versionHandler,
                                             std::int32_t propertyMask) {
  if (CameraInfo::getSDK_Version() < API_Version(constants::CURRENT_VERSION)) {
    return isSceneSocketThere()
               ? std::make_unique<SocketCameraContainer>(versionHandler, propertyMask)
               : nullptr;
  }
  return VideoSceneSubscriber::initialize()
             ? std::make_unique<CallbackCameraContainer>(versionHandler, propertyMask)
             : nullptr;
}

}  // namespace

std::unique_ptr<CameraContainer> CameraContainerFactory::create(
    const API_VersionHandler& versionHandler, unsigned int propertyMask) {
  while (true) {
    if (auto container = tryToCreate(versionHandler, static_cast<std::int32_t>(propertyMask))) {
      return container;
    }
    utils::sleep(ATTEMPT_PAUSE);
  }
}
