#include "tracker/super_object.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "app/clock.h"
#include "ptz/bearing.h"

namespace {

constexpr std::int32_t LOWEST_PRIORITY = 1;
constexpr double MICROSECONDS_PER_SECOND = 1000000.0;

}  // namespace

SuperObject::SuperObject() : untrackedSince(utils::monotonicTime()) {}

void SuperObject::add(std::unique_ptr<SingleObject> single) {
  singles.push_back(std::move(single));
  isPositionStale = true;
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
  return true;
}

bool SuperObject::updateMember(SingleObject& member, const SingleObject::Observation& observation,
                               const WidestView& view) {
  if (singles.size() == 1) {
    current();  // the position that stays should the last member go
  }
  member.update(observation);
  const bool isStillMember = member.sizeValid(view);
  if (!isStillMember) {
    std::erase_if(singles, [&member](const auto& single) { return single.get() == &member; });
  }
  isPositionStale = !singles.empty();
  return isStillMember;
}

template <typename Predicate>
bool SuperObject::removeIf(Predicate predicate) {
  current();
  if (std::erase_if(singles, predicate) == 0) {
    return false;
  }
  isPositionStale = !singles.empty();
  return true;
}

bool SuperObject::removeSingleObject(std::int32_t channel, std::int32_t id) {
  return removeIf([=](const auto& single) { return single->isObject(channel, id); });
}

bool SuperObject::removeSingleObjects(std::int32_t channel) {
  return removeIf([=](const auto& single) { return single->getChannel() == channel; });
}

std::unique_ptr<SingleObject> SuperObject::takeFirst() {
  if (singles.size() == 1) {
    current();
  }
  auto first = std::move(singles.front());
  singles.erase(singles.begin());
  isPositionStale = !singles.empty();
  return first;
}

SuperObject::Singles SuperObject::takeAll() {
  current();
  return std::exchange(singles, {});
}

void SuperObject::internalUpdatePosition() const {
  isPositionStale = false;
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
  if (singles.size() == 1) {
    std::array edges{singles.front()->getLeft(), singles.front()->getRight()};
    Bearing::boundsInPlace(edges, next.left, next.right);
  } else {
    std::vector<double> edges;
    edges.reserve(2 * singles.size());
    for (const auto& single : singles) {
      edges.push_back(single->getLeft());
      edges.push_back(single->getRight());
    }
    Bearing::boundsInPlace(edges, next.left, next.right);
  }
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
  const Position& own = current();
  double unionLeft = 0.0;
  double unionRight = 0.0;
  std::array edges{own.left, own.right, otherLeft, otherRight};
  Bearing::boundsInPlace(edges, unionLeft, unionRight);
  const double unionWidth = Bearing::clockwiseDiff(unionLeft, unionRight);
  const double unionHeight = std::max(own.top, otherTop) - std::min(own.bottom, otherBottom);
  return view.holds(unionWidth, unionHeight);
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
