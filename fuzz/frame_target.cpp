// Scene frames: decoding any bytes, and following objects over several frames.
#include <scene.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "fakes/log_capture.h"
#include "fuzz/input.h"
#include "fuzz/require.h"
#include "platform/owners.h"
#include "scene/frame_format.h"
#include "scene/mote_scene.h"
#include "scene/mote_scene_parser.h"
#include "scene/scene_encoder.h"
#include "scene/scene_properties.h"

namespace {

using fuzz::require;

using Bytes = std::vector<std::uint8_t>;
using Values = std::vector<std::int32_t>;

constexpr int MOST_FRAMES = 8;
constexpr int MOST_CROWDS = 3;                 // enough to fill the storage and then some
constexpr std::size_t LARGEST_CHECKED = 2048;  // crowds only cost time

// ---- What a frame says ----

struct Object {
  std::int32_t id = 0;
  std::map<int, Values> properties;

  bool operator==(const Object&) const = default;
};

struct Event {
  int action = 0;
  std::optional<Values> from;
  std::optional<Values> to;

  bool operator==(const Event&) const = default;
};

struct Frame {
  std::optional<std::vector<std::int64_t>> times;
  std::vector<Object> objects;
  std::vector<Event> events;

  bool operator==(const Frame&) const = default;
};

constexpr int OBJECT_PROPERTIES[] = {SCENE_OBJ_PROP_BOUNDING_BOX, SCENE_OBJ_PROP_POLYGON,
                                     SCENE_OBJ_PROP_VELOCITY, SCENE_OBJ_PROP_CONFIDENCE};

template <typename Owner, typename T>
std::optional<std::vector<T>> readProperty(int (*get)(const Owner*, int, const T**),
                                           const Owner* owner, int property) {
  const T* values = nullptr;
  const int count = get(owner, property, &values);
  require(count >= -1, "a property has a number of values or none");
  if (count < 0) {
    return std::nullopt;
  }
  return std::vector<T>(values, values + count);
}

// All that the library tells of a decoded frame.
Frame read(const scene* decoded) {
  Frame frame;
  frame.times = readProperty(scene_get_prop, decoded, SCENE_PROP_TIMESTAMP);
  for (auto object = scene_next_object(decoded, nullptr); object != nullptr;
       object = scene_next_object(decoded, object)) {
    Object& copy = frame.objects.emplace_back();
    copy.id = scene_get_object_id(object);
    for (const int property : OBJECT_PROPERTIES) {
      if (auto values = readProperty(scene_get_obj_prop, object, property)) {
        copy.properties[property] = *values;
      }
    }
  }
  for (auto event = scene_next_event(decoded, nullptr); event != nullptr;
       event = scene_next_event(decoded, event)) {
    Event& copy = frame.events.emplace_back();
    copy.action = scene_get_event_action(event);
    copy.from = readProperty(scene_get_evt_prop, event, SCENE_EVT_PROP_FROM);
    copy.to = readProperty(scene_get_evt_prop, event, SCENE_EVT_PROP_TO);
    require(copy.action >= SCENE_EVENT_DELETE && copy.action <= SCENE_EVENT_MERGE,
            "there are three kinds of events");
  }
  return frame;
}

Bytes encode(const Frame& frame) {
  SceneEncoder encoder;
  if (frame.times) {
    encoder.addSceneProperty(SCENE_PROP_TIMESTAMP, *frame.times);
  }
  for (const Object& object : frame.objects) {
    encoder.beginObject(object.id);
    for (const auto& [property, values] : object.properties) {
      encoder.addObjectProperty(property, values);
    }
  }
  for (const Event& event : frame.events) {
    encoder.addEvent(event.action, event.from.value_or(Values()), event.to.value_or(Values()));
  }
  return encoder.bytes();
}

// What the encoder can say: a deletion has no second list, the other events always have both.
Frame normal(Frame frame) {
  for (Event& event : frame.events) {
    event.from = event.from.value_or(Values());
    if (event.action == SCENE_EVENT_DELETE) {
      event.to.reset();
    } else {
      event.to = event.to.value_or(Values());
    }
  }
  return frame;
}

// Null unless the bytes are a frame. They are copied to where nothing may be read behind them.
std::optional<Frame> decode(std::span<const std::uint8_t> bytes) {
  const Bytes copy(bytes.begin(), bytes.end());
  const ScenePtr decoded(scene_copy_from_area(copy.data(), copy.size()));
  if (decoded == nullptr) {
    return std::nullopt;
  }
  return read(decoded.get());
}

void checkDecoding(const Bytes& bytes, const std::optional<Frame>& frame) {
  if (!frame || bytes.size() > LARGEST_CHECKED) {
    return;
  }
  const std::size_t announced = scene_area_size(bytes.data());
  require(announced >= frame_format::HEADER_SIZE && announced <= bytes.size(),
          "a frame is as long as it says");
  const std::span<const std::uint8_t> whole(bytes.data(), announced);
  require(decode(whole) == frame, "bytes behind a frame do not count");
  require(!decode(whole.first(announced - 1)), "a frame that is cut short is none");
  require(decode(encode(*frame)) == normal(*frame), "a frame encoded anew says the same");
}

// ---- What the daemon makes of a frame ----

std::int16_t narrow(std::int32_t value) {
  return static_cast<std::int16_t>(static_cast<std::uint32_t>(value) & 0xffffU);
}

const Values* find(const Object& object, int property) {
  const auto found = object.properties.find(property);
  return found == object.properties.end() ? nullptr : &found->second;
}

// Its own bounding box, as wide and high as the outline of the vertices; what is no outline is one
// step wide.
struct Size {
  std::int32_t width;
  std::int32_t height;

  bool operator==(const Size&) const = default;
};

Size sizeOf(const std::vector<Point>& vertices) {
  const auto [left, right] = std::ranges::minmax(vertices, {}, &Point::x);
  const auto [bottom, top] = std::ranges::minmax(vertices, {}, &Point::y);
  return {right.x - left.x, top.y - bottom.y};
}

// Pads what is no outline; one of more than 1024 vertices is none.
std::vector<Point> outlineOf(const Values* values) {
  std::vector<Point> points;
  if (values != nullptr && values->size() <= 2048) {
    for (std::size_t i = 0; i + 1 < values->size(); i += 2) {
      points.push_back({narrow((*values)[i]), narrow((*values)[i + 1])});
    }
  }
  const auto beside = [](std::int16_t value) {
    return static_cast<std::int16_t>(value < 2048 ? value + 1 : value - 1);
  };
  if (points.empty()) {
    return {{0, 0}, {0, 1}, {1, 0}};
  }
  const Point last{beside(points.back().x), beside(points.back().y)};
  if (points.size() == 1) {
    return {points[0], last, {last.x, points[0].y}};
  }
  if (points.size() > 2) {
    return points;
  }
  if (points[0] == points[1]) {
    return {points[0], points[1], last, {last.x, points[0].y}};
  }
  return {points[0], points[1], last};
}

void checkOutline(const Polygon* outline, bool isWanted, const Values* values) {
  require((outline != nullptr) == isWanted, "outlines are there when they are asked for");
  if (outline == nullptr) {
    return;
  }
  const std::vector<Point> expected = outlineOf(values);
  require(outline->getVertices() == expected, "an outline has the vertices of its frame");
  require(Size{outline->getWidth(), outline->getHeight()} == sizeOf(expected),
          "an outline is as large as its vertices say");
}

void checkObject(const MoteObject& object, const Object& expected, std::int32_t mask) {
  require(object.getId() == expected.id, "an object keeps its id");
  checkOutline(object.getPolygon(), (mask & SCENE_POLYGON) != 0,
               find(expected, SCENE_OBJ_PROP_POLYGON));
  checkOutline(object.getBoundingBox(), (mask & SCENE_BOUNDING_BOX) != 0,
               find(expected, SCENE_OBJ_PROP_BOUNDING_BOX));
  const Values* const velocity = find(expected, SCENE_OBJ_PROP_VELOCITY);
  const bool isMoving =
      (mask & SCENE_VELOCITY) != 0 && velocity != nullptr && velocity->size() == 2;
  require(object.getVelocity().x == (isMoving ? velocity->at(0) : 0) &&
              object.getVelocity().y == (isMoving ? velocity->at(1) : 0),
          "a velocity has two values");
  const Values* const confidence = find(expected, SCENE_OBJ_PROP_CONFIDENCE);
  const bool isTold =
      (mask & SCENE_CONFIDENCE) != 0 && confidence != nullptr && !confidence->empty();
  require(object.getIsConfident() == (!isTold || confidence->front() > 4095),
          "an object is confident from 1.0 on");
}

template <typename Data>
void checkChanges(const std::vector<std::unique_ptr<Data>>& changes, const Frame& frame,
                  int action) {
  auto change = changes.begin();
  for (const Event& event : frame.events) {
    if (event.action != action || !event.from || event.from->empty() || !event.to) {
      continue;
    }
    require(change != changes.end() && (*change)->id == event.from->front() &&
                (*change)->ids == *event.to,
            "splits and merges are as in the frame");
    ++change;
  }
  require(change == changes.end(), "there are no other splits and merges");
}

void checkScene(const MoteScene& parsed, const std::optional<Frame>& frame, std::int32_t mask) {
  require(parsed.isDecoded == frame.has_value(), "what is no frame is not taken for one");
  const Frame expected = frame.value_or(Frame());
  const std::int64_t told =
      expected.times && !expected.times->empty() ? expected.times->front() : 0;
  require(parsed.timestamp >= 0 && (parsed.timestamp == told || told < 0 || told > (1LL << 61)),
          "time stamps are taken as they are, within their range");
  require(parsed.objects.size() == expected.objects.size(), "no object is lost");
  for (std::size_t i = 0; i < parsed.objects.size(); ++i) {
    require(parsed.objects[i]->getTimestamp() == parsed.timestamp, "objects have the frame's time");
    checkObject(*parsed.objects[i], expected.objects[i], mask);
  }
  Values deleted;
  for (const Event& event : expected.events) {
    if (event.action != SCENE_EVENT_DELETE || !event.from) {
      continue;
    }
    deleted.insert(deleted.end(), event.from->begin(), event.from->end());
  }
  require(parsed.deletedIds == deleted, "no deletion is lost");
  checkChanges(parsed.splits, expected, SCENE_EVENT_SPLIT);
  checkChanges(parsed.merges, expected, SCENE_EVENT_MERGE);
}

// ---- What the daemon knows of the objects after several frames ----

// The objects of one camera as the rules of the storage have them.
class Ledger {
 public:
  explicit Ledger(std::int32_t rotation) : rotation(rotation) {}

  // Ids that this frame deleted.
  Values follow(const MoteScene& frame) {
    for (const auto& object : frame.objects) {
      update(*object);
    }
    for (const auto& change : frame.merges) {
      merge(*change);
    }
    for (const auto& change : frame.splits) {
      split(*change);
    }
    Values deleted;
    for (const std::int32_t id : frame.deletedIds) {
      if (entries.erase(id) != 0) {
        deleted.push_back(id);
      }
    }
    return deleted;
  }

  void turn(std::int32_t newRotation) {
    if (newRotation != rotation) {
      entries.clear();
    }
    rotation = newRotation;
  }

  void clear() { entries.clear(); }

  void check(const ObjectStorage& storage) const {
    require(storage.getSize() == entries.size(), "no object is lost, and none remains");
    for (const auto& [id, entry] : entries) {
      const TrackingObject* const object = storage.getObject(id);
      require(object != nullptr && object->getId() == id, "every object is known by its id");
      require(object->getFirstSeen() == entry.firstSeen && object->getLastSeen() == entry.lastSeen,
              "the times at which an object was seen");
      require(object->getWidth() == upright(entry.size).width &&
                  object->getHeight() == upright(entry.size).height,
              "the size of an object");
      require(object->getMaxWidth() == entry.largest.width &&
                  object->getMaxHeight() == entry.largest.height,
              "the largest size of an object");
      require(object->getPreviousPosition() == entry.previousPosition,
              "where an object was before");
      require(object->getPosition() == entry.position, "where an object is");
    }
  }

 private:
  static constexpr std::size_t MOST = 500;
  static constexpr std::size_t EVICTED = 100;

  struct Entry {
    std::int64_t firstSeen;
    std::int64_t lastSeen;
    Size size;
    Size largest;
    Point position;
    Point previousPosition;
  };

  Size upright(const Size& size) const {
    return rotation == 90 || rotation == 270 ? Size{size.height, size.width} : size;
  }

  static Size larger(const Size& a, const Size& b) {
    return {std::max(a.width, b.width), std::max(a.height, b.height)};
  }

  void update(const MoteObject& object) {
    const Size size{object.getWidth(), object.getHeight()};
    const Polygon* outline = object.getPolygon();
    if (outline == nullptr) {
      outline = object.getBoundingBox();
    }
    const Point position = outline != nullptr ? outline->getCentroid() : Point{0, 0};
    const auto known = entries.find(object.getId());
    if (known != entries.end()) {
      Entry& entry = known->second;
      entry = {entry.firstSeen, object.getTimestamp(), size, larger(entry.largest, upright(size)),
               position,        entry.position};
      return;
    }
    if (entries.size() >= MOST) {
      evict();
    }
    entries[object.getId()] = {
        object.getTimestamp(), object.getTimestamp(), size, upright(size), position, position};
  }

  // Those not seen for longest; of equally old ones those of smaller id.
  void evict() {
    std::vector<std::pair<std::int64_t, std::int32_t>> ages;
    for (const auto& [id, entry] : entries) {
      ages.emplace_back(entry.lastSeen, id);
    }
    std::ranges::sort(ages);
    for (std::size_t i = 0; i < EVICTED; ++i) {
      entries.erase(ages[i].second);
    }
  }

  void merge(const MoteMergeData& change) {
    const auto remaining = entries.find(change.id);
    if (remaining == entries.end()) {
      return;
    }
    Entry& entry = remaining->second;
    for (const std::int32_t id : change.ids) {
      const auto absorbed = entries.find(id);
      if (absorbed == entries.end()) {
        continue;
      }
      entry.size = larger(entry.size, absorbed->second.size);
      entry.largest = larger(entry.largest, absorbed->second.largest);
      entry.firstSeen = std::min(entry.firstSeen, absorbed->second.firstSeen);
      entry.previousPosition = absorbed->second.previousPosition;
    }
  }

  void split(const MoteSplitData& change) {
    const auto source = entries.find(change.id);
    if (source == entries.end()) {
      return;
    }
    for (const std::int32_t id : change.ids) {
      const auto part = entries.find(id);
      if (part == entries.end() || id == change.id) {
        continue;
      }
      part->second.size = larger(part->second.size, source->second.size);
      part->second.largest = larger(part->second.largest, source->second.largest);
      part->second.firstSeen = source->second.firstSeen;
      part->second.previousPosition = source->second.previousPosition;
    }
  }

  std::int32_t rotation;
  std::map<std::int32_t, Entry> entries;
};

void checkParsed(const ParsedScene& parsed, const MoteScene& frame, const Values& deleted,
                 const ObjectStorage& storage) {
  require(parsed.getTimestamp() == frame.timestamp, "a scene has the time of its frame");
  require(parsed.getDeletedObjects().size() == deleted.size(), "deleted objects are handed out");
  for (std::size_t i = 0; i < deleted.size(); ++i) {
    require(parsed.getDeletedObjects()[i]->getId() == deleted[i], "in the frame's order");
    require(!storage.contains(deleted[i]), "and are no longer known");
  }
  auto active = parsed.getActiveObjects().begin();
  for (const auto& object : frame.objects) {
    const TrackingObject* const stored = storage.getObject(object->getId());
    if (stored == nullptr) {
      continue;
    }
    require(active != parsed.getActiveObjects().end() && *active == stored,
            "objects in view are those of the frame, in its order");
    ++active;
  }
  require(active == parsed.getActiveObjects().end(), "and no others");
}

// ---- Frames from an input ----

// Few ids, so that frames and events name the same objects.
std::int32_t takeId(fuzz::Input& input) {
  const int kind = input.byte();
  return kind < 250 ? kind % 16 : input.number();
}

Values takeIds(fuzz::Input& input) {
  Values ids(static_cast<std::size_t>(input.between(0, 7)));
  for (std::int32_t& id : ids) {
    id = takeId(input);
  }
  return ids;
}

Values takeValues(fuzz::Input& input) {
  Values values(static_cast<std::size_t>(input.between(0, 12)));
  for (std::int32_t& value : values) {
    value = input.word();
  }
  return values;
}

Object takeObject(fuzz::Input& input) {
  Object object{.id = takeId(input), .properties = {}};
  const int present = input.byte();
  for (int i = 0; i < 3; ++i) {
    if ((present >> i & 1) != 0) {
      object.properties[OBJECT_PROPERTIES[i]] = takeValues(input);
    }
  }
  if ((present & 8) != 0) {
    object.properties[SCENE_OBJ_PROP_CONFIDENCE] = {4096 - input.between(0, 2)};
  }
  if ((present & 16) != 0) {
    object.properties[SCENE_OBJ_PROP_VELOCITY] = {input.number(), input.word()};
  }
  return object;
}

// So many objects at once that they fill the storage.
void addCrowd(fuzz::Input& input, Frame& frame) {
  const std::int32_t first = 100 * input.byte();
  const int count = 3 * input.byte();
  for (std::int32_t i = 0; i < count; ++i) {
    frame.objects.push_back({.id = first + i, .properties = {}});
  }
}

Frame takeFrame(fuzz::Input& input, int& crowds) {
  Frame frame;
  const int kind = input.byte();
  if (kind % 8 != 0) {
    frame.times = {{kind % 8 == 1 ? input.longNumber() : 1000 * input.byte()}};
  }
  if (kind >= 224 && crowds-- > 0) {
    addCrowd(input, frame);
  }
  for (int i = input.between(0, 7); i > 0; --i) {
    frame.objects.push_back(takeObject(input));
  }
  for (int i = input.between(0, 7); i > 0; --i) {
    Event event{.action = input.between(0, 2), .from = takeIds(input), .to = {}};
    if (event.action != SCENE_EVENT_DELETE) {
      event.to = takeIds(input);
    }
    frame.events.push_back(event);
  }
  return frame;
}

// The next frame's bytes: as they stand in the input, the same with a header that fits, or a frame
// that is put together from the input's numbers.
Bytes takeBytes(fuzz::Input& input, int& crowds) {
  const int kind = input.between(0, 3);
  if (kind >= 2) {
    const Frame frame = takeFrame(input, crowds);
    Bytes bytes = encode(frame);
    require(decode(bytes) == frame, "what is encoded is decoded");
    return bytes;
  }
  const auto raw = input.take(static_cast<std::size_t>(input.byte()) * 4 + 24);
  Bytes bytes(raw.begin(), raw.end());
  if (kind == 1 && bytes.size() >= frame_format::HEADER_SIZE) {
    const Bytes empty = encode(Frame());
    std::copy(empty.begin(), empty.begin() + 12, bytes.begin());  // what it is, length and version
    for (std::size_t i = 0; i < 4; ++i) {
      bytes[frame_format::LENGTH_OFFSET + i] = static_cast<std::uint8_t>(bytes.size() >> (8 * i));
    }
  }
  return bytes;
}

SceneFrame frameOf(const Bytes& bytes) {
  SceneFrame frame;
  frame.data.reset(static_cast<char*>(std::malloc(std::max<std::size_t>(bytes.size(), 1))));
  if (!bytes.empty()) {
    std::memcpy(frame.data.get(), bytes.data(), bytes.size());
  }
  frame.size = bytes.size();
  return frame;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  constexpr std::int32_t ROTATIONS[] = {0, 90, 180, 270};
  const std::int32_t mask = input.between(0, 15);
  const std::int32_t rotation = ROTATIONS[input.between(0, 3)];
  MoteSceneParser parser(rotation, 16.0F / 9.0F);
  Ledger ledger(rotation);
  int crowds = MOST_CROWDS;
  for (int i = 0; i < MOST_FRAMES && !input.isEmpty(); ++i) {
    const int step = input.byte();
    if (step >= 252) {
      const std::int32_t next = ROTATIONS[step - 252];
      parser.updateCameraRotation(next);
      ledger.turn(next);
    } else if (step == 251) {
      parser.deleteAll();
      ledger.clear();
    }
    const Bytes bytes = takeBytes(input, crowds);
    const std::optional<Frame> frame = decode(bytes);
    checkDecoding(bytes, frame);
    const MoteScene scene(frameOf(bytes), mask);
    checkScene(scene, frame, mask);
    if (!scene.isDecoded) {
      continue;
    }
    const ParsedScene parsed = parser.parse(scene);
    const Values deleted = ledger.follow(scene);
    ledger.check(parser.getStorage());
    checkParsed(parsed, scene, deleted, parser.getStorage());
  }
  LogCapture::clear();
  return 0;
}
