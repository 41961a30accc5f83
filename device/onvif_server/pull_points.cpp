#include "onvif_server/pull_points.h"

#include <algorithm>
#include <utility>

namespace device::onvif {
namespace {

template <typename Queue>
void keepNewest(Queue* queue, std::size_t most) {
  while (queue->size() > most) {
    queue->pop_front();
  }
}

}  // namespace

PullPoints::PullPoints(Clock clock, Present present, const PullPointLimits& limits)
    : clock(std::move(clock)), present(std::move(present)), limits(limits) {}

std::optional<int> PullPoints::create(TopicFilter filter, std::int64_t lifetime) {
  update();
  if (points.size() >= limits.points) {
    return std::nullopt;
  }
  Point& point = points[++last];
  point.filter = std::move(filter);
  point.lifetime = lifetime;
  point.created = point.pulled = clock();
  point.end = point.created + lifetime;
  point.queue = takeLegacy(point.filter);
  addPresent(&point);
  return last;
}

void PullPoints::publish(const std::vector<Notification>& notifications) {
  for (const Notification& each : notifications) {
    const Waiting waiting{std::make_shared<const Notification>(each), clock()};
    for (auto& [number, point] : points) {
      add(&point, waiting);
    }
    for (Legacy& legacy : legacies) {
      leave(&legacy, waiting);
    }
  }
  for (auto& [number, point] : points) {
    answerIfAny(number, &point);
  }
}

bool PullPoints::synchronize(int number) {
  Point* point = find(number);
  if (point == nullptr) {
    return false;
  }
  addPresent(point);
  answerIfAny(number, point);
  return true;
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
  point->pulled = clock();
  const std::int64_t end = point->pulled + patience;
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
  point->end = (point->pull ? point->pull->end : clock()) + lifetime;
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
    forget(number);
  }
  std::erase_if(legacies, [now](const Legacy& legacy) { return legacy.end <= now; });
}

PullPoints::Point* PullPoints::find(int number) {
  const auto found = points.find(number);
  return found != points.end() ? &found->second : nullptr;
}

void PullPoints::add(Point* point, const Waiting& waiting) const {
  if (point->filter.passes(waiting.notification->topic)) {
    point->queue.push_back(waiting);
    keepNewest(&point->queue, limits.queue);
  }
}

void PullPoints::addPresent(Point* point) const {
  for (const Notification& each : present()) {
    add(point, {std::make_shared<const Notification>(each), clock()});
  }
}

// Of the properties that it is told to have changed, those that there are no more.
void PullPoints::addGone(Point* point, const Queue& told) const {
  std::vector<Notification> known = present();
  for (const Waiting& waiting : told) {
    Notification gone = *waiting.notification;
    const bool isKnown = std::ranges::any_of(
        known, [&](const Notification& other) { return isSameProperty(gone, other); });
    if (gone.operation == PropertyOperation::changed && !isKnown) {
      gone.operation = PropertyOperation::deleted;
      add(point, {std::make_shared<const Notification>(gone), clock()});
      known.push_back(std::move(gone));
    }
  }
}

void PullPoints::forget(int number) {
  Point* point = find(number);
  takeBack(point);
  Legacy legacy{point->filter, point->end + limits.keptFor, {}};
  for (const Waiting& waiting : point->queue) {
    leave(&legacy, waiting);
  }
  if (auto* heir = heirOf(*point)) {
    handOver(&legacy.queue, heir->first, &heir->second);
  } else {
    legacies.push_back(std::move(legacy));
    keepNewest(&legacies, limits.points);
  }
  remove(number);
}

// Whoever came with the same filter since its client has pulled for the last time: the first of
// them.
std::pair<const int, PullPoints::Point>* PullPoints::heirOf(const Point& lost) {
  const auto found = std::ranges::find_if(points, [&lost](const auto& each) {
    const Point& point = each.second;
    return &point != &lost && point.created > lost.pulled && point.filter == lost.filter;
  });
  return found != points.end() ? &*found : nullptr;
}

// What came before it was there; of the rest it was told itself. It may know what came later
// already, and so is told last how things are.
void PullPoints::handOver(Queue* left, int number, Point* heir) {
  std::erase_if(*left, [heir](const Waiting& waiting) { return waiting.since > heir->created; });
  dropOld(left);
  if (left->empty()) {
    return;
  }
  heir->queue.insert(heir->queue.begin(), left->begin(), left->end());
  keepNewest(&heir->queue, limits.queue);
  addGone(heir, *left);
  addPresent(heir);
  answerIfAny(number, heir);
}

// Whoever comes anew is told the state as it is then.
void PullPoints::leave(Legacy* legacy, const Waiting& waiting) const {
  const Notification& notification = *waiting.notification;
  if (notification.operation != PropertyOperation::initialized &&
      legacy->filter.passes(notification.topic)) {
    legacy->queue.push_back(waiting);
    keepNewest(&legacy->queue, limits.kept);
  }
}

PullPoints::Queue PullPoints::takeLegacy(const TopicFilter& filter) {
  const auto found = std::ranges::find(legacies, filter, &Legacy::filter);
  if (found == legacies.end()) {
    return {};
  }
  Queue queue = std::move(found->queue);
  legacies.erase(found);
  dropOld(&queue);
  return queue;
}

void PullPoints::dropOld(Queue* queue) const {
  std::erase_if(*queue, [oldest = clock() - limits.keptFor](const Waiting& waiting) {
    return waiting.since <= oldest;
  });
}

void PullPoints::takeBack(Point* point) const {
  point->queue.insert(point->queue.begin(), point->onItsWay.begin(), point->onItsWay.end());
  point->onItsWay.clear();
  keepNewest(&point->queue, limits.queue);
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
    taken.push_back(*point->queue.front().notification);
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
