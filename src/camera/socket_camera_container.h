#ifndef CAMERA_SOCKET_CAMERA_CONTAINER_H
#define CAMERA_SOCKET_CAMERA_CONTAINER_H

#include "camera/camera_container.h"

// Cameras that read the scene socket.
class SocketCameraContainer : public CameraContainer {
 public:
  using CameraContainer::CameraContainer;

  // Asks the threads of all cameras to end, and waits for them.
  void stopAllCameras() EXCLUDES(s_mutex);
  void joinAllCameras() EXCLUDES(s_mutex);

 protected:
  void createCamera(int cameraNbr, int rotation, const API_VersionHandler& versionHandler,
                    int propertyMask) EXCLUDES(s_mutex) override;
  void shutDownSub() EXCLUDES(s_mutex) override;
};

#endif
