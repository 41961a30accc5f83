#include "tracker/super_object_manager.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "app/clock.h"

namespace {

constexpr double RADIANS_PER_DEGREE = 0.017453292519943295;
constexpr double DEGREES_PER_RADIAN = 57.29577951308232;
constexpr double NO_DISTANCE = 360.0;
constexpr std::int32_t LOWEST_PRIORITY = 1;

bool sortByPriorityAndUntrackedTime(const std::unique_ptr<SuperObject>& a,
                                    const std::unique_ptr<SuperObject>& b) {
  if (a->getPriority() != b->getPriority()) {
    return a->getPriority() > b->getPriority();
  }
  return a->getUntrackedSince() < b->getUntrackedSince();
}

}  // namespace

double SuperObjectManager::m_maxHorizontalObjectSize = 60.0;
double SuperObjectManager::m_maxVerticalObjectSize = 45.0;

bool SuperObjectManager::objectSizeValid(double width, double height) {
  return width <= m_maxHorizontalObjectSize && height <= m_maxVerticalObjectSize;
}

void SuperObjectManager::setMaxObjectSize(double horizontal, double vertical) {
  m_maxHorizontalObjectSize = horizontal;
  m_maxVerticalObjectSize = vertical;
}

double SuperObjectManager::getPanDelta(double a, double b) {
  const double min = std::min(a, b);
  const double max = std::max(a, b);
  const double delta = max - min;
  return delta > 180.0 ? min + 180.0 + (180.0 - max) : delta;
}

double SuperObjectManager::getGreatCircle(double pan1, double tilt1, double pan2, double tilt2) {
  const double t1 = tilt1 * RADIANS_PER_DEGREE;
  const double t2 = tilt2 * RADIANS_PER_DEGREE;
  const double panDelta = getPanDelta(pan1, pan2) * RADIANS_PER_DEGREE;
  const double cosine =
      std::sin(t1) * std::sin(t2) + std::cos(t1) * std::cos(t2) * std::cos(panDelta);
  // Rounding can carry the cosine of equal directions beyond 1.
  return std::acos(std::clamp(cosine, -1.0, 1.0)) * DEGREES_PER_RADIAN;
}

void SuperObjectManager::updateSingleObject(const SingleObject::Observation& observation) {
  for (const auto& group : superObjects) {
    if (group->updateSingleObject(observation)) {
      removeEmptySuperObjects();
      return;
    }
  }
  addSingleObject(std::make_unique<SingleObject>(observation));
}

void SuperObjectManager::addSingleObject(std::unique_ptr<SingleObject> single) {
  if (!single->sizeValid()) {
    return;
  }
  const auto fitting = std::ranges::find_if(
      superObjects, [&single](const auto& group) { return group->sizeValid(*single); });
  if (fitting != superObjects.end()) {
    (*fitting)->add(std::move(single));
    return;
  }
  superObjects.push_back(std::make_unique<SuperObject>());
  superObjects.back()->add(std::move(single));
}

void SuperObjectManager::removeSingleObject(std::int32_t channel, std::int32_t id) {
  for (const auto& group : superObjects) {
    group->removeSingleObject(channel, id);
  }
  removeEmptySuperObjects();
}

void SuperObjectManager::removeSingleObjects(std::int32_t channel) {
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
  splitSuperObjects();
  mergeSuperObjects();
}

void SuperObjectManager::splitSuperObjects() {
  SuperObject::Singles held;
  for (const auto& group : superObjects) {
    if (!group->sizeValid() && group->size() >= 2) {
      for (auto& single : group->takeAll()) {
        held.push_back(std::move(single));
      }
    }
  }
  removeEmptySuperObjects();
  for (auto& single : held) {
    addSingleObject(std::move(single));
  }
}

void SuperObjectManager::mergeSuperObjects() {
  for (std::size_t i = 0; i < superObjects.size(); ++i) {
    SuperObject& group = *superObjects[i];
    for (std::size_t j = i + 1; j < superObjects.size(); ++j) {
      SuperObject& later = *superObjects[j];
      if (later.empty() || !group.sizeValid(later)) {
        continue;
      }
      while (!later.empty()) {
        group.add(later.takeFirst());
      }
    }
    removeEmptySuperObjects();
  }
}

std::int32_t SuperObjectManager::findMaxPriority() const {
  std::int32_t priority = LOWEST_PRIORITY;
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
