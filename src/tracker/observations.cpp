#include "tracker/observations.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "app/clock.h"
#include "following/ground_position.h"

namespace {

constexpr std::int16_t CENTER_SIZE = 2048;  // Q12
constexpr int CENTER_OBJECT_ID = 0;
constexpr int CENTER_PRIORITY = 1;

Point saturatedPoint(std::int32_t x, std::int32_t y) {
  using Limits = std::numeric_limits<std::int16_t>;
  const auto saturate = [](std::int32_t value) {
    return static_cast<std::int16_t>(std::clamp<std::int32_t>(value, Limits::min(), Limits::max()));
  };
  return {saturate(x), saturate(y)};
}

}  // namespace

// ---- Cameras ----

bool Observations::addCamera(int camera) {
  if (camera < 1) {
    return false;
  }
  {
    const LockGuard lock(mutex);
    if (videoChannels.getVideoChannel(camera - 1) != nullptr) {
      return videoChannels.addChannel(camera - 1);
    }
  }
  // Asks the device, which may take its time: not while the control step waits for the mutex.
  auto channel = VideoChannels::createChannel(camera - 1);
  const LockGuard lock(mutex);
  return videoChannels.addChannel(std::move(channel));
}

void Observations::removeCamera(int camera) {
  const LockGuard lock(mutex);
  if (videoChannels.removeChannel(camera - 1)) {
    superObjectManager.removeSingleObjects(camera - 1);
    if (people) {
      people->forgetCamera(camera - 1);
    }
  }
}

// ---- Objects ----

void Observations::see(int camera, const ParsedScene& scene) {
  if (!arePeopleWatched) {
    return;
  }
  const LockGuard lock(mutex);
  VideoChannel* channel = videoChannels.getVideoChannel(camera - 1);
  if (channel == nullptr || !people) {
    return;
  }
  channel->prepare();
  seenPeople.clear();
  for (const TrackingObject* object : scene.getActiveObjects()) {
    if (seenPeople.size() == People::MOST_SEEN) {
      break;
    }
    const auto seen = sightingOf(*channel, object->getPolygon());
    if (seen && object->getLastSeen() == scene.getTimestamp()) {
      seenPeople.push_back({object->getId(), *seen, object->getIsConfident()});
    }
  }
  const double focalLength =
      following::focalLength(channel->getWidth(), channel->getFov().getHorizontalFov());
  people->see(utils::monotonicTime(), camera - 1, scene.getTimestamp(), focalLength, seenPeople);
}

std::optional<std::int64_t> Observations::knownSince(int camera, int objectId) const {
  if (!arePeopleWatched) {
    return std::nullopt;
  }
  const LockGuard lock(mutex);
  return people ? people->knownSince(camera - 1, objectId) : std::nullopt;
}

void Observations::track(int camera, int priority, const TrackingObject& object) {
  const LockGuard lock(mutex);
  VideoChannel* channel = videoChannels.getVideoChannel(camera - 1);
  if (channel == nullptr) {
    return;
  }
  channel->followRotation();  // before anything of the observation is turned
  const PointF position = channel->toImagePosition(object.getPosition());
  const PointF size = channel->toImageSize(
      saturatedPoint(object.getAspectCorrectedWidth(), object.getAspectCorrectedHeight()));
  const PointF velocity =
      channel->toImageVelocity({object.getVelocity().x, object.getVelocity().y});
  double pan = 0.0;
  double tilt = 0.0;
  double width = 0.0;
  double height = 0.0;
  if (!channel->getPanTilt(position, size, pan, tilt, width, height)) {
    return;
  }
  const PointF angularVelocity = channel->getAngle(position, velocity);
  if (!superObjectManager.objectSizeValid(width, height)) {
    superObjectManager.removeSingleObject(camera - 1, object.getId());
    return;
  }
  superObjectManager.updateSingleObject({.channel = camera - 1,
                                         .id = object.getId(),
                                         .priority = priority,
                                         .pan = pan,
                                         .tilt = tilt,
                                         .width = width,
                                         .height = height,
                                         .timestamp = object.getLastSeen(),
                                         .velocity = angularVelocity});
  if (people) {
    people->want(camera - 1, object.getId(), priority, object.getLastSeen());
  }
}

void Observations::untrack(int camera, int objectId) {
  const LockGuard lock(mutex);
  untrackObject(camera, objectId);
}

void Observations::untrackObject(int camera, int objectId) {
  if (videoChannels.getVideoChannel(camera - 1) != nullptr) {
    superObjectManager.removeSingleObject(camera - 1, objectId);
  }
}

void Observations::hold(int camera, int objectId, const void* holder) {
  const LockGuard lock(mutex);
  holders[{camera, objectId}].insert(holder);
}

void Observations::letGo(int camera, int objectId, const void* holder) {
  const LockGuard lock(mutex);
  const auto held = holders.find({camera, objectId});
  if (held == holders.end() || held->second.erase(holder) == 0 || !held->second.empty()) {
    return;
  }
  holders.erase(held);
  untrackObject(camera, objectId);
}

Observations::Center::Center(Observations& observations, int camera)
    : observations(observations), camera(camera) {
  observations.mutex.lock();
  there = observations.insertCenter(camera);
}

Observations::Center::~Center() {
  if (there) {
    observations.superObjectManager.removeSingleObject(camera - 1, CENTER_OBJECT_ID);
  }
  observations.mutex.unlock();
}

bool Observations::insertCenter(int camera) {
  VideoChannel* channel = videoChannels.getVideoChannel(camera - 1);
  if (channel == nullptr) {
    return false;
  }
  channel->followRotation();
  double pan = 0.0;
  double tilt = 0.0;
  double width = 0.0;
  double height = 0.0;
  if (!channel->getPanTilt(channel->toImagePosition({0, 0}),
                           channel->toImageSize({CENTER_SIZE, CENTER_SIZE}), pan, tilt, width,
                           height)) {
    return false;
  }
  superObjectManager.updateSingleObject({.channel = camera - 1,
                                         .id = CENTER_OBJECT_ID,
                                         .priority = CENTER_PRIORITY,
                                         .pan = pan,
                                         .tilt = tilt,
                                         .width = width,
                                         .height = height,
                                         .timestamp = utils::monotonicTime(),
                                         .velocity = {}});
  return true;
}

// ---- Selection ----

void Observations::setWidestView(const WidestView& view) {
  const LockGuard lock(mutex);
  superObjectManager.setMaxObjectSize(view);
  if (people) {
    people->selection().setMaxObjectSize(view);
  }
}

std::optional<Target> Observations::selectTarget(double pan, double tilt) {
  const LockGuard lock(mutex);
  superObjectManager.updateSuperObjects();
  const SuperObject* group = superObjectManager.getSuperObject(pan, tilt);
  if (group == nullptr) {
    return std::nullopt;
  }
  return Target{.pan = group->getPan(),
                .tilt = group->getTilt(),
                .width = group->getWidth(),
                .height = group->getHeight()};
}

void Observations::watchPeople(const Installation& installation) {
  auto watched = std::make_unique<People>(installation);
  const LockGuard lock(mutex);
  SuperObjectManager& selection = watched->selection();
  selection.setMaxObjectSize(superObjectManager.getMaxObjectSize());
  selection.setSwitchObject(superObjectManager.getSwitchObject());
  selection.setTimePerObject(superObjectManager.getTimePerObject());
  people = std::move(watched);
  seenPeople.reserve(People::MOST_SEEN);
  arePeopleWatched = true;
}

void Observations::ignorePeople() {
  const LockGuard lock(mutex);
  people.reset();
  arePeopleWatched = false;
}

std::optional<FollowedSubject> Observations::selectSubject(double pan, double tilt,
                                                           std::int64_t now, std::int64_t at) {
  const LockGuard lock(mutex);
  return people ? people->choose(pan, tilt, now, at) : std::nullopt;
}

std::optional<std::vector<PersonInsight>> Observations::peopleInsight(std::int64_t now,
                                                                      std::int64_t at) const {
  const LockGuard lock(mutex);
  return people ? std::optional(people->insight(now, at)) : std::nullopt;
}

bool Observations::getSwitchObject() const {
  const LockGuard lock(mutex);
  return superObjectManager.getSwitchObject();
}

bool Observations::setSwitchObject(bool on) {
  const LockGuard lock(mutex);
  const bool isChange = superObjectManager.getSwitchObject() != on;
  superObjectManager.setSwitchObject(on);
  if (people) {
    people->selection().setSwitchObject(on);
  }
  return isChange;
}

int Observations::getTimePerObject() const {
  const LockGuard lock(mutex);
  return superObjectManager.getTimePerObject();
}

bool Observations::setTimePerObject(int seconds) {
  const LockGuard lock(mutex);
  const bool isChange = superObjectManager.getTimePerObject() != seconds;
  superObjectManager.setTimePerObject(seconds);
  if (people) {
    people->selection().setTimePerObject(seconds);
  }
  return isChange;
}

void Observations::clear() {
  const LockGuard lock(mutex);
  superObjectManager = {};
  people.reset();
  arePeopleWatched = false;
  videoChannels.clear();
  holders.clear();
}
