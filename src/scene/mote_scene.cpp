#include "scene/mote_scene.h"

#include <scene.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "platform/owners.h"

namespace {

// Far beyond any machine's life, and far enough from the limit that times can be added.
constexpr std::int64_t LATEST_TIME = std::int64_t{1} << 61;

// One frame with more objects must not hold their memory for ever.
constexpr std::size_t MAX_SPARE_OBJECTS = 500;

std::int64_t readTimestamp(const scene* s) {
  const std::int64_t* values = nullptr;
  if (scene_get_prop(s, SCENE_PROP_TIMESTAMP, &values) < 1) {
    return 0;
  }
  return std::clamp<std::int64_t>(values[0], 0, LATEST_TIME);
}

// All ids of an event's property; nothing when it cannot be read.
std::optional<std::vector<std::int32_t>> readIds(const scene_event* event, int property) {
  const std::int32_t* values = nullptr;
  const int count = scene_get_evt_prop(event, property, &values);
  if (count < 0) {
    return std::nullopt;
  }
  return std::vector<std::int32_t>(values, values + count);
}

template <typename Data>
void appendChange(const scene_event* event, std::vector<std::unique_ptr<Data>>& changes) {
  const auto from = readIds(event, SCENE_EVT_PROP_FROM);
  auto to = readIds(event, SCENE_EVT_PROP_TO);
  if (from && !from->empty() && to) {
    changes.push_back(std::make_unique<Data>(Data{from->front(), std::move(*to)}));
  }
}

}  // namespace

MoteScene::MoteScene(const SceneFrame& frame, std::int32_t propertyMask) {
  read(frame, propertyMask);
}

void MoteScene::clear() {
  timestamp = 0;
  isDecoded = true;
  std::ranges::move(objects, std::back_inserter(spareObjects));
  if (spareObjects.size() > MAX_SPARE_OBJECTS) {
    spareObjects.resize(MAX_SPARE_OBJECTS);
  }
  objects.clear();
  deletedIds.clear();
  merges.clear();
  splits.clear();
}

void MoteScene::readObject(const scene_object* object, std::int32_t propertyMask) {
  if (spareObjects.empty()) {
    objects.push_back(std::make_unique<MoteObject>(object, timestamp, propertyMask));
    return;
  }
  objects.push_back(std::move(spareObjects.back()));
  spareObjects.pop_back();
  objects.back()->read(object, timestamp, propertyMask);
}

void MoteScene::read(const SceneFrame& frame, std::int32_t propertyMask) {
  clear();
  const ScenePtr decoded(scene_copy_from_area(frame.data.get(), frame.size));
  if (decoded == nullptr) {
    isDecoded = false;
    return;
  }
  timestamp = readTimestamp(decoded.get());
  for (const scene_object* object = scene_next_object(decoded.get(), nullptr); object != nullptr;
       object = scene_next_object(decoded.get(), object)) {
    readObject(object, propertyMask);
  }
  for (const scene_event* event = scene_next_event(decoded.get(), nullptr); event != nullptr;
       event = scene_next_event(decoded.get(), event)) {
    switch (scene_get_event_action(event)) {
      case SCENE_EVENT_DELETE:
        if (const auto ids = readIds(event, SCENE_EVT_PROP_FROM)) {
          deletedIds.insert(deletedIds.end(), ids->begin(), ids->end());
        }
        break;
      case SCENE_EVENT_SPLIT:
        appendChange(event, splits);
        break;
      case SCENE_EVENT_MERGE:
        appendChange(event, merges);
        break;
      default:
        break;
    }
  }
}
