#ifndef DEVICE_WORLD_OCCLUSIONS_H
#define DEVICE_WORLD_OCCLUSIONS_H

#include <cstdint>

namespace device {

// Moments in which the analytics lose somebody for no reason in sight.
struct OcclusionSetup {
  double perSecond = 0;  // of each person; at most 1 / most
  double least = 0.5;    // seconds
  double most = 2;       // seconds
};

// The same for every camera, and the same at a moment whoever asks.
class Occlusions {
 public:
  Occlusions(const OcclusionSetup& setup, std::uint64_t seed) : setup(setup), seed(seed) {}

  bool isHidden(int person, double time) const;

 private:
  bool isHiddenBy(int person, std::int64_t turn, double time) const;

  OcclusionSetup setup;
  std::uint64_t seed;
};

}  // namespace device

#endif
