#ifndef DEVICE_SERVICES_FRAME_ENCODING_H
#define DEVICE_SERVICES_FRAME_ENCODING_H

#include <cstdint>
#include <vector>

#include "world/frame.h"

namespace device {

// The bytes of a frame with the properties of a mask (FrameProperty_e bits). Without
// FRAME_LOW_CONFIDENT, objects that the analytics are not sure of are left out.
std::vector<std::uint8_t> encodeFrame(const Frame& frame, int mask);

}  // namespace device

#endif
