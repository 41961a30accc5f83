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
  Point& point = points[++last];
  point.filter = std::move(filter);
  point.lifetime = lifetime;
  point.end = clock() + lifetime;
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
    answerIfAny(number, &point);
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
  answerIfAny(number, point);
}

PullPoints::Pulled PullPoints::pull(int number, std::size_t most, std::int64_t patience,
                                    Client client) {
  update();
  Point* point = find(number);
  if (point == nullptr) {
    return Pulled::noPoint;
  }
  if (point->pull && point->pull->client.isThere()) {
    return Pulled::anotherWaits;
  }
  if (point->pull) {
    std::exchange(point->pull, std::nullopt)->client.take({}, {});
  }
  takeBack(point);  // who comes anew has not got it
  const std::int64_t end = clock() + patience;
  point->end = std::max(point->end, end + point->lifetime);
  point->pull = Pull{std::max<std::size_t>(most, 1), end, std::move(client)};
  if (patience <= 0) {
    answer(number, point);
  } else {
    answerIfAny(number, point);
  }
  return Pulled::yes;
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
    pull->client.take({}, {});
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
      answer(number, &point);
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

void PullPoints::takeBack(Point* point) const {
  point->queue.insert(point->queue.begin(), point->onItsWay.begin(), point->onItsWay.end());
  point->onItsWay.clear();
  while (point->queue.size() > limits.queue) {
    point->queue.pop_front();
  }
}

void PullPoints::settle(int number, int batch, bool isSent) {
  Point* point = find(number);
  if (point == nullptr || point->batch != batch) {
    return;
  }
  if (isSent) {
    point->onItsWay.clear();
    return;
  }
  takeBack(point);
  answerIfAny(number, point);
}

void PullPoints::answer(int number, Point* point) {
  const Pull pull = *std::exchange(point->pull, std::nullopt);
  if (!pull.client.isThere()) {
    return pull.client.take({}, {});
  }
  std::vector<Notification> taken;
  while (!point->queue.empty() && taken.size() < pull.most) {
    taken.push_back(*point->queue.front());
    point->onItsWay.push_back(std::move(point->queue.front()));
    point->queue.pop_front();
  }
  if (taken.empty()) {
    return pull.client.take({}, {});
  }
  pull.client.take(taken, [here = std::weak_ptr<PullPoints*>(self), number,
                           batch = ++point->batch](bool isSent) {
    if (const auto points = here.lock()) {
      (*points)->settle(number, batch, isSent);
    }
  });
}

void PullPoints::answerIfAny(int number, Point* point) {
  if (point->pull && !point->queue.empty()) {
    answer(number, point);
  }
}

}  // namespace device::onvif
