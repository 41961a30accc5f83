#ifndef DEVICE_WORLD_GHOSTS_H
#define DEVICE_WORLD_GHOSTS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "world/overview_camera.h"

namespace device {

enum class GhostKind {
  tree,       // upright, sways where it stands
  shadow,     // flat on the ground, drifts like that of a cloud
  headlights  // flat on the ground, fast
};

// Something that the analytics take for an object now and then.
struct GhostSetup {
  GhostKind kind = GhostKind::tree;
  GroundPoint middle;    // metres, where it begins
  double width = 1;      // metres
  double length = 1;     // metres: height of a tree, length on the ground of the others
  double turn = 0;       // degrees, the direction in which it moves, as pan
  double perMinute = 0;  // how often it is seen; perMinute * seconds is at most 60
  double seconds = 5;    // how long each time
};

struct Ghost {
  int id = 0;                         // below 0; another one each time
  std::vector<PicturePoint> outline;  // in the upright picture, also beyond its edges
  PicturePoint velocity;              // per second
};

// What is there to be seen of a ghost, whether the analytics take it for an object or not.
struct GhostFigure {
  GhostKind kind = GhostKind::tree;
  GroundPoint middle;                 // metres, at this moment
  std::vector<PicturePoint> outline;  // in the upright picture, also beyond its edges
};

// Ghosts are the same for every camera, and the same at a moment whoever asks.
class Ghosts {
 public:
  Ghosts(std::vector<GhostSetup> setups, std::uint64_t seed);

  // Those in front of a camera at a moment; some may be beyond the edges of its picture.
  std::vector<Ghost> at(const OverviewCamera& camera, double time) const;

  // What is seen in front of a camera at a moment: trees always, though they sway only as ghosts;
  // all else only as ghosts.
  std::vector<GhostFigure> figures(const OverviewCamera& camera, double time) const;

 private:
  struct Appearance {
    std::int64_t number = 0;
    double age = 0;  // seconds
  };
  std::vector<Appearance> appearances(std::size_t ghost, double time) const;

  std::vector<GhostSetup> setups;
  std::uint64_t seed;
};

}  // namespace device

#endif
