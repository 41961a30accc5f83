#ifndef DEVICE_WORLD_MOUNTING_H
#define DEVICE_WORLD_MOUNTING_H

#include <cstdint>

#include "world/overview_camera.h"

namespace device {

// By how much a camera hangs otherwise than the parameters say, degrees.
struct MountingError {
  double pan = 0;
  double tilt = 0;
  double roll = 0;
  bool randomSigns = false;  // each one's sign is drawn once per run
};

// The camera as it really hangs. told: as the parameters say; channel counts from 0.
OverviewCameraSetup mounted(const OverviewCameraSetup& told, const MountingError& error,
                            std::uint64_t seed, int channel);

}  // namespace device

#endif
