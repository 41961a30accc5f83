#ifndef CAMERA_CAMERA_CONTAINER_FACTORY_H
#define CAMERA_CAMERA_CONTAINER_FACTORY_H

#include <memory>

#include "app/api_version_handler.h"
#include "camera/camera_container.h"

// Chooses the family of cameras by the device's platform version.
class CameraContainerFactory {
 public:
  CameraContainerFactory() = delete;

  // Waits, without limit, until the scene transport is available. A device that does not tell its
  // version counts as an old one and is asked again at each attempt.
  static std::unique_ptr<CameraContainer> create(const API_VersionHandler& versionHandler,
                                                 unsigned int propertyMask);
};

#endif
