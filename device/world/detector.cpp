#include "world/detector.h"

#include <algorithm>
#include <utility>

namespace device {

Detector::Detector(const DetectionSetup& setup, std::vector<Block> scenery, std::uint64_t runSeed,
                   std::uint64_t seed)
    : setup(setup),
      scenery(std::move(scenery)),
      occlusions(setup.occlusions, runSeed),
      chance(seed, "detector") {}

std::optional<Silhouette> Detector::detect(const OverviewCamera& camera, const Person& person,
                                           std::span<const Person> people, double time) {
  const Visibility seen = visibility(camera, person, people);
  if (seen.share <= 1 - setup.mostHidden || occlusions.isHidden(person.id, time)) {
    return std::nullopt;
  }
  std::optional<Silhouette> silhouette = silhouetteOf(camera, person,
                                                      {.low = seen.low,
                                                       .high = seen.high,
                                                       .shadowLength = setup.shadowLength,
                                                       .shadowTurn = setup.shadowTurn});
  if (!silhouette) {
    return std::nullopt;
  }
  const double pixels = silhouette->box.height() * camera.pictureHeight() / 2;
  if (pixels < setup.leastPixels || chance.happens(missProbability(pixels, 1 - seen.share))) {
    return std::nullopt;
  }
  return silhouette;
}

double Detector::missProbability(double pixels, double hidden) const {
  const double small = std::clamp(1 - pixels / setup.smallPixels, 0.0, 1.0);
  return 1 -
         (1 - setup.missed) * (1 - setup.missedSmall * small) * (1 - setup.missedHidden * hidden);
}

Visibility Detector::visibility(const OverviewCamera& camera, const Person& person,
                                std::span<const Person> people) const {
  const SpacePoint& lens = camera.getSetup().position;
  if (!setup.hiddenByOthers) {
    return visibilityOf(lens, person, scenery);
  }
  std::vector<Block> blocks = inFrontOf(lens, person, people);
  blocks.insert(blocks.end(), scenery.begin(), scenery.end());
  return visibilityOf(lens, person, blocks);
}

}  // namespace device
