#ifndef DEVICE_PICTURE_JPEG_H
#define DEVICE_PICTURE_JPEG_H

#include <string>

#include "picture/picture.h"

namespace device {

// A picture as a JPEG file. quality: 1 to 100. Throws std::runtime_error.
std::string jpegOf(const Picture& picture, int quality = 85);

}  // namespace device

#endif
