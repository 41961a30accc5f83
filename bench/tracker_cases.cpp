// The tracker: observations that guards hand over, the grouping, and the control step.
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/case.h"
#include "bench/surroundings.h"
#include "scene/mote_object.h"
#include "scene/tracking_object.h"
#include "tracker/super_object_manager.h"
#include "tracker/tracker.h"

namespace bench {

namespace {

constexpr std::int64_t STEP_TIME = 100'000;  // microseconds
constexpr float ASPECT_RATIO = 16.0F / 9.0F;
constexpr int CAMERA = 1;
constexpr int STEPS_PER_BATCH = 10;

// A head whose widest view holds a single object, so that there are as many groups as objects.
constexpr double NARROW_VIEW = 0.3;  // degrees
// One that frames a few together, as on an ordinary head.
constexpr double ORDINARY_VIEW = 60.0;

// Objects of 20 by 40 units in rows of 25 across the picture: 1.2 degrees apart or more, so that no
// two fit into the narrow view.
MoteObject objectInGrid(int index, std::int64_t time) {
  constexpr int COLUMNS = 20;
  const int x = -3800 + 400 * (index % COLUMNS);
  const int y = -3800 + 300 * (index / COLUMNS);
  return MoteObject(index + 1, time, MoteVelocity{20, 0},
                    std::make_unique<Polygon>(x, x + 20, y, y + 40), nullptr, true);
}

// The tracker, running, with objects handed over by camera 1.
class Tracked {
 public:
  Tracked(int count, double view) : tracker(Tracker::getInstance()) {
    tracker.setWidestView({view, view / static_cast<double>(ASPECT_RATIO)});
    setHead(0.0, -20.8, 1);
    tracker.setState(Tracker::CameraState::running);
    tracker.addCamera(CAMERA);
    for (int i = 0; i < count; ++i) {
      objects.push_back(
          std::make_unique<TrackingObject>(objectInGrid(i, timeNow()), 0, ASPECT_RATIO));
    }
    trackAll();
  }
  Tracked(const Tracked&) = delete;
  Tracked& operator=(const Tracked&) = delete;
  ~Tracked() {
    tracker.removeCamera(CAMERA);
    Tracker::releaseInstance();
  }

  void trackAll() {
    for (const auto& object : objects) {
      tracker.track(CAMERA, 1, *object);
    }
  }

  void update() {
    passTime(STEP_TIME);
    tracker.update();
  }

 private:
  Tracker& tracker;
  std::vector<std::unique_ptr<TrackingObject>> objects;
};

Batch prepareTrack(int count) {
  prepareSurroundings();
  auto tracked = std::make_shared<Tracked>(count, NARROW_VIEW);
  return [tracked] {
    tracked->trackAll();
    return std::size_t{1};
  };
}

Batch prepareUpdate(int count, double view) {
  prepareSurroundings();
  auto tracked = std::make_shared<Tracked>(count, view);
  const std::size_t moves = headMoveCount();
  tracked->update();
  if (headMoveCount() == moves) {
    throw std::logic_error("the head is not commanded");
  }
  return [tracked] {
    for (int i = 0; i < STEPS_PER_BATCH; ++i) {
      tracked->update();
    }
    return std::size_t{STEPS_PER_BATCH};
  };
}

// The grouping alone.
Batch prepareGrouping(int count) {
  prepareSurroundings();
  auto manager = std::make_shared<SuperObjectManager>();
  manager->setMaxObjectSize({NARROW_VIEW, NARROW_VIEW / static_cast<double>(ASPECT_RATIO)});
  for (int i = 0; i < count; ++i) {
    manager->updateSingleObject({.channel = 0,
                                 .id = i + 1,
                                 .priority = 1,
                                 .pan = -170.0 + 13.0 * (i % 25),
                                 .tilt = -60.0 + 3.0 * (i / 25),
                                 .width = 0.1,
                                 .height = 0.1,
                                 .timestamp = timeNow(),
                                 .velocity = {}});
  }
  if (manager->getSuperObjects().size() != static_cast<std::size_t>(count)) {
    throw std::logic_error("not as many groups as objects");
  }
  return [manager] {
    for (int i = 0; i < STEPS_PER_BATCH; ++i) {
      manager->updateSuperObjects();
    }
    return std::size_t{STEPS_PER_BATCH};
  };
}

}  // namespace

void addTrackerCases(Cases& cases) {
  for (const int count : {1, 10, 50, 500}) {
    const std::string objects = std::to_string(count);
    const auto facts = [count] { return std::map<std::string, double>{{"objects", count}}; };
    cases.push_back({"tracker update/groups " + objects, "step",
                     [count] { return prepareUpdate(count, NARROW_VIEW); }, facts});
    cases.push_back({"tracker update/in an ordinary view " + objects, "step",
                     [count] { return prepareUpdate(count, ORDINARY_VIEW); }, facts});
    cases.push_back({"tracker grouping/groups " + objects, "step",
                     [count] { return prepareGrouping(count); }, facts});
    cases.push_back({"tracker takes a frame/groups " + objects, "frame",
                     [count] { return prepareTrack(count); }, facts});
  }
}

}  // namespace bench
