#include "scene.h"

#include <algorithm>
#include <memory>
#include <new>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

#include "scene/frame_format.h"

namespace {

template <typename T>
struct Property {
  std::uint32_t number = 0;
  std::vector<T> values;
};

template <typename T>
using Properties = std::vector<Property<T>>;

}  // namespace

struct scene_object {
  std::int32_t id = 0;
  Properties<std::int32_t> properties;
};

struct scene_event {
  std::uint32_t action = 0;
  Properties<std::int32_t> properties;
};

struct scene {
  Properties<std::int64_t> properties;
  std::vector<scene_object> objects;
  std::vector<scene_event> events;
};

namespace {

// Takes numbers from the front of a span. The first read beyond its end fails, and so does every
// read after it; what a failed read returns is 0.
class Reader {
 public:
  explicit Reader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  bool isOk() const { return is_ok_; }
  bool isAtEnd() const { return bytes_.empty(); }

  void fail() { is_ok_ = false; }

  template <typename T>
  T number() {
    if (!has(1, sizeof(T))) return 0;
    std::make_unsigned_t<T> bits = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
      bits |= static_cast<std::make_unsigned_t<T>>(bytes_[i]) << (8 * i);
    }
    bytes_ = bytes_.subspan(sizeof(T));
    return static_cast<T>(bits);
  }

  // A number of items, each of which takes item_size bytes or more of what is left.
  std::uint32_t count(std::size_t item_size) {
    const auto items = number<std::uint32_t>();
    return has(items, item_size) ? items : 0;
  }

  // Whether so many items of a size can still come; a failed read if not.
  bool has(std::size_t items, std::size_t item_size) {
    if (items > bytes_.size() / item_size) fail();
    return is_ok_;
  }

 private:
  std::span<const std::uint8_t> bytes_;
  bool is_ok_ = true;
};

template <typename T>
Property<T> readProperty(Reader& reader) {
  Property<T> property{.number = reader.number<std::uint32_t>(), .values = {}};
  property.values.resize(reader.count(sizeof(T)));
  for (T& value : property.values) value = reader.number<T>();
  return property;
}

template <typename T>
Properties<T> readProperties(Reader& reader, std::uint32_t count) {
  Properties<T> properties;
  if (!reader.has(count, frame_format::kMinPropertySize)) return properties;
  properties.reserve(count);
  for (std::uint32_t i = 0; i < count && reader.isOk(); ++i) {
    properties.push_back(readProperty<T>(reader));
  }
  return properties;
}

std::vector<scene_object> readObjects(Reader& reader, std::uint32_t count) {
  std::vector<scene_object> objects;
  if (!reader.has(count, frame_format::kMinObjectSize)) return objects;
  objects.reserve(count);
  for (std::uint32_t i = 0; i < count && reader.isOk(); ++i) {
    scene_object& object = objects.emplace_back();
    object.id = reader.number<std::int32_t>();
    const auto properties = reader.number<std::uint32_t>();
    object.properties = readProperties<std::int32_t>(reader, properties);
  }
  return objects;
}

std::vector<scene_event> readEvents(Reader& reader, std::uint32_t count) {
  std::vector<scene_event> events;
  if (!reader.has(count, frame_format::kMinEventSize)) return events;
  events.reserve(count);
  for (std::uint32_t i = 0; i < count && reader.isOk(); ++i) {
    scene_event& event = events.emplace_back();
    event.action = reader.number<std::uint32_t>();
    if (event.action > SCENE_EVENT_MERGE) reader.fail();
    const auto properties = reader.number<std::uint32_t>();
    event.properties = readProperties<std::int32_t>(reader, properties);
  }
  return events;
}

std::unique_ptr<scene> decode(std::span<const std::uint8_t> frame) {
  Reader reader(frame.subspan(frame_format::kPreambleSize));
  if (reader.number<std::uint32_t>() != frame_format::kVersion) return nullptr;
  const auto properties = reader.number<std::uint32_t>();
  const auto objects = reader.number<std::uint32_t>();
  const auto events = reader.number<std::uint32_t>();

  auto result = std::make_unique<scene>();
  result->properties = readProperties<std::int64_t>(reader, properties);
  result->objects = readObjects(reader, objects);
  result->events = readEvents(reader, events);
  return reader.isOk() && reader.isAtEnd() ? std::move(result) : nullptr;
}

template <typename T>
int getProperty(const Properties<T>& properties, int number, const T** values) {
  const auto found =
      std::find_if(properties.begin(), properties.end(), [number](const Property<T>& property) {
        return property.number == static_cast<std::uint32_t>(number);
      });
  if (found == properties.end()) return -1;
  if (values != nullptr) *values = found->values.data();
  return static_cast<int>(found->values.size());
}

template <typename T>
const T* next(const std::vector<T>& items, const T* previous) {
  const T* following = previous == nullptr ? items.data() : previous + 1;
  return following == items.data() + items.size() ? nullptr : following;
}

}  // namespace

size_t scene_area_size(const void* area) {
  if (area == nullptr) return 0;
  Reader reader({static_cast<const std::uint8_t*>(area), frame_format::kPreambleSize});
  if (reader.number<std::uint32_t>() != frame_format::kMagic) return 0;
  const std::size_t size = reader.number<std::uint32_t>();
  return size >= frame_format::kHeaderSize && size <= frame_format::kMaxSize ? size : 0;
}

scene* scene_copy_from_area(const void* area, size_t size) {
  if (size < frame_format::kPreambleSize) return nullptr;
  const std::size_t announced = scene_area_size(area);
  if (announced == 0 || announced > size) return nullptr;
  try {
    return decode({static_cast<const std::uint8_t*>(area), announced}).release();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void scene_delete(scene* s) {
  delete s;
}

int scene_get_prop(const scene* s, int property, const int64_t** values) {
  return getProperty(s->properties, property, values);
}

const scene_object* scene_next_object(const scene* s, const scene_object* previous) {
  return next(s->objects, previous);
}

const scene_event* scene_next_event(const scene* s, const scene_event* previous) {
  return next(s->events, previous);
}

int32_t scene_get_object_id(const scene_object* object) {
  return object->id;
}

int scene_get_obj_prop(const scene_object* object, int property, const int32_t** values) {
  return getProperty(object->properties, property, values);
}

int scene_get_event_action(const scene_event* event) {
  return static_cast<int>(event->action);
}

int scene_get_evt_prop(const scene_event* event, int property, const int32_t** values) {
  return getProperty(event->properties, property, values);
}
