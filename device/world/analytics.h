#ifndef DEVICE_WORLD_ANALYTICS_H
#define DEVICE_WORLD_ANALYTICS_H

#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <span>
#include <utility>
#include <vector>

#include "random/chance.h"
#include "world/detection_setup.h"
#include "world/detector.h"
#include "world/frame.h"
#include "world/ghosts.h"
#include "world/overview_camera.h"
#include "world/past_velocity.h"
#include "world/scenery.h"
#include "world/silhouette.h"
#include "world/tracks.h"

namespace device {

// The video analytics of one channel: turns the people in front of a camera into the objects and
// events of scene frames, with the flaws that real ones have. Outlines carry a noise of about one
// pixel; they are cut at the picture's edge, near which confidence is low; people whose outlines
// overlap much become one object until they part. Which more flaws there are is told by the setup.
//
// Ids are the analytics' own. Somebody who appears gets a new one, unless hidden from the start in
// the outline of another. When objects merge, the one with the smaller id remains and the others
// are absorbed, which ends their ids: a delete event in the same picture names them. When people
// part, a split event names the object they were and all objects they are now: the person who was
// first in it keeps its id, the others get new ones. A delete event also ends an object whose last
// person is out of sight. Analytics that have a memory keep the id of somebody who is not detected
// for so long, without an object in the frames meanwhile.
class Analytics {
 public:
  // seed: of this camera. runSeed: of what all cameras have in common.
  explicit Analytics(std::uint64_t seed, const DetectionSetup& setup = {},
                     std::vector<Block> scenery = {}, std::uint64_t runSeed = 0);

  // The report on one picture, taken at a world time in seconds that grows from call to call.
  Frame observe(const OverviewCamera& camera, std::span<const Person> people,
                std::int64_t timestamp, double now);

  // The same, for whom the time stamps (microseconds) are the world's time.
  Frame observe(const OverviewCamera& camera, std::span<const Person> people,
                std::int64_t timestamp);

 private:
  using Seen = std::map<int, Silhouette>;  // by person; ghosts have numbers below 0
  using Pair = std::pair<int, int>;        // two people

  struct Tracked {
    std::int32_t id;
    std::vector<int> people;  // at least one
  };

  // Nobody of it is detected at the moment.
  struct Missing {
    Tracked tracked;
    double since;  // seconds
  };

  Seen detected(const OverviewCamera& camera, std::span<const Person> people, double now);
  void addGhosts(const OverviewCamera& camera, double now, Seen& seen);
  void recallMissing(const Seen& seen, double now, std::vector<std::int32_t>& gone);
  void forgetLeavers(const Seen& seen, double now, Frame& frame);
  bool splitParted(const Seen& seen, Frame& frame);
  void mergeOverlapping(const Seen& seen, Frame& frame);
  void addNewcomers(const Seen& seen);
  void swapParted(const Seen& seen);
  Tracked* aloneTrackedOf(int person);
  bool isTracked(int person) const;
  FrameObject describe(const OverviewCamera& camera, const Tracked& tracked, const Seen& seen,
                       double now);
  std::vector<PicturePoint> outlineOf(const OverviewCamera& camera, const Tracked& tracked,
                                      const Seen& seen);
  void shiftEnds(const OverviewCamera& camera, std::vector<PicturePoint>& outline);
  PicturePoint velocityOf(const Tracked& tracked, const Seen& seen,
                          std::span<const PicturePoint> upright, double now);

  DetectionSetup setup;
  std::mt19937_64 random;
  Chance chance;
  Detector detector;
  Ghosts ghosts;
  PastVelocity pastVelocity;
  std::int32_t nextId = 1;
  std::vector<Tracked> trackedObjects;
  std::vector<Missing> missingObjects;
  std::set<Pair> together;  // in the last picture
};

}  // namespace device

#endif
