#ifndef PLATFORM_HOST_PTZMATH_MOUNTING_H
#define PLATFORM_HOST_PTZMATH_MOUNTING_H

#include <optional>

#include "ptzmath/pinhole.h"

namespace ptzmath {

// The mounting of a channel (counted from 1) from the parameters "root.PTZ.RemoteCenter.C<n>.Pan",
// ".Tilt" and ".Roll", decimal degrees, and, where they are told, ".Distortion" (-1000 to 1000) and
// the stand: ".OffsetX" and ".OffsetY" (-200 to 200 m), ".Height" and ".HeadHeight" (0.1 to 200 m),
// all four or none. Nothing when an angle is missing, one of the stand is missing beside others, or
// one is not a number in its range. Asks the parameter store, so it may block.
std::optional<Mounting> readMounting(int channel);

}  // namespace ptzmath

#endif
