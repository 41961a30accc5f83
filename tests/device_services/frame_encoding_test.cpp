#include "services/frame_encoding.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>

#include "platform/owners.h"
#include "scene.h"
#include "services/frame_handshake.h"

namespace device {
namespace {

Frame twoObjects() {
  Frame frame;
  frame.timestamp = 123456789012;
  FrameObject sure;
  sure.id = 4;
  sure.box = {{{-10, -20}, {-10, 20}, {10, 20}, {10, -20}}};
  sure.outline = {{-10, -20}, {0, 25}, {10, -20}};
  sure.velocity = {100, -200};
  FrameObject unsure = sure;
  unsure.id = 5;
  unsure.confidence = 4095;
  frame.objects = {sure, unsure};
  frame.events = {{FrameAction::deletion, {3}, {}}, {FrameAction::merge, {4}, {8, 9}}};
  return frame;
}

ScenePtr decode(const Frame& frame, int mask) {
  const auto bytes = encodeFrame(frame, mask);
  return ScenePtr(scene_copy_from_area(bytes.data(), bytes.size()));
}

std::set<int> propertiesOf(const scene_object* object) {
  std::set<int> present;
  const std::int32_t* values = nullptr;
  for (int property = 0; property < 20; ++property) {
    if (scene_get_obj_prop(object, property, &values) >= 0) {
      present.insert(property);
    }
  }
  return present;
}

TEST(FrameEncodingTest, FrameHoldsOnlyWhatTheMaskAsksFor) {
  const std::vector<std::pair<int, std::set<int>>> cases = {
      {0, {}}, {1, {5}}, {2, {6}}, {4, {7}}, {6, {6, 7}}, {8, {15}}, {14, {6, 7, 15}}};
  for (const auto& [mask, expected] : cases) {
    const ScenePtr decoded = decode(twoObjects(), mask);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(expected, propertiesOf(scene_next_object(decoded.get(), nullptr))) << mask;
  }
}

TEST(FrameEncodingTest, ValuesArriveAsTheyAre) {
  const ScenePtr decoded = decode(twoObjects(), 15);
  ASSERT_TRUE(decoded);
  const std::int64_t* time = nullptr;
  ASSERT_EQ(1, scene_get_prop(decoded.get(), SCENE_PROP_TIMESTAMP, &time));
  EXPECT_EQ(123456789012, *time);
  const scene_object* object = scene_next_object(decoded.get(), nullptr);
  EXPECT_EQ(4, scene_get_object_id(object));
  const std::int32_t* values = nullptr;
  ASSERT_EQ(8, scene_get_obj_prop(object, SCENE_OBJ_PROP_BOUNDING_BOX, &values));
  EXPECT_EQ((std::vector<std::int32_t>{-10, -20, -10, 20, 10, 20, 10, -20}),
            std::vector<std::int32_t>(values, values + 8));
  ASSERT_EQ(6, scene_get_obj_prop(object, SCENE_OBJ_PROP_POLYGON, &values));
  EXPECT_EQ((std::vector<std::int32_t>{-10, -20, 0, 25, 10, -20}),
            std::vector<std::int32_t>(values, values + 6));
  ASSERT_EQ(2, scene_get_obj_prop(object, SCENE_OBJ_PROP_VELOCITY, &values));
  EXPECT_EQ((std::vector<std::int32_t>{100, -200}), std::vector<std::int32_t>(values, values + 2));
}

TEST(FrameEncodingTest, ObjectsOfLowConfidenceComeOnlyWhenAskedForAndWithTheirConfidence) {
  const ScenePtr sure = decode(twoObjects(), 7);
  const scene_object* first = scene_next_object(sure.get(), nullptr);
  EXPECT_EQ(4, scene_get_object_id(first));
  EXPECT_EQ(nullptr, scene_next_object(sure.get(), first));

  const ScenePtr all = decode(twoObjects(), 7 | FRAME_LOW_CONFIDENT);
  const scene_object* second = scene_next_object(all.get(), scene_next_object(all.get(), nullptr));
  ASSERT_NE(nullptr, second);
  EXPECT_EQ(5, scene_get_object_id(second));
  const std::int32_t* values = nullptr;
  ASSERT_EQ(1, scene_get_obj_prop(second, SCENE_OBJ_PROP_CONFIDENCE, &values));
  EXPECT_EQ(4095, *values);
}

TEST(FrameEncodingTest, EventsAreInEveryFrame) {
  const ScenePtr decoded = decode(twoObjects(), 0);
  const scene_event* deleted = scene_next_event(decoded.get(), nullptr);
  EXPECT_EQ(SCENE_EVENT_DELETE, scene_get_event_action(deleted));
  const std::int32_t* values = nullptr;
  ASSERT_EQ(1, scene_get_evt_prop(deleted, SCENE_EVT_PROP_FROM, &values));
  EXPECT_EQ(3, *values);
  const scene_event* merged = scene_next_event(decoded.get(), deleted);
  EXPECT_EQ(SCENE_EVENT_MERGE, scene_get_event_action(merged));
  ASSERT_EQ(2, scene_get_evt_prop(merged, SCENE_EVT_PROP_TO, &values));
  EXPECT_EQ(8, values[0]);
  EXPECT_EQ(9, values[1]);
}

}  // namespace
}  // namespace device
