#ifndef DEVICE_PICTURE_PAINTER_H
#define DEVICE_PICTURE_PAINTER_H

#include <cstdint>
#include <vector>

#include "picture/picture.h"
#include "world/overview_camera.h"
#include "world/tracks.h"

namespace device {

// Draws the world as a camera sees it: a ground with a texture that stays where it is, the sky
// above the horizon, and people as shaded figures with shadows, the near ones in front of the far
// ones. The lens' distortion is that of the camera. The same input gives the same picture.
Picture paint(const OverviewCamera& camera, std::vector<Person> people, int width, int height);

// The same in two steps: what stays where it is as long as the camera does, and what moves on it.
Picture paintGround(const OverviewCamera& camera, int width, int height);
void paintPeople(const OverviewCamera& camera, std::vector<Person> people, Picture* picture);

// The sensor's noise, some steps of brightness; the same for the same seed.
void addNoise(std::uint32_t seed, Picture* picture);

}  // namespace device

#endif
