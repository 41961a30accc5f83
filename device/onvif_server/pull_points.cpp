#include "onvif_server/pull_points.h"

#include <algorithm>
#include <utility>

namespace device::onvif {

PullPoints::PullPoints(Clock clock, const PullPointLimits& limits)
    : clock(std::move(clock)), limits(limits) {}

std::optional<int> PullPoints::create(TopicFilter filter, std::int64_t lifetime,
                                      const std::vector<Notification>& initial) {
  update();
  if (points.size() >= limits.points) {
    return std::nullopt;
  }
  points[++last] = Point{std::move(filter), lifetime, clock() + lifetime, {}, std::nullopt};
  publishTo(last, initial);
  return last;
}

void PullPoints::publish(const std::vector<Notification>& notifications) {
  for (const Notification& each : notifications) {
    const auto shared = std::make_shared<const Notification>(each);
    for (auto& [number, point] : points) {
      add(&point, shared);
    }
  }
  for (auto& [number, point] : points) {
    answerIfAny(&point);
  }
}

void PullPoints::publishTo(int number, const std::vector<Notification>& notifications) {
  Point* point = find(number);
  if (point == nullptr) {
    return;
  }
  for (const Notification& each : notifications) {
    add(point, std::make_shared<const Notification>(each));
  }
  answerIfAny(point);
}

bool PullPoints::pull(int number, std::size_t most, std::int64_t patience, Taken taken) {
  update();
  Point* point = find(number);
  if (point == nullptr) {
    return false;
  }
  if (point->pull) {
    std::exchange(point->pull, std::nullopt)->taken({});
  }
  const std::int64_t end = clock() + patience;
  point->end = std::max(point->end, end + point->lifetime);
  point->pull = Pull{std::max<std::size_t>(most, 1), end, std::move(taken)};
  if (patience <= 0) {
    answer(point);
  } else {
    answerIfAny(point);
  }
  return true;
}

bool PullPoints::renew(int number, std::int64_t lifetime) {
  update();
  Point* point = find(number);
  if (point == nullptr) {
    return false;
  }
  point->lifetime = lifetime;
  point->end = clock() + lifetime;
  return true;
}

bool PullPoints::remove(int number) {
  Point* point = find(number);
  if (point == nullptr) {
    return false;
  }
  const std::optional<Pull> pull = std::exchange(point->pull, std::nullopt);
  points.erase(number);
  if (pull) {
    pull->taken({});
  }
  return true;
}

std::optional<std::int64_t> PullPoints::lifetimeOf(int number) const {
  const auto found = points.find(number);
  if (found == points.end()) {
    return std::nullopt;
  }
  return std::max<std::int64_t>(found->second.end - clock(), 0);
}

void PullPoints::update() {
  const std::int64_t now = clock();
  std::vector<int> over;
  for (auto& [number, point] : points) {
    if (point.pull && point.pull->end <= now) {
      answer(&point);
    }
    if (point.end <= now) {
      over.push_back(number);
    }
  }
  for (const int number : over) {
    remove(number);
  }
}

PullPoints::Point* PullPoints::find(int number) {
  const auto found = points.find(number);
  return found != points.end() ? &found->second : nullptr;
}

void PullPoints::add(Point* point, const std::shared_ptr<const Notification>& notification) const {
  if (!point->filter.passes(notification->topic)) {
    return;
  }
  point->queue.push_back(notification);
  if (point->queue.size() > limits.queue) {
    point->queue.pop_front();
  }
}

void PullPoints::answer(Point* point) {
  const Pull pull = *std::exchange(point->pull, std::nullopt);
  std::vector<Notification> taken;
  while (!point->queue.empty() && taken.size() < pull.most) {
    taken.push_back(*point->queue.front());
    point->queue.pop_front();
  }
  pull.taken(taken);
}

void PullPoints::answerIfAny(Point* point) {
  if (point->pull && !point->queue.empty()) {
    answer(point);
  }
}

}  // namespace device::onvif
