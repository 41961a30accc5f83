#ifndef DEVICE_WORLD_SCENES_H
#define DEVICE_WORLD_SCENES_H

#include <cstdint>
#include <string>
#include <vector>

#include "world/scenery.h"
#include "world/tracks.h"

namespace device {

// Where people walk and who they are.
//
//   square   a quiet square of 14 by 10 metres, put in front of each camera in turn
//   wide     people pass the mast at 3 to 15 metres and are seen up to 30 metres away; every eighth
//            runs past at 3 metres with 5.3 m/s, which is 101 degrees a second
//   far      people cross in front of the head's home at 25 to 60 metres
//   crowd    60 people at once around the mast
//   runner   one runs past, at 4 to 6 m/s
//   cyclist  one rides past, at 5 to 9 m/s
//   waiting  one comes, stands for a minute and goes on
//   hiding   one comes, stays behind a parked van for 10 to 20 s, and goes on behind poles
struct Scene {
  // Around the mast, in the world's coordinates with the head's home at pan 0. The square's has its
  // own coordinates and is put on the stage, as a recording is.
  TrackSet people;
  bool isOnStage = false;
  std::vector<Block> scenery;
  double recordingDistance = 0;  // metres from the mast to the middle of a recording played there
};

// The names above, sorted.
std::vector<std::string> sceneNames();

// An hour of a scene; the same seed gives the same people. The name has to be known.
Scene makeScene(const std::string& name, std::uint64_t seed);

}  // namespace device

#endif
