#ifndef SCENE_MOTE_VELOCITY_H
#define SCENE_MOTE_VELOCITY_H

#include <cstdint>

// Q12 units per second, y upwards.
struct MoteVelocity {
  std::int32_t x = 0;
  std::int32_t y = 0;
};

#endif
