#include "scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/owners.h"
#include "scene/scene_encoder.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

using Bytes = std::vector<std::uint8_t>;
using Values = std::vector<std::int32_t>;

constexpr std::size_t LENGTH_AT = 4;
constexpr std::size_t VERSION_AT = 8;
constexpr std::size_t PROPERTY_COUNT_AT = 12;
constexpr std::size_t OBJECT_COUNT_AT = 16;
constexpr std::size_t EVENT_COUNT_AT = 20;
constexpr std::size_t HEADER_SIZE = 24;

// Decodes from a heap block that ends with the frame, so that a read beyond it is found out.
ScenePtr decode(const Bytes& bytes) {
  const std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), exact.get());
  return ScenePtr(scene_copy_from_area(exact.get(), bytes.size()));
}

Values objectValues(const scene_object* object, int property) {
  const std::int32_t* values = nullptr;
  const int count = scene_get_obj_prop(object, property, &values);
  return count < 1 ? Values() : Values(values, values + count);
}

Values eventValues(const scene_event* event, int property) {
  const std::int32_t* values = nullptr;
  const int count = scene_get_evt_prop(event, property, &values);
  return count < 1 ? Values() : Values(values, values + count);
}

void put32(Bytes& bytes, std::size_t at, std::uint32_t value) {
  for (std::size_t i = 0; i < 4; ++i) {
    bytes[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
  }
}

Bytes withNumber(Bytes bytes, std::size_t at, std::uint32_t value) {
  put32(bytes, at, value);
  return bytes;
}

// One property (8 + 8 bytes), one object with one property of two values (8 + 8 + 8 bytes), one
// deletion of one id (8 + 8 + 4 bytes).
Bytes smallFrame() {
  SceneEncoder encoder;
  encoder.addSceneProperty(SCENE_PROP_TIMESTAMP, std::vector<std::int64_t>{1234567890123});
  encoder.beginObject(7);
  encoder.addObjectProperty(SCENE_OBJ_PROP_VELOCITY, Values{-4096, 2048});
  encoder.addEvent(SCENE_EVENT_DELETE, Values{5}, {});
  return encoder.bytes();
}
constexpr std::size_t SCENE_PROPERTY_AT = HEADER_SIZE;
constexpr std::size_t OBJECT_AT = SCENE_PROPERTY_AT + 16;
constexpr std::size_t OBJECT_PROPERTY_AT = OBJECT_AT + 8;
constexpr std::size_t EVENT_AT = OBJECT_AT + 24;
constexpr std::size_t SMALL_SIZE = EVENT_AT + 20;

// Reads everything that a scene holds and returns how many objects and events there are.
std::pair<int, int> walk(const scene* s) {
  std::int64_t sum = 0;
  const auto add = [&sum](const auto* values, int count) {
    for (int i = 0; i < count; ++i) {
      sum ^= values[i];
    }
  };
  for (int property = 0; property < 20; ++property) {
    const std::int64_t* values = nullptr;
    add(values, 0);
    const int count = scene_get_prop(s, property, &values);
    add(values, count);
  }
  std::pair<int, int> counts;
  for (auto* o = scene_next_object(s, nullptr); o != nullptr; o = scene_next_object(s, o)) {
    ++counts.first;
    sum ^= scene_get_object_id(o);
    for (int property = 0; property < 20; ++property) {
      const Values values = objectValues(o, property);
      add(values.data(), static_cast<int>(values.size()));
    }
  }
  for (auto* e = scene_next_event(s, nullptr); e != nullptr; e = scene_next_event(s, e)) {
    ++counts.second;
    EXPECT_GE(scene_get_event_action(e), SCENE_EVENT_DELETE);
    EXPECT_LE(scene_get_event_action(e), SCENE_EVENT_MERGE);
    for (int property = 0; property < 20; ++property) {
      const Values values = eventValues(e, property);
      add(values.data(), static_cast<int>(values.size()));
    }
  }
  volatile std::int64_t sink = sum;
  static_cast<void>(sink);
  return counts;
}

TEST(SceneTest, TheBytesOfAFrameAreAsDescribed) {
  const Bytes frame = {
      'S',  'C',  'N',  '1',  92,   0,    0,    0,    1, 0,    0, 0,  // magic, length, version
      1,    0,    0,    0,    1,    0,    0,    0,    1, 0,    0, 0,  // properties, objects, events
      0,    0,    0,    0,    1,    0,    0,    0,                    // time stamp, one value
      0x15, 0x81, 0xe9, 0x7d, 0xf4, 0x10, 0x22, 0x11,                 // 0x112210f47de98115
      0xfe, 0xff, 0xff, 0xff, 1,    0,    0,    0,                    // object -2, one property
      15,   0,    0,    0,    1,    0,    0,    0,    0, 0x10, 0, 0,  // confidence 4096
      2,    0,    0,    0,    2,    0,    0,    0,                    // merge, two properties
      9,    0,    0,    0,    1,    0,    0,    0,    3, 0,    0, 0,  // remains 3
      10,   0,    0,    0,    1,    0,    0,    0,    4, 0,    0, 0   // absorbs 4
  };
  ASSERT_EQ(92U, frame.size());

  const ScenePtr decoded = decode(frame);
  ASSERT_NE(nullptr, decoded);
  const std::int64_t* stamp = nullptr;
  ASSERT_EQ(1, scene_get_prop(decoded.get(), SCENE_PROP_TIMESTAMP, &stamp));
  EXPECT_EQ(0x112210f47de98115, stamp[0]);
  const scene_object* object = scene_next_object(decoded.get(), nullptr);
  ASSERT_NE(nullptr, object);
  EXPECT_EQ(-2, scene_get_object_id(object));
  EXPECT_THAT(objectValues(object, SCENE_OBJ_PROP_CONFIDENCE), ElementsAre(4096));
  EXPECT_EQ(nullptr, scene_next_object(decoded.get(), object));
  const scene_event* event = scene_next_event(decoded.get(), nullptr);
  ASSERT_NE(nullptr, event);
  EXPECT_EQ(SCENE_EVENT_MERGE, scene_get_event_action(event));
  EXPECT_THAT(eventValues(event, SCENE_EVT_PROP_FROM), ElementsAre(3));
  EXPECT_THAT(eventValues(event, SCENE_EVT_PROP_TO), ElementsAre(4));
  EXPECT_EQ(nullptr, scene_next_event(decoded.get(), event));
}

TEST(SceneTest, TheEncoderWritesTheBytesAsDescribed) {
  SceneEncoder encoder;
  encoder.beginObject(-2);
  encoder.addObjectProperty(SCENE_OBJ_PROP_CONFIDENCE, Values{4096});
  EXPECT_THAT(encoder.bytes(), ElementsAre('S', 'C', 'N', '1', 44, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0,
                                           1, 0, 0, 0, 0, 0, 0, 0, 0xfe, 0xff, 0xff, 0xff, 1, 0, 0,
                                           0, 15, 0, 0, 0, 1, 0, 0, 0, 0, 0x10, 0, 0));
}

TEST(SceneTest, AnEmptyFrameIsAScene) {
  const ScenePtr decoded = decode(SceneEncoder().bytes());
  ASSERT_NE(nullptr, decoded);
  EXPECT_EQ(nullptr, scene_next_object(decoded.get(), nullptr));
  EXPECT_EQ(nullptr, scene_next_event(decoded.get(), nullptr));
}

TEST(SceneTest, AbsentPropertiesCountMinusOne) {
  const ScenePtr decoded = decode(smallFrame());
  ASSERT_NE(nullptr, decoded);
  const std::int64_t* values64 = nullptr;
  const std::int32_t* values32 = nullptr;
  EXPECT_EQ(-1, scene_get_prop(decoded.get(), 1, &values64));
  const scene_object* object = scene_next_object(decoded.get(), nullptr);
  EXPECT_EQ(-1, scene_get_obj_prop(object, SCENE_OBJ_PROP_POLYGON, &values32));
  const scene_event* event = scene_next_event(decoded.get(), nullptr);
  EXPECT_EQ(-1, scene_get_evt_prop(event, SCENE_EVT_PROP_TO, &values32));
  EXPECT_EQ(nullptr, values64);
  EXPECT_EQ(nullptr, values32);
}

TEST(SceneTest, APropertyWithoutValuesIsPresent) {
  SceneEncoder encoder;
  encoder.addSceneProperty(SCENE_PROP_TIMESTAMP, {});
  encoder.beginObject(1);
  encoder.addObjectProperty(SCENE_OBJ_PROP_POLYGON, {});
  encoder.addEvent(SCENE_EVENT_SPLIT, Values{1}, {});
  const ScenePtr decoded = decode(encoder.bytes());
  ASSERT_NE(nullptr, decoded);
  const std::int64_t* values64 = nullptr;
  const std::int32_t* values32 = nullptr;
  EXPECT_EQ(0, scene_get_prop(decoded.get(), SCENE_PROP_TIMESTAMP, &values64));
  EXPECT_EQ(0, scene_get_obj_prop(scene_next_object(decoded.get(), nullptr), SCENE_OBJ_PROP_POLYGON,
                                  &values32));
  EXPECT_EQ(0, scene_get_evt_prop(scene_next_event(decoded.get(), nullptr), SCENE_EVT_PROP_TO,
                                  &values32));
}

TEST(SceneTest, ExtremeValuesSurvive) {
  using Limits32 = std::numeric_limits<std::int32_t>;
  using Limits64 = std::numeric_limits<std::int64_t>;
  SceneEncoder encoder;
  encoder.addSceneProperty(0, std::vector<std::int64_t>{Limits64::min(), -1, Limits64::max()});
  encoder.beginObject(Limits32::min());
  encoder.addObjectProperty(5, Values{Limits32::max(), -1, 0, 1, Limits32::min()});
  const ScenePtr decoded = decode(encoder.bytes());
  ASSERT_NE(nullptr, decoded);
  const std::int64_t* values = nullptr;
  ASSERT_EQ(3, scene_get_prop(decoded.get(), 0, &values));
  EXPECT_THAT(std::vector<std::int64_t>(values, values + 3),
              ElementsAre(Limits64::min(), -1, Limits64::max()));
  const scene_object* object = scene_next_object(decoded.get(), nullptr);
  EXPECT_EQ(Limits32::min(), scene_get_object_id(object));
  EXPECT_THAT(objectValues(object, 5), ElementsAre(Limits32::max(), -1, 0, 1, Limits32::min()));
}

TEST(SceneTest, RandomScenesSurviveTheRoundTrip) {
  struct Object {
    std::int32_t id;
    std::vector<Values> properties;  // numbered from 0
  };
  struct Event {
    int action;
    Values from;
    Values to;
  };
  std::mt19937 random(7);
  const auto upTo = [&](int most) { return std::uniform_int_distribution<int>(0, most)(random); };
  const auto values = [&](int most) {
    Values result(static_cast<std::size_t>(upTo(most)));
    for (auto& value : result) {
      value = static_cast<std::int32_t>(random());
    }
    return result;
  };

  for (int round = 0; round < 300; ++round) {
    std::vector<Object> objects(static_cast<std::size_t>(upTo(20)));
    std::vector<Event> events(static_cast<std::size_t>(upTo(6)));
    SceneEncoder encoder;
    for (Object& object : objects) {
      object.id = static_cast<std::int32_t>(random());
      encoder.beginObject(object.id);
      object.properties.resize(static_cast<std::size_t>(upTo(4)));
      for (std::size_t i = 0; i < object.properties.size(); ++i) {
        object.properties[i] = values(24);
        encoder.addObjectProperty(static_cast<int>(i), object.properties[i]);
      }
    }
    for (Event& event : events) {
      event = {upTo(SCENE_EVENT_MERGE), values(5), {}};
      if (event.action != SCENE_EVENT_DELETE) {
        event.to = values(5);
      }
      encoder.addEvent(event.action, event.from, event.to);
    }

    const ScenePtr decoded = decode(encoder.bytes());
    ASSERT_NE(nullptr, decoded);
    const scene_object* object = nullptr;
    for (const Object& wanted : objects) {
      object = scene_next_object(decoded.get(), object);
      ASSERT_NE(nullptr, object);
      EXPECT_EQ(wanted.id, scene_get_object_id(object));
      for (std::size_t i = 0; i < wanted.properties.size(); ++i) {
        EXPECT_EQ(wanted.properties[i], objectValues(object, static_cast<int>(i)));
      }
      const std::int32_t* unused = nullptr;
      EXPECT_EQ(-1,
                scene_get_obj_prop(object, static_cast<int>(wanted.properties.size()), &unused));
    }
    EXPECT_EQ(nullptr, objects.empty() ? nullptr : scene_next_object(decoded.get(), object));
    const scene_event* event = nullptr;
    for (const Event& wanted : events) {
      event = scene_next_event(decoded.get(), event);
      ASSERT_NE(nullptr, event);
      EXPECT_EQ(wanted.action, scene_get_event_action(event));
      EXPECT_EQ(wanted.from, eventValues(event, SCENE_EVT_PROP_FROM));
      EXPECT_EQ(wanted.to, eventValues(event, SCENE_EVT_PROP_TO));
    }
  }
}

TEST(SceneTest, TheSceneOutlivesTheBytes) {
  auto bytes = std::make_unique<Bytes>(smallFrame());
  const ScenePtr decoded(scene_copy_from_area(bytes->data(), bytes->size()));
  bytes.reset();
  EXPECT_EQ(std::make_pair(1, 1), walk(decoded.get()));
}

TEST(SceneTest, TheAreaSizeIsTheLengthOfTheFrame) {
  EXPECT_EQ(SMALL_SIZE, smallFrame().size());
  EXPECT_EQ(SMALL_SIZE, scene_area_size(smallFrame().data()));
}

TEST(SceneTest, TheAreaSizeReadsEightBytesOnly) {
  const Bytes frame = smallFrame();
  const std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[8]);
  std::copy_n(frame.begin(), 8, exact.get());
  EXPECT_EQ(SMALL_SIZE, scene_area_size(exact.get()));
}

TEST(SceneTest, TheAreaSizeOfOtherBytesIsZero) {
  EXPECT_EQ(0U, scene_area_size(nullptr));
  EXPECT_EQ(0U, scene_area_size("SCN2\x64\0\0\0"));
  EXPECT_EQ(0U, scene_area_size("\0\0\0\0\0\0\0\0"));
}

TEST(SceneTest, TheAreaSizeIsLimited) {
  constexpr std::uint32_t MOST = 16 << 20;
  EXPECT_EQ(0U, scene_area_size(withNumber(smallFrame(), LENGTH_AT, HEADER_SIZE - 1).data()));
  EXPECT_EQ(HEADER_SIZE, scene_area_size(withNumber(smallFrame(), LENGTH_AT, HEADER_SIZE).data()));
  EXPECT_EQ(MOST, scene_area_size(withNumber(smallFrame(), LENGTH_AT, MOST).data()));
  EXPECT_EQ(0U, scene_area_size(withNumber(smallFrame(), LENGTH_AT, MOST + 1).data()));
}

TEST(SceneTest, BytesBeyondTheAnnouncedLengthAreIgnored) {
  Bytes frame = smallFrame();
  frame.insert(frame.end(), {0xff, 0xff, 0xff, 0xff, 0xff});
  const ScenePtr decoded = decode(frame);
  ASSERT_NE(nullptr, decoded);
  EXPECT_EQ(std::make_pair(1, 1), walk(decoded.get()));
}

TEST(SceneTest, AFrameCutAnywhereIsRefused) {
  const Bytes frame = smallFrame();
  for (std::size_t size = 0; size < frame.size(); ++size) {
    EXPECT_EQ(nullptr, decode(Bytes(frame.begin(), frame.begin() + static_cast<long>(size))));
  }
}

TEST(SceneTest, AFrameCutAnywhereWithItsLengthCorrectedIsRefused) {
  const Bytes frame = smallFrame();
  for (std::size_t size = HEADER_SIZE; size < frame.size(); ++size) {
    Bytes cut(frame.begin(), frame.begin() + static_cast<long>(size));
    put32(cut, LENGTH_AT, static_cast<std::uint32_t>(size));
    EXPECT_EQ(nullptr, decode(cut)) << size;
  }
}

TEST(SceneTest, BytesWithinTheLengthThatNothingClaimsAreRefused) {
  Bytes frame = smallFrame();
  frame.push_back(0);
  put32(frame, LENGTH_AT, static_cast<std::uint32_t>(frame.size()));
  EXPECT_EQ(nullptr, decode(frame));
}

TEST(SceneTest, AnUnknownVersionIsRefused) {
  EXPECT_NE(nullptr, decode(withNumber(smallFrame(), VERSION_AT, 1)));
  EXPECT_EQ(nullptr, decode(withNumber(smallFrame(), VERSION_AT, 0)));
  EXPECT_EQ(nullptr, decode(withNumber(smallFrame(), VERSION_AT, 2)));
}

TEST(SceneTest, AnUnknownEventIsRefused) {
  EXPECT_NE(nullptr, decode(withNumber(smallFrame(), EVENT_AT, SCENE_EVENT_MERGE)));
  EXPECT_EQ(nullptr, decode(withNumber(smallFrame(), EVENT_AT, SCENE_EVENT_MERGE + 1)));
  EXPECT_EQ(nullptr, decode(withNumber(smallFrame(), EVENT_AT, 0xffffffff)));
}

TEST(SceneTest, ACountThatTheBytesCannotHoldIsRefused) {
  for (const std::size_t at :
       {PROPERTY_COUNT_AT, OBJECT_COUNT_AT, EVENT_COUNT_AT, SCENE_PROPERTY_AT + 4, OBJECT_AT + 4,
        OBJECT_PROPERTY_AT + 4, EVENT_AT + 4, EVENT_AT + 12}) {
    for (const std::uint32_t count :
         {2U + 1U, 0x20000001U, 0x40000001U, 0x7fffffffU, 0xffffffffU}) {
      EXPECT_EQ(nullptr, decode(withNumber(smallFrame(), at, count))) << at << ' ' << count;
    }
  }
}

TEST(SceneTest, NothingIsRefused) {
  EXPECT_EQ(nullptr, scene_copy_from_area(nullptr, 0));
  EXPECT_EQ(nullptr, scene_copy_from_area(nullptr, 100));
  scene_delete(nullptr);
}

TEST(SceneTest, MutatedFramesDecodeFullyOrNotAtAll) {
  std::mt19937 random(20240611);
  const auto below = [&](std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
  };
  SceneEncoder encoder;
  encoder.addSceneProperty(SCENE_PROP_TIMESTAMP, std::vector<std::int64_t>{99});
  for (std::int32_t id = 1; id <= 3; ++id) {
    encoder.beginObject(id);
    encoder.addObjectProperty(SCENE_OBJ_PROP_BOUNDING_BOX, Values{0, 0, 9, 0, 9, 9, 0, 9});
    encoder.addObjectProperty(SCENE_OBJ_PROP_CONFIDENCE, Values{4096});
  }
  encoder.addEvent(SCENE_EVENT_DELETE, Values{4, 5}, {});
  encoder.addEvent(SCENE_EVENT_SPLIT, Values{6}, Values{7, 8});
  const Bytes valid = encoder.bytes();

  int decodedCount = 0;
  for (int round = 0; round < 100'000; ++round) {
    Bytes bytes = valid;
    for (std::size_t changes = 1 + below(4); changes > 0; --changes) {
      bytes[below(bytes.size())] = static_cast<std::uint8_t>(random());
    }
    if (below(4) == 0) {
      bytes.resize(below(bytes.size() + 16));
    }
    if (below(4) == 0 && bytes.size() >= 8) {
      put32(bytes, LENGTH_AT, static_cast<std::uint32_t>(bytes.size()));
    }
    const ScenePtr decoded = decode(bytes);
    if (!decoded) {
      continue;
    }
    ++decodedCount;
    walk(decoded.get());
    EXPECT_LE(scene_area_size(bytes.data()), bytes.size());
  }
  EXPECT_GT(decodedCount, 1000);  // values and ids may be anything
}

TEST(SceneTest, RandomBytesBehindAValidHeadDecodeFullyOrNotAtAll) {
  std::mt19937 random(99);
  for (int round = 0; round < 100'000; ++round) {
    Bytes bytes(HEADER_SIZE + random() % 100);
    // Small numbers and zeros are more likely to be believed than any others.
    for (auto& byte : bytes) {
      byte = random() % 2 == 0 ? 0 : static_cast<std::uint8_t>(random() % 4);
    }
    std::copy_n("SCN1", 4, bytes.begin());
    put32(bytes, LENGTH_AT, static_cast<std::uint32_t>(bytes.size()));
    put32(bytes, VERSION_AT, 1);
    if (const ScenePtr decoded = decode(bytes)) {
      walk(decoded.get());
    }
  }
}

TEST(SceneEncoderTest, ADeletionLeadsNowhere) {
  SceneEncoder encoder;
  encoder.addEvent(SCENE_EVENT_DELETE, Values{1, 2}, {});
  const ScenePtr decoded = decode(encoder.bytes());
  const scene_event* event = scene_next_event(decoded.get(), nullptr);
  const std::int32_t* values = nullptr;
  EXPECT_THAT(eventValues(event, SCENE_EVT_PROP_FROM), ElementsAre(1, 2));
  EXPECT_EQ(-1, scene_get_evt_prop(event, SCENE_EVT_PROP_TO, &values));
}

TEST(SceneEncoderTest, ClearMakesItNew) {
  SceneEncoder encoder;
  encoder.addSceneProperty(0, std::vector<std::int64_t>{1});
  encoder.beginObject(1);
  encoder.addEvent(SCENE_EVENT_DELETE, Values{1}, {});
  encoder.clear();
  EXPECT_EQ(SceneEncoder().bytes(), encoder.bytes());
  EXPECT_THROW(encoder.addObjectProperty(5, Values{1}), std::logic_error);
}

TEST(SceneEncoderTest, APropertyNeedsAnObject) {
  SceneEncoder encoder;
  EXPECT_THROW(encoder.addObjectProperty(5, Values{1}), std::logic_error);
}

TEST(SceneEncoderTest, CountsMoreThan255PropertiesOfAnObject) {
  SceneEncoder encoder;
  encoder.beginObject(1);
  for (int i = 0; i < 300; ++i) {
    encoder.addObjectProperty(i, Values{i});
  }
  const ScenePtr decoded = decode(encoder.bytes());
  ASSERT_NE(nullptr, decoded);
  EXPECT_THAT(objectValues(scene_next_object(decoded.get(), nullptr), 299), ElementsAre(299));
}

TEST(SceneEncoderTest, AFrameIsAtMost16MiB) {
  constexpr std::size_t MOST = std::size_t{16} << 20;
  const std::vector<std::int32_t> values((MOST - HEADER_SIZE - 16) / 4, 1);
  SceneEncoder encoder;
  encoder.beginObject(1);
  encoder.addObjectProperty(SCENE_OBJ_PROP_POLYGON, values);
  EXPECT_EQ(MOST, encoder.bytes().size());
  EXPECT_NE(nullptr, decode(encoder.bytes()));
  encoder.beginObject(2);
  EXPECT_THROW(encoder.bytes(), std::length_error);
}

}  // namespace
