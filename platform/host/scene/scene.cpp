#include "scene.h"

#include <algorithm>
#include <bit>
#include <cstdint>
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
  std::span<const T> values;
};

template <typename T>
using Properties = std::span<const Property<T>>;

// Values and their properties as they come from the frame. Room for all is made once, so that what
// points to them stays valid.
template <typename T>
class PropertyStore {
 public:
  // For as many as a frame of that size can hold.
  explicit PropertyStore(std::size_t frameSize) {
    values.reserve(frameSize / sizeof(T));
    properties.reserve(frameSize / frame_format::MIN_PROPERTY_SIZE);
  }

  std::span<T> addValues(std::size_t count) {
    const std::size_t first = values.size();
    values.resize(first + count);
    return std::span(values).subspan(first);
  }

  void add(const Property<T>& property) { properties.push_back(property); }

  std::size_t size() const { return properties.size(); }
  Properties<T> from(std::size_t first) const { return std::span(properties).subspan(first); }

 private:
  std::vector<T> values;
  std::vector<Property<T>> properties;
};

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
  explicit scene(std::size_t size) : times(size), numbers(size) {}

  PropertyStore<std::int64_t> times;
  PropertyStore<std::int32_t> numbers;
  Properties<std::int64_t> properties;
  std::vector<scene_object> objects;
  std::vector<scene_event> events;
};

namespace {

// Takes numbers from the front of a span. The first read beyond its end fails, and so does every
// read after it; what a failed read returns is 0.
class Reader {
 public:
  explicit Reader(std::span<const std::uint8_t> bytes) : bytes(bytes) {}

  bool isOk() const { return ok; }
  bool isAtEnd() const { return bytes.empty(); }
  std::size_t left() const { return bytes.size(); }

  void fail() { ok = false; }

  template <typename T>
  T number() {
    T value = 0;
    if (has(1, sizeof(T))) {
      read(std::span(&value, 1));
    }
    return value;
  }

  // The caller has seen that so many are there.
  template <typename T>
  void read(std::span<T> values) {
    if constexpr (std::endian::native == std::endian::little) {
      std::copy_n(bytes.data(), values.size_bytes(),
                  reinterpret_cast<std::uint8_t*>(values.data()));
    } else {
      const std::uint8_t* byte = bytes.data();
      for (T& value : values) {
        std::make_unsigned_t<T> bits = 0;
        for (std::size_t i = 0; i < sizeof(T); ++i) {
          bits |= static_cast<std::make_unsigned_t<T>>(*byte++) << (8 * i);
        }
        value = static_cast<T>(bits);
      }
    }
    bytes = bytes.subspan(values.size_bytes());
  }

  // A number of items, each of which takes item_size bytes or more of what is left.
  std::uint32_t count(std::size_t itemSize) {
    const auto items = number<std::uint32_t>();
    return has(items, itemSize) ? items : 0;
  }

  // Whether so many items of a size can still come; a failed read if not.
  bool has(std::size_t items, std::size_t itemSize) {
    if (items > bytes.size() / itemSize) {
      fail();
    }
    return ok;
  }

 private:
  std::span<const std::uint8_t> bytes;
  bool ok = true;
};

template <typename T>
Properties<T> readProperties(Reader& reader, std::uint32_t count, PropertyStore<T>& store) {
  if (!reader.has(count, frame_format::MIN_PROPERTY_SIZE)) {
    return {};
  }
  const std::size_t first = store.size();
  for (std::uint32_t i = 0; i < count && reader.isOk(); ++i) {
    const auto number = reader.number<std::uint32_t>();
    const std::span<T> values = store.addValues(reader.count(sizeof(T)));
    reader.read(values);
    store.add({number, values});
  }
  return store.from(first);
}

void readObjects(Reader& reader, std::uint32_t count, scene& into) {
  if (!reader.has(count, frame_format::MIN_OBJECT_SIZE)) {
    return;
  }
  into.objects.reserve(count);
  for (std::uint32_t i = 0; i < count && reader.isOk(); ++i) {
    const auto id = reader.number<std::int32_t>();
    const auto properties = reader.number<std::uint32_t>();
    into.objects.push_back({id, readProperties(reader, properties, into.numbers)});
  }
}

void readEvents(Reader& reader, std::uint32_t count, scene& into) {
  if (!reader.has(count, frame_format::MIN_EVENT_SIZE)) {
    return;
  }
  into.events.reserve(count);
  for (std::uint32_t i = 0; i < count && reader.isOk(); ++i) {
    const auto action = reader.number<std::uint32_t>();
    if (action > SCENE_EVENT_MERGE) {
      reader.fail();
    }
    const auto properties = reader.number<std::uint32_t>();
    into.events.push_back({action, readProperties(reader, properties, into.numbers)});
  }
}

std::unique_ptr<scene> decode(std::span<const std::uint8_t> frame) {
  Reader reader(frame.subspan(frame_format::PREAMBLE_SIZE));
  if (reader.number<std::uint32_t>() != frame_format::VERSION) {
    return nullptr;
  }
  const auto properties = reader.number<std::uint32_t>();
  const auto objects = reader.number<std::uint32_t>();
  const auto events = reader.number<std::uint32_t>();

  auto result = std::make_unique<scene>(reader.left());
  result->properties = readProperties(reader, properties, result->times);
  readObjects(reader, objects, *result);
  readEvents(reader, events, *result);
  return reader.isOk() && reader.isAtEnd() ? std::move(result) : nullptr;
}

template <typename T>
int getProperty(Properties<T> properties, int number, const T** values) {
  for (const Property<T>& property : properties) {
    if (property.number != static_cast<std::uint32_t>(number)) {
      continue;
    }
    if (values != nullptr) {
      *values = property.values.data();
    }
    return static_cast<int>(property.values.size());
  }
  return -1;
}

template <typename T>
const T* next(const std::vector<T>& items, const T* previous) {
  const T* following = previous == nullptr ? items.data() : previous + 1;
  return following == items.data() + items.size() ? nullptr : following;
}

}  // namespace

size_t scene_area_size(const void* area) {
  if (area == nullptr) {
    return 0;
  }
  Reader reader({static_cast<const std::uint8_t*>(area), frame_format::PREAMBLE_SIZE});
  if (reader.number<std::uint32_t>() != frame_format::MAGIC) {
    return 0;
  }
  const std::size_t size = reader.number<std::uint32_t>();
  return size >= frame_format::HEADER_SIZE && size <= frame_format::MAX_SIZE ? size : 0;
}

scene* scene_copy_from_area(const void* area, size_t size) {
  if (size < frame_format::PREAMBLE_SIZE) {
    return nullptr;
  }
  const std::size_t announced = scene_area_size(area);
  if (announced == 0 || announced > size) {
    return nullptr;
  }
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
