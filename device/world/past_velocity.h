#ifndef DEVICE_WORLD_PAST_VELOCITY_H
#define DEVICE_WORLD_PAST_VELOCITY_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>

#include "world/overview_camera.h"

namespace device {

// Velocities of objects as a camera can know them: the slope of a straight line through where an
// object was in the last pictures, by least squares.
class PastVelocity {
 public:
  // pictures: how many are looked at, 2 or more.
  explicit PastVelocity(int pictures) : pictures(static_cast<std::size_t>(pictures)) {}

  // An object is at a place now (seconds, growing). Returns its velocity per second, 0 at its first
  // picture.
  PicturePoint observe(std::int32_t id, double now, const PicturePoint& place);

  void forget(std::int32_t id) { histories.erase(id); }

 private:
  struct Place {
    double time;
    PicturePoint point;
  };

  std::size_t pictures;
  std::map<std::int32_t, std::deque<Place>> histories;
};

}  // namespace device

#endif
