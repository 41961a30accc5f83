#ifndef DEVICE_WORLD_DETECTOR_H
#define DEVICE_WORLD_DETECTOR_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "random/chance.h"
#include "world/detection_setup.h"
#include "world/scenery.h"
#include "world/silhouette.h"
#include "world/visibility.h"

namespace device {

// Decides who is detected in a picture, and with what outline: who is too small, hidden by scenery
// or by others, or missed is not.
class Detector {
 public:
  // runSeed is common to all cameras, seed is this one's own.
  Detector(const DetectionSetup& setup, std::vector<Block> scenery, std::uint64_t runSeed,
           std::uint64_t seed);

  // What is detected of a person. people is everybody, the person too.
  std::optional<Silhouette> detect(const OverviewCamera& camera, const Person& person,
                                   std::span<const Person> people, double time);

  // The probability of missing somebody of a height in pixels of whom a share is hidden.
  double missProbability(double pixels, double hidden) const;

 private:
  Visibility visibility(const OverviewCamera& camera, const Person& person,
                        std::span<const Person> people) const;

  DetectionSetup setup;
  std::vector<Block> scenery;
  Occlusions occlusions;
  Chance chance;
};

}  // namespace device

#endif
