#ifndef DEVICE_PICTURE_PAINTER_H
#define DEVICE_PICTURE_PAINTER_H

#include <vector>

#include "picture/picture.h"
#include "world/overview_camera.h"
#include "world/tracks.h"

namespace device {

// Draws the world as a camera sees it: a ground with a texture that stays where it is, the sky
// above the horizon, and people as shaded figures with shadows, the near ones in front of the far
// ones. The lens' distortion is that of the camera. The same input gives the same picture.
Picture paint(const OverviewCamera& camera, std::vector<Person> people, int width, int height);

}  // namespace device

#endif
