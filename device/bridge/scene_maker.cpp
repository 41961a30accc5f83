#include "bridge/scene_maker.h"

#include <algorithm>
#include <cmath>

#include "base/units.h"

namespace device::bridge {

namespace {

using onvif::SeenAction;
using onvif::SeenBox;
using onvif::SeenChange;
using onvif::SeenFrame;
using onvif::SeenObject;
using onvif::SeenPoint;

constexpr double UNIT = 4096;  // of a scene's coordinates
constexpr std::int32_t CONFIDENT = 4096;
constexpr double FARTHEST = 2;  // from the picture's middle; what is beyond is as good as there
constexpr double FASTEST = 100 * UNIT;  // a second: fifty pictures

std::int32_t scaled(double value) {
  return static_cast<std::int32_t>(std::lround(std::clamp(value, -1.0, 1.0) * UNIT));
}

FramePoint toScene(const SeenPoint& point) {
  return {scaled(point.x), scaled(point.y)};
}

std::array<FramePoint, 4> cornersOf(const SeenBox& box) {
  return {toScene({box.left, box.bottom}), toScene({box.left, box.top}),
          toScene({box.right, box.top}), toScene({box.right, box.bottom})};
}

// Of an object that has an outline only.
std::optional<SeenBox> boxOf(const SeenObject& object) {
  if (object.box || object.outline.empty()) {
    return object.box;
  }
  const auto [left, right] = std::ranges::minmax(object.outline, {}, &SeenPoint::x);
  const auto [bottom, top] = std::ranges::minmax(object.outline, {}, &SeenPoint::y);
  return SeenBox{left.x, bottom.y, right.x, top.y};
}

SeenPoint near(const SeenPoint& point) {
  return {std::clamp(point.x, -FARTHEST, FARTHEST), std::clamp(point.y, -FARTHEST, FARTHEST)};
}

std::int32_t speedOf(double perSecond) {
  return static_cast<std::int32_t>(std::lround(std::clamp(perSecond * UNIT, -FASTEST, FASTEST)));
}

SeenPoint footOf(const SeenBox& box) {
  return {(box.left + box.right) / 2, box.bottom};
}

}  // namespace

Frame SceneMaker::take(const SeenFrame& seen, std::int64_t time) {
  Frame frame;
  frame.timestamp = time;
  sources[seen.source] = time;
  for (const SeenObject& object : seen.objects) {
    see(object, seen.source, time, &frame);
  }
  for (const SeenChange& change : seen.changes) {
    apply(change, seen.source, time, &frame);
  }
  repeatIdle(seen.source, time, &frame);
  forgetMissing(seen.source, time, &frame);
  return frame;
}

std::optional<Frame> SceneMaker::lose(std::int64_t time) {
  if (objects.empty()) {
    return std::nullopt;
  }
  Frame frame;
  frame.timestamp = time;
  FrameEvent event{FrameAction::deletion, {}, {}};
  for (const auto& [key, object] : objects) {
    event.from.push_back(object.id);
  }
  frame.events.push_back(std::move(event));
  objects.clear();
  sources.clear();
  return frame;
}

bool SceneMaker::isWanted(const SeenObject& object) const {
  return object.classes.empty() || std::ranges::any_of(object.classes, [&](const auto& one) {
           return one.likelihood >= wishes.likelihood && wishes.classes.contains(one.name);
         });
}

// What has been wanted once stays so: a class may waver from frame to frame.
void SceneMaker::see(const SeenObject& object, const std::string& source, std::int64_t time,
                     Frame* frame) {
  const Key key{source, object.id};
  Followed* known = find(key);
  if (object.isRemoved) {
    drop(key, frame);
    return;
  }
  const auto box = boxOf(object);
  if (known == nullptr && (!box || !isWanted(object) || objects.size() >= MOST_OBJECTS)) {
    return;
  }
  if (known != nullptr && known->seen == time) {
    return;  // twice in one frame
  }
  Followed& followed = known != nullptr ? *known : begin(key, time);
  followed.seen = time;
  followed.isIdle = object.isIdle;
  if (!box) {
    return;  // hidden
  }
  if (object.centre.has_value() != followed.hasCentre) {
    followed.positions.clear();
  }
  followed.hasCentre = object.centre.has_value();
  followed.positions.push_back({time, near(object.centre.value_or(footOf(*box)))});
  while (followed.positions.size() > SLOPE_FRAMES ||
         followed.positions.front().time < time - SLOPE) {
    followed.positions.pop_front();
  }
  FrameObject shape;
  shape.id = followed.id;
  shape.box = cornersOf(*box);
  for (const SeenPoint& point : object.outline) {
    shape.outline.push_back(toScene(point));
  }
  if (shape.outline.empty()) {
    shape.outline.assign(shape.box.rbegin(), shape.box.rend());
  }
  shape.velocity = object.isIdle ? FramePoint{} : velocityOf(followed);
  shape.confidence = CONFIDENT;
  followed.shape = shape;
  frame->objects.push_back(std::move(shape));
}

void SceneMaker::apply(const SeenChange& change, const std::string& source, std::int64_t time,
                       Frame* frame) {
  switch (change.action) {
    case SeenAction::rename:
      if (!change.from.empty() && !change.to.empty()) {
        rename({source, change.from.front()}, {source, change.to.front()}, frame);
      }
      return;
    case SeenAction::split:
      split(change, source, time, frame);
      return;
    case SeenAction::merge:
      merge(change, source, time, frame);
      return;
    case SeenAction::deletion:
      for (const std::string& id : change.from) {
        drop({source, id}, frame);
      }
      return;
  }
}

// Whoever was told for the first time in this very frame has never been there.
void SceneMaker::drop(const Key& key, Frame* frame) {
  const Followed* known = find(key);
  if (known == nullptr) {
    return;
  }
  if (known->begun != frame->timestamp) {
    frame->events.push_back({FrameAction::deletion, {known->id}, {}});
  }
  std::erase_if(frame->objects, [&](const auto& one) { return one.id == known->id; });
  objects.erase(key);
}

// The application knows no names but numbers: the new name has the old one's number. When both have
// been told already, they are one from now on.
void SceneMaker::rename(const Key& from, const Key& to, Frame* frame) {
  Followed* old = find(from);
  if (old == nullptr || from == to) {
    return;
  }
  if (const Followed* known = find(to)) {
    const bool isNew = known->begun == frame->timestamp && old->seen != frame->timestamp;
    if (!isNew) {
      frame->events.push_back({FrameAction::merge, {known->id}, {old->id}});
      std::erase_if(frame->objects, [&](const auto& one) { return one.id == old->id; });
      objects.erase(from);
      return;
    }
    // Told under its new name for the first time, in this very frame.
    for (FrameObject& one : frame->objects) {
      one.id = one.id == known->id ? old->id : one.id;
    }
    old->seen = known->seen;
    old->isIdle = known->isIdle;
    if (known->shape) {
      old->shape = known->shape;
      old->shape->id = old->id;
    }
    objects.erase(to);
  }
  auto node = objects.extract(from);
  node.key() = to;
  objects.insert(std::move(node));
}

void SceneMaker::split(const SeenChange& change, const std::string& source, std::int64_t time,
                       Frame* frame) {
  const Followed* known = change.from.empty() ? nullptr : find({source, change.from.front()});
  if (known == nullptr || change.to.empty()) {
    return;
  }
  const std::int32_t id = known->id;
  FrameEvent event{FrameAction::split, {id}, {}};
  for (const std::string& part : change.to) {
    if (objects.size() < MOST_OBJECTS || find({source, part}) != nullptr) {
      event.to.push_back(begin({source, part}, time).id);
    }
  }
  const bool goesOn = std::ranges::count(event.to, id) > 0;
  frame->events.push_back(std::move(event));
  if (!goesOn) {
    objects.erase({source, change.from.front()});
  }
}

void SceneMaker::merge(const SeenChange& change, const std::string& source, std::int64_t time,
                       Frame* frame) {
  if (change.to.empty()) {
    return;
  }
  std::vector<Key> absorbed;
  for (const std::string& id : change.from) {
    const Key key{source, id};
    if (id != change.to.front() && find(key) != nullptr && std::ranges::count(absorbed, key) == 0) {
      absorbed.push_back(key);
    }
  }
  const Key remaining{source, change.to.front()};
  if (absorbed.empty()) {
    return;
  }
  const std::optional<FrameObject> shape = find(absorbed.front())->shape;
  const bool isNew = find(remaining) == nullptr;
  Followed& one = begin(remaining, time);
  if (isNew && shape) {
    one.shape = shape;
    one.shape->id = one.id;
    frame->objects.push_back(*one.shape);
  }
  FrameEvent event{FrameAction::merge, {one.id}, {}};
  for (const Key& key : absorbed) {
    const Followed& other = *find(key);
    const std::int32_t id = other.id;
    if (other.begun != time) {
      event.to.push_back(id);
    }
    std::erase_if(frame->objects, [&](const auto& object) { return object.id == id; });
    objects.erase(key);
  }
  if (!event.to.empty()) {
    frame->events.push_back(std::move(event));
  }
}

void SceneMaker::repeatIdle(const std::string& source, std::int64_t time, Frame* frame) {
  for (auto& [key, object] : objects) {
    if (key.first == source && object.isIdle && object.seen != time && object.shape) {
      object.shape->velocity = {};
      frame->objects.push_back(*object.shape);
    }
  }
}

void SceneMaker::forgetMissing(const std::string& source, std::int64_t time, Frame* frame) {
  FrameEvent event{FrameAction::deletion, {}, {}};
  const auto isOver = [&](const Key& key, const Followed& object) {
    if (key.first != source) {
      const auto heard = sources.find(key.first);
      return heard == sources.end() || time - heard->second >= SOURCE_GONE;
    }
    return time - object.seen >= (object.isIdle ? IDLE : GONE);
  };
  for (auto object = objects.begin(); object != objects.end();) {
    if (!isOver(object->first, object->second)) {
      ++object;
      continue;
    }
    const std::int32_t id = object->second.id;
    event.from.push_back(id);
    std::erase_if(frame->objects, [&](const auto& one) { return one.id == id; });
    object = objects.erase(object);
  }
  if (!event.from.empty()) {
    frame->events.push_back(std::move(event));
  }
  std::erase_if(sources, [&](const auto& one) { return time - one.second >= SOURCE_GONE; });
}

SceneMaker::Followed* SceneMaker::find(const Key& key) {
  const auto found = objects.find(key);
  return found != objects.end() ? &found->second : nullptr;
}

// The one that is there already, or a new one.
SceneMaker::Followed& SceneMaker::begin(const Key& key, std::int64_t time) {
  const auto [object, isNew] = objects.try_emplace(key);
  if (isNew) {
    object->second.id = ++lastId;
    object->second.begun = time;
    object->second.seen = time;
  }
  return object->second;
}

// The slope of the line that lies nearest to all positions (least squares).
FramePoint SceneMaker::velocityOf(const Followed& object) {
  const auto count = static_cast<double>(object.positions.size());
  if (count < 2) {
    return {};
  }
  const std::int64_t start = object.positions.front().time;
  double t = 0;
  SeenPoint mean;
  for (const Position& position : object.positions) {
    t += units::toSeconds(position.time - start) / count;
    mean.x += position.point.x / count;
    mean.y += position.point.y / count;
  }
  double spread = 0;
  SeenPoint common;
  for (const Position& position : object.positions) {
    const double off = units::toSeconds(position.time - start) - t;
    spread += off * off;
    common.x += off * (position.point.x - mean.x);
    common.y += off * (position.point.y - mean.y);
  }
  if (spread <= 0) {
    return {};
  }
  return {speedOf(common.x / spread), speedOf(common.y / spread)};
}

}  // namespace device::bridge
