#ifndef CAMERA_CAMERA_CONFIGURATION_H
#define CAMERA_CAMERA_CONFIGURATION_H

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "addon/libs/vigil_pack_lib/guard/guard.h"

// What one camera is to do: its image rotation and the guards that it is to have.
struct CameraConfiguration {
  using Guards = std::vector<std::unique_ptr<Guard>>;

  CameraConfiguration(std::int32_t cameraNbr, std::int32_t rotation, Guards guards)
      : cameraNbr(cameraNbr), rotation(rotation), guards(std::move(guards)) {}

  // The same camera and rotation.
  bool operator==(const CameraConfiguration& other) const {
    return cameraNbr == other.cameraNbr && rotation == other.rotation;
  }

  std::int32_t cameraNbr;  // from 1
  std::int32_t rotation;   // degrees
  Guards guards;
};

#endif
