#ifndef DEVICE_WORLD_VISIBILITY_H
#define DEVICE_WORLD_VISIBILITY_H

#include <span>
#include <vector>

#include "world/scenery.h"
#include "world/tracks.h"

namespace device {

// What can be seen of a person from somewhere.
struct Visibility {
  double share = 1;  // of the body, 0 to 1
  double low = 0;    // metres above the ground from which on something is seen
  double high = 0;   // ... up to which
};

// Looks at a grid of points of the body, so in steps of a tenth of the height.
Visibility visibilityOf(const SpacePoint& lens, const Person& person,
                        std::span<const Block> blocks);

// The space that a person takes up.
Block blockOf(const Person& person);

// Those of the others who stand between the lens and a person, as blocks.
std::vector<Block> inFrontOf(const SpacePoint& lens, const Person& person,
                             std::span<const Person> people);

}  // namespace device

#endif
