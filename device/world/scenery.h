#ifndef DEVICE_WORLD_SCENERY_H
#define DEVICE_WORLD_SCENERY_H

#include <span>

#include "world/direction.h"

namespace device {

// Something that stands on the ground and hides what is behind it: a pole, a parked van. An upright
// block, metres.
struct Block {
  GroundPoint middle;
  double width = 0;   // to the right as seen from the mast when turn is 0
  double depth = 0;   // away from the mast when turn is 0
  double height = 0;  // from the ground
  double turn = 0;    // degrees, clockwise as seen from above
};

// True when the straight line between two points passes through the block.
bool hides(const Block& block, const SpacePoint& from, const SpacePoint& to);

}  // namespace device

#endif
