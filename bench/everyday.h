// Seeded scenes that look like real ones: people who walk in front of an overview camera, outlined
// as analytics outline them, and areas as somebody draws them into the picture. The same seed gives
// the same scenes on every run.
#ifndef BENCH_EVERYDAY_H
#define BENCH_EVERYDAY_H

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "geometry/point.h"
#include "geometry/polygon.h"
#include "world/frame.h"
#include "world/overview_camera.h"
#include "world/tracks.h"

namespace bench {

// What one profile watches.
struct Areas {
  std::vector<Point> include;               // 5 to 10 vertices
  std::vector<std::vector<Point>> exclude;  // none to 3, 4 to 8 vertices each
};

class Everyday {
 public:
  explicit Everyday(std::uint64_t seed);

  // An include area about the middle of the picture, and exclude areas in and about it.
  Areas areas();

  // The outlines of that many people anywhere in the picture: 8 to 24 vertices, with noise; one in
  // twelve is that of two people side by side.
  std::vector<std::vector<Point>> outlines(std::size_t count);

  // That many people walking, as frames of a number a second show them: the ids go from 1.
  std::vector<device::Frame> walk(std::size_t people, std::size_t frames, int perSecond);

  static const device::OverviewCamera& camera();

 private:
  double between(double low, double high);
  std::vector<Point> star(double x, double y, double smallest, double largest, int vertices);
  device::GroundPoint place();

  std::mt19937_64 random;
};

// The frames forth and back, so that they can be shown again and again without a jump.
std::vector<device::Frame> thereAndBack(std::vector<device::Frame> frames);

}  // namespace bench

#endif
