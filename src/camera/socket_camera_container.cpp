#include "camera/socket_camera_container.h"

#include <memory>
#include <utility>
#include <vector>

#include "camera/socket_camera.h"

void SocketCameraContainer::createCamera(int cameraNbr, int rotation,
                                         const API_VersionHandler& versionHandler,
                                         int propertyMask) {
  const float aspectRatio = readAspectRatio(cameraNbr);
  const LockGuard lock(s_mutex);
  auto camera =
      std::make_unique<SocketCamera>(cameraNbr, rotation, aspectRatio, propertyMask,
                                     StartupPosition{s_lastPreset, s_lastMovement}, versionHandler);
  if (hasTransport(cameraNbr)) {
    camera->start();
  }
  s_cameras.push_back(std::move(camera));
}

void SocketCameraContainer::stopAllCameras() {
  const LockGuard lock(s_mutex);
  for (const auto& camera : s_cameras) {
    camera->stop();
    if (auto* reader = dynamic_cast<SocketCamera*>(camera.get())) {
      reader->shutDownSocket();
    }
  }
}

// Without the lock: a camera's thread must be able to finish its frame. The set of cameras does not
// change meanwhile, as that is the caller's to do.
void SocketCameraContainer::joinAllCameras() {
  std::vector<Camera*> cameras;
  {
    const LockGuard lock(s_mutex);
    for (const auto& camera : s_cameras) {
      cameras.push_back(camera.get());
    }
  }
  for (Camera* camera : cameras) {
    camera->join();
  }
}

void SocketCameraContainer::shutDownSub() {
  stopAllCameras();
  joinAllCameras();
}
