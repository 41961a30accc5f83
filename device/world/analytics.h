#ifndef DEVICE_WORLD_ANALYTICS_H
#define DEVICE_WORLD_ANALYTICS_H

#include <cstdint>
#include <map>
#include <random>
#include <span>
#include <vector>

#include "world/frame.h"
#include "world/overview_camera.h"
#include "world/silhouette.h"
#include "world/tracks.h"

namespace device {

// The video analytics of one channel: turns the people in front of a camera into the objects and
// events of scene frames, with the flaws that real ones have. Outlines carry a noise of about one
// pixel; they are cut at the picture's edge, near which confidence is low; people whose outlines
// overlap much become one object until they part.
//
// Ids are the analytics' own. Somebody who appears gets a new one, unless hidden from the start in
// the outline of another. When objects merge, the one with the smaller id remains and the others
// are absorbed, which ends their ids: a delete event in the same picture names them. When people
// part, a split event names the object they were and all objects they are now: the person who was
// first in it keeps its id, the others get new ones. A delete event also ends an object whose last
// person is out of sight.
class Analytics {
 public:
  explicit Analytics(std::uint64_t seed);

  // The report on one picture.
  Frame observe(const OverviewCamera& camera, std::span<const Person> people,
                std::int64_t timestamp);

 private:
  using Seen = std::map<int, Silhouette>;  // by person

  struct Tracked {
    std::int32_t id;
    std::vector<int> people;  // at least one
  };

  void forgetLeavers(const Seen& seen, Frame& frame);
  bool splitParted(const Seen& seen, Frame& frame);
  void mergeOverlapping(const Seen& seen, Frame& frame);
  void addNewcomers(const Seen& seen);
  bool isTracked(int person) const;
  FrameObject describe(const OverviewCamera& camera, const Tracked& tracked, const Seen& seen);
  std::vector<PicturePoint> outlineOf(const OverviewCamera& camera, const Tracked& tracked,
                                      const Seen& seen);

  std::mt19937_64 random;
  std::int32_t nextId = 1;
  std::vector<Tracked> trackedObjects;
};

}  // namespace device

#endif
