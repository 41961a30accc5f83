#include "world/analytics.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <optional>
#include <utility>

#include "base/units.h"

namespace device {
namespace {

constexpr double PART_SHARE = 0.5;  // of the overlap that merges: below it they are two again
constexpr double EDGE_ZONE = 0.02;  // within it of the picture's edge confidence is low
constexpr double LEAST_CONFIDENCE = 0.25;
constexpr double LONG_GAP = 0.4;  // seconds; after a shorter one nobody gets a new id
constexpr double UNIT = 4096;

std::int32_t toUnits(double value) {
  return static_cast<std::int32_t>(std::lround(value * UNIT));
}

FramePoint toFramePoint(const PicturePoint& point) {
  return {toUnits(point.x), toUnits(point.y)};
}

bool overlapsAny(const std::vector<int>& people, const Silhouette& silhouette,
                 const std::map<int, Silhouette>& seen, double limit) {
  return std::any_of(people.begin(), people.end(), [&](int other) {
    return overlap(seen.at(other).box, silhouette.box) > limit;
  });
}

// Those of a group that still hang together, the first person's part first.
std::vector<std::vector<int>> partsOf(std::vector<int> people,
                                      const std::map<int, Silhouette>& seen, double limit) {
  std::vector<std::vector<int>> parts;
  while (!people.empty()) {
    std::vector<int> part{people.front()};
    people.erase(people.begin());
    for (std::size_t i = 0; i < part.size(); ++i) {
      const auto hangsOn = [&](int other) {
        return overlapsAny({part[i]}, seen.at(other), seen, limit);
      };
      const auto rest = std::stable_partition(people.begin(), people.end(), std::not_fn(hangsOn));
      part.insert(part.end(), rest, people.end());
      people.erase(rest, people.end());
    }
    parts.push_back(std::move(part));
  }
  return parts;
}

std::int32_t confidenceOf(const PictureBox& box) {
  const double edge = std::max({-box.low.x, -box.low.y, box.high.x, box.high.y});
  const double depth = std::clamp((1 - edge) / EDGE_ZONE, 0.0, 1.0);
  return toUnits(std::lerp(LEAST_CONFIDENCE, 1.0, depth));
}

}  // namespace

Analytics::Analytics(std::uint64_t seed, const DetectionSetup& setup, std::vector<Block> scenery,
                     std::uint64_t runSeed)
    : setup(setup),
      random(seed),
      chance(seed, "analytics"),
      detector(setup, std::move(scenery), runSeed, seed),
      ghosts(setup.ghosts, runSeed),
      pastVelocity(setup.velocityPictures) {}

Frame Analytics::observe(const OverviewCamera& camera, std::span<const Person> people,
                         std::int64_t timestamp) {
  return observe(camera, people, timestamp, units::toSeconds(timestamp));
}

Frame Analytics::observe(const OverviewCamera& camera, std::span<const Person> people,
                         std::int64_t timestamp, double now) {
  Seen seen = detected(camera, people, now);
  addGhosts(camera, now, seen);
  Frame frame{.timestamp = timestamp, .objects = {}, .events = {}};
  forgetLeavers(seen, now, frame);
  if (!splitParted(seen, frame)) {
    mergeOverlapping(seen,
                     frame);  // else in the next picture: no object is split and merged in one
  }
  addNewcomers(seen);
  swapParted(seen);
  for (const Tracked& tracked : trackedObjects) {
    frame.objects.push_back(describe(camera, tracked, seen, now));
  }
  return frame;
}

Analytics::Seen Analytics::detected(const OverviewCamera& camera, std::span<const Person> people,
                                    double now) {
  Seen seen;
  for (const Person& person : people) {
    if (std::optional<Silhouette> silhouette = detector.detect(camera, person, people, now)) {
      seen.emplace(person.id, std::move(*silhouette));
    }
  }
  return seen;
}

void Analytics::addGhosts(const OverviewCamera& camera, double now, Seen& seen) {
  for (Ghost& ghost : ghosts.at(camera, now)) {
    std::vector<PicturePoint> outline = clippedToPicture(ghost.outline);
    if (!outline.empty()) {
      const PictureBox box = boxOf(outline);
      seen.emplace(ghost.id, Silhouette{std::move(outline), box, ghost.velocity});
    }
  }
}

// Those who are detected again are the objects that they were, or new ones; gone are the ids that
// end thereby, or because nobody came back in time.
void Analytics::recallMissing(const Seen& seen, double now, std::vector<std::int32_t>& gone) {
  std::vector<Missing> still;
  for (Missing& missing : missingObjects) {
    const double gap = now - missing.since;
    const bool isBack = std::any_of(missing.tracked.people.begin(), missing.tracked.people.end(),
                                    [&](int person) { return seen.contains(person); });
    if (isBack && !(gap >= LONG_GAP && chance.happens(setup.newId))) {
      trackedObjects.push_back(std::move(missing.tracked));
    } else if (isBack || gap > setup.memory) {
      gone.push_back(missing.tracked.id);
    } else {
      still.push_back(std::move(missing));
    }
  }
  missingObjects = std::move(still);
}

void Analytics::forgetLeavers(const Seen& seen, double now, Frame& frame) {
  FrameEvent gone{.action = FrameAction::deletion, .from = {}, .to = {}};
  recallMissing(seen, now, gone.from);
  for (Tracked& tracked : trackedObjects) {
    const std::vector<int> before = tracked.people;
    std::erase_if(tracked.people, [&](int person) { return !seen.contains(person); });
    if (!tracked.people.empty()) {
      continue;
    }
    if (setup.memory > 0) {
      missingObjects.push_back({{tracked.id, before}, now});
    } else {
      gone.from.push_back(tracked.id);
    }
  }
  std::erase_if(trackedObjects, [](const Tracked& tracked) { return tracked.people.empty(); });
  for (const std::int32_t id : gone.from) {
    pastVelocity.forget(id);
  }
  if (!gone.from.empty()) {
    frame.events.push_back(std::move(gone));
  }
}

bool Analytics::splitParted(const Seen& seen, Frame& frame) {
  std::vector<Tracked> parted;
  for (Tracked& tracked : trackedObjects) {
    std::vector<std::vector<int>> parts =
        partsOf(tracked.people, seen, PART_SHARE * setup.mergedFrom);
    if (parts.size() < 2) {
      continue;
    }
    FrameEvent split{.action = FrameAction::split, .from = {tracked.id}, .to = {tracked.id}};
    tracked.people = std::move(parts.front());
    for (auto part = std::next(parts.begin()); part != parts.end(); ++part) {
      split.to.push_back(nextId);
      parted.push_back({nextId++, std::move(*part)});
    }
    frame.events.push_back(std::move(split));
  }
  std::move(parted.begin(), parted.end(), std::back_inserter(trackedObjects));
  return !parted.empty();
}

void Analytics::mergeOverlapping(const Seen& seen, Frame& frame) {
  FrameEvent absorbed{.action = FrameAction::deletion, .from = {}, .to = {}};
  for (std::size_t i = 0; i < trackedObjects.size(); ++i) {
    FrameEvent merge{.action = FrameAction::merge, .from = {trackedObjects[i].id}, .to = {}};
    for (std::size_t j = i + 1; j < trackedObjects.size();) {
      const std::vector<int>& others = trackedObjects[j].people;
      const bool meets = std::any_of(others.begin(), others.end(), [&](int other) {
        return overlapsAny(trackedObjects[i].people, seen.at(other), seen, setup.mergedFrom);
      });
      if (!meets) {
        ++j;
        continue;
      }
      merge.to.push_back(trackedObjects[j].id);
      trackedObjects[i].people.insert(trackedObjects[i].people.end(), others.begin(), others.end());
      trackedObjects.erase(trackedObjects.begin() + static_cast<std::ptrdiff_t>(j));
      j = i + 1;  // the grown object may meet one that was free of it before
    }
    if (!merge.to.empty()) {
      absorbed.from.insert(absorbed.from.end(), merge.to.begin(), merge.to.end());
      frame.events.push_back(std::move(merge));
    }
  }
  if (!absorbed.from.empty()) {
    frame.events.push_back(std::move(absorbed));
  }
}

void Analytics::addNewcomers(const Seen& seen) {
  for (const auto& [person, silhouette] : seen) {
    if (isTracked(person)) {
      continue;
    }
    const auto hides =
        std::find_if(trackedObjects.begin(), trackedObjects.end(),
                     [&, &outline = silhouette](const Tracked& tracked) {
                       return overlapsAny(tracked.people, outline, seen, setup.mergedFrom);
                     });
    if (hides != trackedObjects.end()) {
      hides->people.push_back(person);
    } else {
      trackedObjects.push_back({nextId++, {person}});
    }
  }
}

// Two whose boxes touched and who are objects of their own now may have been mistaken for each
// other.
void Analytics::swapParted(const Seen& seen) {
  if (setup.swapped <= 0) {
    return;
  }
  std::set<Pair> touching;
  for (auto one = seen.begin(); one != seen.end(); ++one) {
    for (auto other = std::next(one); other != seen.end(); ++other) {
      if (overlap(one->second.box, other->second.box) > 0) {
        touching.insert({one->first, other->first});
      }
    }
  }
  for (const Pair& pair : together) {
    Tracked* one = aloneTrackedOf(pair.first);
    Tracked* other = aloneTrackedOf(pair.second);
    if (one && other && !touching.contains(pair) && chance.happens(setup.swapped)) {
      std::swap(one->id, other->id);
    }
  }
  together = std::move(touching);
}

Analytics::Tracked* Analytics::aloneTrackedOf(int person) {
  const auto found =
      std::find_if(trackedObjects.begin(), trackedObjects.end(), [&](const Tracked& tracked) {
        return tracked.people.size() == 1 && tracked.people.front() == person;
      });
  return found == trackedObjects.end() ? nullptr : &*found;
}

bool Analytics::isTracked(int person) const {
  return std::any_of(trackedObjects.begin(), trackedObjects.end(),
                     [person](const Tracked& tracked) {
                       return std::find(tracked.people.begin(), tracked.people.end(), person) !=
                              tracked.people.end();
                     });
}

FrameObject Analytics::describe(const OverviewCamera& camera, const Tracked& tracked,
                                const Seen& seen, double now) {
  const std::vector<PicturePoint> upright = outlineOf(camera, tracked, seen);
  std::vector<PicturePoint> outline;
  std::transform(upright.begin(), upright.end(), std::back_inserter(outline),
                 [&](const PicturePoint& point) { return camera.toScene(point); });

  FrameObject object{.id = tracked.id, .box = {}, .outline = {}, .velocity = {}};
  std::transform(outline.begin(), outline.end(), std::back_inserter(object.outline), toFramePoint);
  const PictureBox box = boxOf(outline);
  object.box = {toFramePoint(box.low), toFramePoint({box.low.x, box.high.y}),
                toFramePoint(box.high), toFramePoint({box.high.x, box.low.y})};
  object.confidence = toUnits(1);
  for (const int person : tracked.people) {
    object.confidence = std::min(object.confidence, confidenceOf(seen.at(person).box));
  }
  if (setup.sureOf && std::ranges::find(tracked.people, *setup.sureOf) == tracked.people.end()) {
    object.confidence = toUnits(LEAST_CONFIDENCE);
  }

  object.hasVelocity = setup.velocity != VelocityKind::none;
  object.velocity = toFramePoint(camera.toScene(velocityOf(tracked, seen, upright, now)));
  return object;
}

PicturePoint Analytics::velocityOf(const Tracked& tracked, const Seen& seen,
                                   std::span<const PicturePoint> upright, double now) {
  if (setup.velocity == VelocityKind::none) {
    return {};
  }
  PicturePoint velocity;
  for (const int person : tracked.people) {
    velocity.x += seen.at(person).velocity.x / static_cast<double>(tracked.people.size());
    velocity.y += seen.at(person).velocity.y / static_cast<double>(tracked.people.size());
  }
  if (setup.velocity == VelocityKind::past) {
    const PictureBox box = boxOf(upright);
    velocity = pastVelocity.observe(tracked.id, now,
                                    {(box.low.x + box.high.x) / 2, (box.low.y + box.high.y) / 2});
  }
  std::normal_distribution<double> factor(1, setup.velocityNoise);
  velocity.x *= factor(random);
  velocity.y *= factor(random);
  return velocity;
}

// The noisy outline in the upright picture.
std::vector<PicturePoint> Analytics::outlineOf(const OverviewCamera& camera, const Tracked& tracked,
                                               const Seen& seen) {
  std::vector<PicturePoint> outline = seen.at(tracked.people.front()).outline;
  if (tracked.people.size() > 1) {
    for (auto person = std::next(tracked.people.begin()); person != tracked.people.end();
         ++person) {
      const std::vector<PicturePoint>& more = seen.at(*person).outline;
      outline.insert(outline.end(), more.begin(), more.end());
    }
    outline = hullOf(std::move(outline));
  }
  outline = withFitCount(std::move(outline));
  shiftEnds(camera, outline);
  std::normal_distribution<double> noise(0, setup.vertexNoise);
  for (PicturePoint& point : outline) {
    point.x += noise(random) * 2 / camera.pictureWidth();
    point.y += noise(random) * 2 / camera.pictureHeight();
    point = {std::clamp(point.x, -1.0, 1.0), std::clamp(point.y, -1.0, 1.0)};
  }
  return outline;
}

// Foot and head are each seen a little beside where they are; what is between follows.
void Analytics::shiftEnds(const OverviewCamera& camera, std::vector<PicturePoint>& outline) {
  if (setup.endNoise <= 0) {
    return;
  }
  const auto shift = [&] {
    const double x = chance.normal(setup.endNoise) * 2 / camera.pictureWidth();
    const double y = chance.normal(setup.endNoise) * 2 / camera.pictureHeight();
    return PicturePoint{x, y};
  };
  const PicturePoint foot = shift();
  const PicturePoint head = shift();
  const PictureBox box = boxOf(outline);
  for (PicturePoint& point : outline) {
    const double share = box.height() > 0 ? (point.y - box.low.y) / box.height() : 0;
    point.x += std::lerp(foot.x, head.x, share);
    point.y += std::lerp(foot.y, head.y, share);
  }
}

}  // namespace device
