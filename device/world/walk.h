#ifndef DEVICE_WORLD_WALK_H
#define DEVICE_WORLD_WALK_H

#include <vector>

#include "world/tracks.h"

namespace device {

// Makes a person's way out of straight pieces and stops. Points come at every 0.4 s.
class Walk {
 public:
  // Appears at a place at a time in seconds.
  Walk(double start, const GroundPoint& place);

  // Goes straight to a place at a speed in metres per second.
  Walk& to(const GroundPoint& place, double speed);

  // Stands for a number of seconds.
  Walk& stand(double seconds);

  double end() const { return points.back().time; }

  Track track(int id) const { return Track(id, points); }

 private:
  void moveOn(GroundPoint place, double seconds);  // a copy: the points may move

  std::vector<TrackPoint> points;
};

}  // namespace device

#endif
