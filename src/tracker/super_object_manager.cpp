#include "tracker/super_object_manager.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "app/clock.h"
#include "base/units.h"

namespace {

constexpr double NO_DISTANCE = 360.0;

bool sortByPriorityAndUntrackedTime(const std::unique_ptr<SuperObject>& a,
                                    const std::unique_ptr<SuperObject>& b) {
  if (a->getPriority() != b->getPriority()) {
    return a->getPriority() > b->getPriority();
  }
  return a->getUntrackedSince() < b->getUntrackedSince();
}

}  // namespace

double SuperObjectManager::getPanDelta(double a, double b) {
  const double min = std::min(a, b);
  const double max = std::max(a, b);
  const double delta = max - min;
  return delta > 180.0 ? min + 180.0 + (180.0 - max) : delta;
}

double SuperObjectManager::getGreatCircle(double pan1, double tilt1, double pan2, double tilt2) {
  const double t1 = units::toRadians(tilt1);
  const double t2 = units::toRadians(tilt2);
  const double panDelta = units::toRadians(getPanDelta(pan1, pan2));
  const double cosine =
      std::sin(t1) * std::sin(t2) + std::cos(t1) * std::cos(t2) * std::cos(panDelta);
  // Rounding can carry the cosine of equal directions beyond 1.
  return units::toDegrees(std::acos(std::clamp(cosine, -1.0, 1.0)));
}

std::uint64_t SuperObjectManager::keyOf(std::int32_t channel, std::int32_t id) {
  return std::uint64_t{static_cast<std::uint32_t>(channel)} << 32 | static_cast<std::uint32_t>(id);
}

void SuperObjectManager::updateSingleObject(const SingleObject::Observation& observation) {
  const auto known = members.find(keyOf(observation.channel, observation.id));
  if (known == members.end()) {
    addSingleObject(std::make_unique<SingleObject>(observation));
    return;
  }
  const auto [group, single] = known->second;
  if (!group->updateMember(*single, observation, widestView)) {
    members.erase(known);
    if (group->empty()) {
      removeEmptySuperObjects();
    }
  }
}

void SuperObjectManager::addSingleObject(std::unique_ptr<SingleObject> single) {
  if (!single->sizeValid(widestView)) {
    return;
  }
  measureChanges();
  const auto fitting = std::ranges::find_if(
      superObjects, [&](const auto& group) { return group->sizeValid(*single, widestView); });
  if (fitting != superObjects.end()) {
    place(std::move(single), **fitting);
    return;
  }
  superObjects.push_back(std::make_unique<SuperObject>());
  place(std::move(single), *superObjects.back());
}

void SuperObjectManager::place(std::unique_ptr<SingleObject> single, SuperObject& group) {
  members[keyOf(single->getChannel(), single->getId())] = {&group, single.get()};
  group.add(std::move(single));
}

void SuperObjectManager::moveAll(SuperObject& from, SuperObject& to) {
  for (const auto& single : from.getSingles()) {
    members[keyOf(single->getChannel(), single->getId())].group = &to;
  }
  to.add(from.takeAll());
}

void SuperObjectManager::measureChanges() {
  for (const auto& group : superObjects) {
    group->measureChanges();
  }
}

void SuperObjectManager::removeSingleObject(std::int32_t channel, std::int32_t id) {
  const auto known = members.find(keyOf(channel, id));
  if (known == members.end()) {
    return;
  }
  SuperObject* const group = known->second.group;
  members.erase(known);
  group->removeSingleObject(channel, id);
  if (group->empty()) {
    removeEmptySuperObjects();
  }
}

void SuperObjectManager::removeSingleObjects(std::int32_t channel) {
  std::erase_if(members, [channel](const auto& member) {
    return member.second.single->getChannel() == channel;
  });
  for (const auto& group : superObjects) {
    group->removeSingleObjects(channel);
  }
  removeEmptySuperObjects();
}

void SuperObjectManager::removeEmptySuperObjects() {
  std::erase_if(superObjects, [this](const auto& group) {
    if (!group->empty()) {
      return false;
    }
    if (group.get() == current) {
      current = nullptr;
    }
    return true;
  });
}

void SuperObjectManager::updateSuperObjects() {
  measureChanges();
  splitSuperObjects();
  mergeSuperObjects();
}

void SuperObjectManager::splitSuperObjects() {
  SuperObject::Singles held;
  for (const auto& group : superObjects) {
    if (!group->sizeValid(widestView) && group->size() >= 2) {
      for (auto& single : group->takeAll()) {
        held.push_back(std::move(single));
      }
    }
  }
  if (held.empty()) {
    return;
  }
  removeEmptySuperObjects();
  for (auto& single : held) {
    members.erase(keyOf(single->getChannel(), single->getId()));
    addSingleObject(std::move(single));
  }
}

SuperObjectManager::Extent::Extent(const SuperObject& group)
    : left(group.getLeft()),
      right(group.getRight()),
      top(group.getTop()),
      bottom(group.getBottom()) {}

void SuperObjectManager::measureSuperObjects() {
  extents.clear();
  for (const auto& group : superObjects) {
    extents.emplace_back(*group);
  }
}

// True only when the union of both certainly exceeds the widest view: an arc that holds two
// bearings is no shorter than the short way between them. That asks for bearings within one turn of
// each other; around the seam they may not be.
bool SuperObjectManager::cannotFit(const Extent& a, const Extent& b) const {
  constexpr double ROUNDING = 1e-6;  // degrees, far more than the arithmetic may be off
  if (std::max(a.top, b.top) - std::min(a.bottom, b.bottom) > widestView.m_maxVerticalObjectSize) {
    return true;
  }
  const double low = std::min(std::min(a.left, a.right), std::min(b.left, b.right));
  const double high = std::max(std::max(a.left, a.right), std::max(b.left, b.right));
  if (high - low > units::FULL_TURN) {
    return false;
  }
  const auto isTooFar = [this](double one, double other) {
    const double distance = std::abs(one - other);
    return std::min(distance, units::FULL_TURN - distance) >
           widestView.m_maxHorizontalObjectSize + ROUNDING;
  };
  return isTooFar(a.left, b.right) || isTooFar(a.right, b.left) || isTooFar(a.left, b.left) ||
         isTooFar(a.right, b.right);
}

void SuperObjectManager::mergeSuperObjects() {
  measureSuperObjects();
  for (std::size_t i = 0; i < superObjects.size(); ++i) {
    if (mergeInto(i)) {
      removeEmptySuperObjects();
      measureSuperObjects();
    }
  }
}

// Takes in every later group that fits with this one as it has become; whether there was one.
bool SuperObjectManager::mergeInto(std::size_t index) {
  SuperObject& group = *superObjects[index];
  bool hasMerged = false;
  for (std::size_t j = index + 1; j < superObjects.size(); ++j) {
    if (cannotFit(extents[index], extents[j]) || !group.sizeValid(*superObjects[j], widestView)) {
      continue;
    }
    moveAll(*superObjects[j], group);
    extents[index] = Extent(group);
    hasMerged = true;
  }
  return hasMerged;
}

std::int32_t SuperObjectManager::findMaxPriority() const {
  std::int32_t priority = SuperObject::LOWEST_PRIORITY;
  for (const auto& group : superObjects) {
    priority = std::max(priority, group->getPriority());
  }
  return priority;
}

const SuperObject* SuperObjectManager::getSuperObject(double pan, double tilt) {
  if (superObjects.empty()) {
    if (!switchObject) {
      current = nullptr;
    }
    return nullptr;
  }
  measureChanges();
  return switchObject ? selectInTurn() : selectNearest(pan, tilt);
}

const SuperObject* SuperObjectManager::selectNearest(double pan, double tilt) {
  const std::int32_t maxPriority = findMaxPriority();
  if (current != nullptr && current->getPriority() == maxPriority) {
    return current;
  }
  current = nullptr;
  double nearest = NO_DISTANCE;
  for (const auto& group : superObjects) {
    if (group->getPriority() != maxPriority) {
      continue;
    }
    const double distance = getGreatCircle(pan, tilt, group->getPan(), group->getTilt());
    if (distance < nearest) {
      nearest = distance;
      current = group.get();
    }
  }
  return current;
}

const SuperObject* SuperObjectManager::selectInTurn() {
  const std::int64_t now = utils::monotonicTime();
  for (const auto& group : superObjects) {
    if (group->trackedTime(now) > timePerObject) {
      group->markUntracked(now);
    }
  }
  std::ranges::stable_sort(superObjects, sortByPriorityAndUntrackedTime);
  superObjects.front()->markTracked(now);
  return superObjects.front().get();
}
