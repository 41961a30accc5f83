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
  for (const T value : values) put(bytes, value);
}

void increment(std::uint8_t* little_endian) {
  for (std::size_t i = 0; i < sizeof(std::uint32_t); ++i) {
    if (++little_endian[i] != 0) return;
  }
}

void append(Bytes& bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

}  // namespace

void SceneEncoder::addSceneProperty(int property, std::span<const std::int64_t> values) {
  putProperty(properties_, property, values);
  ++property_count_;
}

void SceneEncoder::beginObject(std::int32_t id) {
  put(objects_, id);
  object_property_count_at_ = objects_.size();
  put(objects_, std::uint32_t{0});
  ++object_count_;
}

void SceneEncoder::addObjectProperty(int property, std::span<const std::int32_t> values) {
  if (object_count_ == 0) throw std::logic_error("A property without an object");
  putProperty(objects_, property, values);
  increment(&objects_[object_property_count_at_]);
}

void SceneEncoder::addEvent(int action, std::span<const std::int32_t> from,
                            std::span<const std::int32_t> to) {
  const bool has_to = action != SCENE_EVENT_DELETE;
  put(events_, static_cast<std::uint32_t>(action));
  put(events_, std::uint32_t{has_to ? 2U : 1U});
  putProperty(events_, SCENE_EVT_PROP_FROM, from);
  if (has_to) putProperty(events_, SCENE_EVT_PROP_TO, to);
  ++event_count_;
}

std::vector<std::uint8_t> SceneEncoder::bytes() const {
  const std::size_t size =
      frame_format::kHeaderSize + properties_.size() + objects_.size() + events_.size();
  if (size > frame_format::kMaxSize) throw std::length_error("A scene frame above 16 MiB");

  Bytes frame;
  frame.reserve(size);
  put(frame, frame_format::kMagic);
  put(frame, static_cast<std::uint32_t>(size));
  put(frame, frame_format::kVersion);
  put(frame, property_count_);
  put(frame, object_count_);
  put(frame, event_count_);
  append(frame, properties_);
  append(frame, objects_);
  append(frame, events_);
  return frame;
}

void SceneEncoder::clear() {
  *this = SceneEncoder();
}
