#include "tracker/super_object.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "app/clock.h"
#include "ptz/bearing.h"
#include "tracker/super_object_manager.h"

namespace {

constexpr std::int32_t LOWEST_PRIORITY = 1;
constexpr double MICROSECONDS_PER_SECOND = 1000000.0;

}  // namespace

SuperObject::SuperObject() : untrackedSince(utils::monotonicTime()) {}

void SuperObject::add(std::unique_ptr<SingleObject> single) {
  singles.push_back(std::move(single));
  internalUpdatePosition();
}

bool SuperObject::updateSingleObject(const SingleObject::Observation& observation) {
  const auto member = std::ranges::find_if(singles, [&](const auto& single) {
    return single->isObject(observation.channel, observation.id);
  });
  if (member == singles.end()) {
    return false;
  }
  (*member)->update(observation);
  if (!(*member)->sizeValid()) {
    singles.erase(member);
  }
  internalUpdatePosition();
  return true;
}

template <typename Predicate>
bool SuperObject::removeIf(Predicate predicate) {
  if (std::erase_if(singles, predicate) == 0) {
    return false;
  }
  internalUpdatePosition();
  return true;
}

bool SuperObject::removeSingleObject(std::int32_t channel, std::int32_t id) {
  return removeIf([=](const auto& single) { return single->isObject(channel, id); });
}

bool SuperObject::removeSingleObjects(std::int32_t channel) {
  return removeIf([=](const auto& single) { return single->getChannel() == channel; });
}

std::unique_ptr<SingleObject> SuperObject::takeFirst() {
  auto first = std::move(singles.front());
  singles.erase(singles.begin());
  internalUpdatePosition();
  return first;
}

SuperObject::Singles SuperObject::takeAll() {
  return std::exchange(singles, {});
}

void SuperObject::internalUpdatePosition() {
  if (singles.empty()) {
    return;
  }
  priority = LOWEST_PRIORITY;
  top = singles.front()->getTop();
  bottom = singles.front()->getBottom();
  std::vector<double> edges;
  edges.reserve(2 * singles.size());
  for (const auto& single : singles) {
    priority = std::max(priority, single->getPriority());
    edges.push_back(single->getLeft());
    edges.push_back(single->getRight());
    top = std::max(top, single->getTop());
    bottom = std::min(bottom, single->getBottom());
  }
  Bearing::bounds(std::move(edges), left, right);
  pan = Bearing::center(left, right);
  tilt = (top + bottom) / 2.0;
  // The plain difference, not the circular extent: a group across the seam is taken for too wide
  // and is dissolved again.
  width = std::abs(left - right);
  height = std::abs(top - bottom);
}

bool SuperObject::sizeValid() const {
  return SuperObjectManager::objectSizeValid(width, height);
}

bool SuperObject::sizeValid(const SingleObject& single) const {
  return fitsWith(single.getLeft(), single.getRight(), single.getTop(), single.getBottom());
}

bool SuperObject::sizeValid(const SuperObject& other) const {
  return fitsWith(other.left, other.right, other.top, other.bottom);
}

bool SuperObject::fitsWith(double otherLeft, double otherRight, double otherTop,
                           double otherBottom) const {
  double unionLeft = 0.0;
  double unionRight = 0.0;
  Bearing::bounds({left, right, otherLeft, otherRight}, unionLeft, unionRight);
  const double unionWidth = Bearing::clockwiseDiff(unionLeft, unionRight);
  const double unionHeight = std::max(top, otherTop) - std::min(bottom, otherBottom);
  return SuperObjectManager::objectSizeValid(unionWidth, unionHeight);
}

double SuperObject::trackedTime(std::int64_t now) const {
  return trackedSince == 0 ? 0.0
                           : static_cast<double>(now - trackedSince) / MICROSECONDS_PER_SECOND;
}

void SuperObject::markTracked(std::int64_t now) {
  if (trackedSince == 0) {
    trackedSince = now;
  }
}

void SuperObject::markUntracked(std::int64_t now) {
  trackedSince = 0;
  untrackedSince = now;
}
