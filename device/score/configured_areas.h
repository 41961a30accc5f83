#ifndef DEVICE_SCORE_CONFIGURED_AREAS_H
#define DEVICE_SCORE_CONFIGURED_AREAS_H

#include <span>
#include <string>
#include <vector>

#include "score/score_sample.h"
#include "world/direction.h"
#include "world/overview_camera.h"
#include "world/world.h"

namespace device {

// Where somebody has to stand to count: the areas of all profiles of active cameras, put from the
// overview pictures in which they are drawn (in the sensor's coordinates, as scene frames are) onto
// the ground.
class ConfiguredAreas {
 public:
  // Nobody counts.
  ConfiguredAreas() = default;

  // answer: of getConfiguration (its "data" or "params", or that object alone). cameras: the
  // channels as they really hang, channel 1 first; a camera that turns with the head has to stand
  // as it does at home. Throws std::runtime_error for a text that is no configuration. Profiles of
  // channels that there are not are passed over.
  ConfiguredAreas(const std::string& answer, std::span<const OverviewCamera> cameras);

  // Whether the point lies in some profile's include area and in none of that profile's exclude
  // areas. What a picture does not show is in no area.
  bool contains(const GroundPoint& feet) const;

  bool empty() const { return profiles.empty(); }

 private:
  using Polygon = std::vector<PicturePoint>;
  struct Profile {
    OverviewCamera camera;
    Polygon include;
    std::vector<Polygon> excludes;
  };

  std::vector<Profile> profiles;
};

// Everybody of a moment; who stands in an area counts.
std::vector<ScoredPerson> scoredPeople(std::span<const PersonView> people,
                                       const ConfiguredAreas& areas);

// The channels of a world before the head has moved.
std::vector<OverviewCamera> camerasOf(const World& world);

}  // namespace device

#endif
