#include "scene/scene_encoder.h"

#include <stdexcept>
#include <type_traits>

#include "scene.h"
#include "scene/frame_format.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

template <typename T>
void put(Bytes& bytes, T value) {
  const auto bits = static_cast<std::make_unsigned_t<T>>(value);
  for (std::size_t i = 0; i < sizeof(T); ++i) {
    bytes.push_back(static_cast<std::uint8_t>(bits >> (8 * i)));
  }
}

template <typename T>
void putProperty(Bytes& bytes, int property, std::span<const T> values) {
  put(bytes, static_cast<std::uint32_t>(property));
  put(bytes, static_cast<std::uint32_t>(values.size()));
  for (const T value : values) {
    put(bytes, value);
  }
}

void increment(std::uint8_t* littleEndian) {
  for (std::size_t i = 0; i < sizeof(std::uint32_t); ++i) {
    if (++littleEndian[i] != 0) {
      return;
    }
  }
}

void append(Bytes& bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

}  // namespace

void SceneEncoder::addSceneProperty(int property, std::span<const std::int64_t> values) {
  putProperty(properties, property, values);
  ++propertyCount;
}

void SceneEncoder::beginObject(std::int32_t id) {
  put(objects, id);
  objectPropertyCountAt = objects.size();
  put(objects, std::uint32_t{0});
  ++objectCount;
}

void SceneEncoder::addObjectProperty(int property, std::span<const std::int32_t> values) {
  if (objectCount == 0) {
    throw std::logic_error("A property without an object");
  }
  putProperty(objects, property, values);
  increment(&objects[objectPropertyCountAt]);
}

void SceneEncoder::addEvent(int action, std::span<const std::int32_t> from,
                            std::span<const std::int32_t> to) {
  const bool hasTo = action != SCENE_EVENT_DELETE;
  put(events, static_cast<std::uint32_t>(action));
  put(events, std::uint32_t{hasTo ? 2U : 1U});
  putProperty(events, SCENE_EVT_PROP_FROM, from);
  if (hasTo) {
    putProperty(events, SCENE_EVT_PROP_TO, to);
  }
  ++eventCount;
}

std::vector<std::uint8_t> SceneEncoder::bytes() const {
  const std::size_t size =
      frame_format::HEADER_SIZE + properties.size() + objects.size() + events.size();
  if (size > frame_format::MAX_SIZE) {
    throw std::length_error("A scene frame above 16 MiB");
  }

  Bytes frame;
  frame.reserve(size);
  put(frame, frame_format::MAGIC);
  put(frame, static_cast<std::uint32_t>(size));
  put(frame, frame_format::VERSION);
  put(frame, propertyCount);
  put(frame, objectCount);
  put(frame, eventCount);
  append(frame, properties);
  append(frame, objects);
  append(frame, events);
  return frame;
}

void SceneEncoder::clear() {
  *this = SceneEncoder();
}
