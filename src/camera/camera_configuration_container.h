#ifndef CAMERA_CAMERA_CONFIGURATION_CONTAINER_H
#define CAMERA_CAMERA_CONFIGURATION_CONTAINER_H

#include <vector>

#include "camera/camera_configuration.h"

// The configurations of all cameras, no two of them equal.
class CameraConfigurationContainer {
 public:
  // Takes the configuration; one equal to another is refused (logged, its guards destroyed).
  bool insert(CameraConfiguration configuration);

  std::vector<CameraConfiguration>& getConfigurations() { return configurations; }
  const std::vector<CameraConfiguration>& getConfigurations() const { return configurations; }

 private:
  std::vector<CameraConfiguration> configurations;
};

#endif
