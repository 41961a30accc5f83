#ifndef PLATFORM_HOST_PTZMATH_MOUNTING_H
#define PLATFORM_HOST_PTZMATH_MOUNTING_H

#include <optional>

#include "ptzmath/pinhole.h"

namespace ptzmath {

// The mounting of a channel (counted from 1) from the parameters "root.PTZ.RemoteCenter.C<n>.Pan",
// ".Tilt" and ".Roll", decimal degrees. Nothing when one of them is missing or is not a number.
// Asks the parameter store, so it may block.
std::optional<Mounting> readMounting(int channel);

}  // namespace ptzmath

#endif
