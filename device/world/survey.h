#ifndef DEVICE_WORLD_SURVEY_H
#define DEVICE_WORLD_SURVEY_H

#include <cstdint>
#include <vector>

#include "world/direction.h"
#include "world/world_setup.h"

namespace device {

// What is written down about the mast: what an application can be told. Which way each error goes
// is drawn once per run.
struct Survey {
  double mastHeight = 0;             // metres
  std::vector<GroundPoint> offsets;  // of each channel beside the head, metres
};

Survey surveyOf(const WorldSetup& setup, std::uint64_t seed);

}  // namespace device

#endif
