#ifndef DEVICE_WORLD_STAGE_H
#define DEVICE_WORLD_STAGE_H

#include <optional>
#include <vector>

#include "world/tracks.h"

namespace device {

// A turn and a shift of the ground plane; distances stay as they are.
class Placement {
 public:
  Placement() = default;

  // Turns counter-clockwise (seen from above) by an angle in degrees about a point, which then
  // comes to lie on another.
  Placement(const GroundPoint& from, const GroundPoint& to, double turn);

  GroundPoint apply(const GroundPoint& point) const;
  Person apply(const Person& person) const;

 private:
  GroundPoint turn(const GroundPoint& vector) const;

  GroundPoint from;
  GroundPoint to;
  double cosine = 1;
  double sine = 0;
};

// Puts a recording around the mast: one of its points comes to lie at the mast's foot, and another
// in the direction in which the head looks at home (degrees).
Placement placementAround(const GroundPoint& mast, const GroundPoint& home, double homePan);

// Where people walk: a place in front of each overview camera. A recording keeps its scale; the
// middle of its bounding box is put at the stage's distance on the axis of the camera whose turn it
// is.
class Stage {
 public:
  // pans: degrees, the directions of the cameras in the order of their turns; at least one.
  // distance: metres from the mast's foot. turn: degrees by which a recording is turned against the
  // camera's axis.
  Stage(std::vector<double> pans, double distance, double turn);

  // The same placement for every turn.
  explicit Stage(const Placement& placement);

  // The placement, for the turn of a number (from 0, going round the cameras), of a recording with
  // these bounds.
  Placement placementFor(const Bounds& bounds, int number) const;

 private:
  std::vector<double> pans;
  double distance = 0;
  double turn = 0;
  std::optional<Placement> placement;
};

}  // namespace device

#endif
