#ifndef DEVICE_PICTURE_PAINTER_H
#define DEVICE_PICTURE_PAINTER_H

#include <cstdint>
#include <vector>

#include "picture/picture.h"
#include "world/ghosts.h"
#include "world/overview_camera.h"
#include "world/scenery.h"
#include "world/tracks.h"

namespace device {

// What is on the ground.
struct Things {
  std::vector<Person> people{};
  std::vector<Block> scenery{};
  std::vector<GhostFigure> figures{};  // as the camera sees them
};

// Draws the world as a camera sees it: a ground with a texture that stays where it is, the sky
// above the horizon, people as shaded figures with shadows, blocks and trees, the near ones in
// front of the far ones, and on the ground the shadows of clouds and the light of headlights. The
// lens' distortion is that of the camera. The same input gives the same picture.
Picture paint(const OverviewCamera& camera, const Things& things, int width, int height);

// The same in two steps: what stays where it is as long as the camera does, and what is on it.
Picture paintGround(const OverviewCamera& camera, int width, int height);
void paintThings(const OverviewCamera& camera, const Things& things, Picture* picture);

// How bright it is at a moment of the world, in seconds; 1 on average. It changes slowly and by
// little, as clouds before the sun do it.
double lightAt(double time);

// What the sensor makes of a picture in a light: brighter or darker by that factor, with some steps
// of noise. The same for the same seed.
void expose(double light, std::uint32_t seed, Picture* picture);

}  // namespace device

#endif
