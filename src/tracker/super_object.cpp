#include "tracker/super_object.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <utility>

#include "app/clock.h"
#include "base/units.h"

SuperObject::SuperObject() : untrackedSince(utils::monotonicTime()) {}

void SuperObject::add(std::unique_ptr<SingleObject> single) {
  singles.push_back(std::move(single));
  internalUpdatePosition();
}

void SuperObject::add(Singles added) {
  std::ranges::move(added, std::back_inserter(singles));
  internalUpdatePosition();
}

bool SuperObject::updateSingleObject(const SingleObject::Observation& observation,
                                     const WidestView& view) {
  const auto member = std::ranges::find_if(singles, [&](const auto& single) {
    return single->isObject(observation.channel, observation.id);
  });
  if (member == singles.end()) {
    return false;
  }
  updateMember(**member, observation, view);
  measureChanges();
  return true;
}

bool SuperObject::updateMember(SingleObject& member, const SingleObject::Observation& observation,
                               const WidestView& view) {
  if (singles.size() == 1) {
    measureChanges();  // the box that stays should the last member go
  }
  member.update(observation);
  const bool isStillMember = member.sizeValid(view);
  if (!isStillMember) {
    std::erase_if(singles, [&member](const auto& single) { return single.get() == &member; });
  }
  hasUpdatedMembers = true;
  return isStillMember;
}

void SuperObject::measureChanges() {
  if (hasUpdatedMembers) {
    internalUpdatePosition();
  }
}

template <typename Predicate>
bool SuperObject::removeIf(Predicate predicate) {
  measureChanges();
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

SuperObject::Singles SuperObject::takeAll() {
  measureChanges();
  return std::exchange(singles, {});
}

Bearing::Arc SuperObject::measureArc() const {
  if (singles.size() == 1) {
    std::array edges{singles.front()->getLeft(), singles.front()->getRight()};
    return Bearing::boundsInPlace(edges);
  }
  std::vector<double> edges;
  edges.reserve(2 * singles.size());
  for (const auto& single : singles) {
    edges.push_back(single->getLeft());
    edges.push_back(single->getRight());
  }
  return Bearing::boundsInPlace(edges);
}

void SuperObject::internalUpdatePosition() {
  hasUpdatedMembers = false;
  if (singles.empty()) {
    return;
  }
  Position next{.top = singles.front()->getTop(), .bottom = singles.front()->getBottom()};
  next.priority = LOWEST_PRIORITY;
  for (const auto& single : singles) {
    next.priority = std::max(next.priority, single->getPriority());
    next.top = std::max(next.top, single->getTop());
    next.bottom = std::min(next.bottom, single->getBottom());
  }
  const Bearing::Arc arc = measureArc();
  next.left = arc.first;
  next.right = arc.second;
  next.pan = Bearing::center(next.left, next.right);
  next.tilt = (next.top + next.bottom) / 2.0;
  // The plain difference, not the circular extent: a group across the seam is taken for too wide
  // and is dissolved again.
  next.width = std::abs(next.left - next.right);
  next.height = std::abs(next.top - next.bottom);
  position = next;
}

bool SuperObject::sizeValid(const WidestView& view) const {
  return view.holds(getWidth(), getHeight());
}

bool SuperObject::sizeValid(const SingleObject& single, const WidestView& view) const {
  return fitsWith(single.getLeft(), single.getRight(), single.getTop(), single.getBottom(), view);
}

bool SuperObject::sizeValid(const SuperObject& other, const WidestView& view) const {
  return fitsWith(other.getLeft(), other.getRight(), other.getTop(), other.getBottom(), view);
}

bool SuperObject::fitsWith(double otherLeft, double otherRight, double otherTop, double otherBottom,
                           const WidestView& view) const {
  std::array edges{position.left, position.right, otherLeft, otherRight};
  const Bearing::Arc arc = Bearing::boundsInPlace(edges);
  const double unionWidth = Bearing::clockwiseDiff(arc.first, arc.second);
  const double unionHeight =
      std::max(position.top, otherTop) - std::min(position.bottom, otherBottom);
  return view.holds(unionWidth, unionHeight);
}

double SuperObject::trackedTime(std::int64_t now) const {
  return trackedSince == 0 ? 0.0 : units::toSeconds(now - trackedSince);
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
