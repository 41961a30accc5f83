#include "scene/mote_scene.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <cstdint>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "fakes/log_capture.h"
#include "src/scene/frames.h"

namespace {

constexpr std::int32_t ALL = 15;

void expectEmpty(const MoteScene& scene, bool isDecoded) {
  EXPECT_EQ(isDecoded, scene.isDecoded);
  EXPECT_EQ(0, scene.timestamp);
  EXPECT_TRUE(scene.objects.empty());
  EXPECT_TRUE(scene.deletedIds.empty());
  EXPECT_TRUE(scene.merges.empty());
  EXPECT_TRUE(scene.splits.empty());
}

TEST(MoteScene, ReadsTheTimeOfTheScene) {
  SceneEncoder encoder;
  addTimestamp(encoder, 1'234'567'890'123);
  EXPECT_EQ(1'234'567'890'123, MoteScene(frameOf(encoder), ALL).timestamp);
}

TEST(MoteScene, WithoutATimeIsOfTimeZero) {
  const SceneEncoder encoder;
  expectEmpty(MoteScene(frameOf(encoder), ALL), true);
}

TEST(MoteScene, TimesAreLimitedToWhatCanBeComputedWith) {
  using Limits = std::numeric_limits<std::int64_t>;
  constexpr std::int64_t LATEST = 2'305'843'009'213'693'952;  // 2 to the power of 61
  const std::vector<std::pair<std::int64_t, std::int64_t>> limited = {
      {Limits::min(), 0},       {-1, 0},          {0, 0},
      {LATEST - 1, LATEST - 1}, {LATEST, LATEST}, {LATEST + 1, LATEST},
      {Limits::max(), LATEST}};
  for (const auto& [time, expected] : limited) {
    SceneEncoder encoder;
    addTimestamp(encoder, time);
    encoder.beginObject(1);
    const MoteScene scene(frameOf(encoder), 0);
    EXPECT_EQ(expected, scene.timestamp) << time;
    EXPECT_EQ(expected, scene.objects.at(0)->getTimestamp()) << time;
  }
}

TEST(MoteScene, CanBeFilledByHand) {
  const MoteScene scene(77);
  EXPECT_EQ(77, scene.timestamp);
  EXPECT_TRUE(scene.objects.empty());
}

TEST(MoteScene, ReadsObjectsInOrderWithTheScenesTime) {
  SceneEncoder encoder;
  addTimestamp(encoder, 5000);
  for (const std::int32_t id : {7, -3, 12}) {
    encoder.beginObject(id);
    encoder.addObjectProperty(SCENE_OBJ_PROP_VELOCITY, Ids{id, 2 * id});
  }
  const MoteScene scene(frameOf(encoder), 4);
  ASSERT_EQ(3u, scene.objects.size());
  const Ids expected = {7, -3, 12};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(expected[i], scene.objects[i]->getId());
    EXPECT_EQ(2 * expected[i], scene.objects[i]->getVelocity().y);
    EXPECT_EQ(5000, scene.objects[i]->getTimestamp());
    EXPECT_EQ(nullptr, scene.objects[i]->getPolygon());
  }
}

TEST(MoteScene, PassesTheMaskToItsObjects) {
  SceneEncoder encoder;
  encoder.beginObject(1);
  encoder.addObjectProperty(SCENE_OBJ_PROP_CONFIDENCE, Ids{4095});
  EXPECT_FALSE(MoteScene(frameOf(encoder), 14).objects.at(0)->getIsConfident());
  EXPECT_TRUE(MoteScene(frameOf(encoder), 6).objects.at(0)->getIsConfident());
  EXPECT_TRUE(MoteScene(frameOf(encoder), 14).objects.at(0)->getPolygon());
}

TEST(MoteScene, LogsEachObjectWithoutConfidence) {
  SceneEncoder encoder;
  encoder.beginObject(1);
  encoder.beginObject(2);
  const LogCapture log;
  MoteScene(frameOf(encoder), 14);
  EXPECT_EQ(2, log.count(LOG_WARNING, "Could not get confidence value for object\n"));
  log.clear();
  MoteScene(frameOf(encoder), 6);
  EXPECT_TRUE(log.lines().empty());
}

TEST(MoteScene, CollectsTheIdsOfAllDeleteEvents) {
  SceneEncoder encoder;
  encoder.addEvent(SCENE_EVENT_DELETE, Ids{4, 2}, {});
  encoder.addEvent(SCENE_EVENT_DELETE, Ids{}, {});
  encoder.addEvent(SCENE_EVENT_DELETE, Ids{9}, {});
  const MoteScene scene(frameOf(encoder), ALL);
  EXPECT_EQ((Ids{4, 2, 9}), scene.deletedIds);
  EXPECT_TRUE(scene.merges.empty());
  EXPECT_TRUE(scene.splits.empty());
}

TEST(MoteScene, ReadsSplitsAndMerges) {
  SceneEncoder encoder;
  encoder.addEvent(SCENE_EVENT_SPLIT, Ids{1}, Ids{2, 3});
  encoder.addEvent(SCENE_EVENT_MERGE, Ids{4}, Ids{5});
  encoder.addEvent(SCENE_EVENT_SPLIT, Ids{6}, Ids{7});
  encoder.addEvent(SCENE_EVENT_MERGE, Ids{8}, Ids{9, 10, 11});
  const MoteScene scene(frameOf(encoder), 0);
  ASSERT_EQ(2u, scene.splits.size());
  EXPECT_EQ(1, scene.splits[0]->id);
  EXPECT_EQ((Ids{2, 3}), scene.splits[0]->ids);
  EXPECT_EQ(6, scene.splits[1]->id);
  EXPECT_EQ((Ids{7}), scene.splits[1]->ids);
  ASSERT_EQ(2u, scene.merges.size());
  EXPECT_EQ(4, scene.merges[0]->id);
  EXPECT_EQ((Ids{5}), scene.merges[0]->ids);
  EXPECT_EQ(8, scene.merges[1]->id);
  EXPECT_EQ((Ids{9, 10, 11}), scene.merges[1]->ids);
  EXPECT_TRUE(scene.deletedIds.empty());
}

TEST(MoteScene, OfSeveralSourcesTheFirstCounts) {
  SceneEncoder encoder;
  encoder.addEvent(SCENE_EVENT_SPLIT, Ids{1, 100}, Ids{2});
  encoder.addEvent(SCENE_EVENT_MERGE, Ids{3, 100}, Ids{4});
  const MoteScene scene(frameOf(encoder), 0);
  EXPECT_EQ(1, scene.splits.at(0)->id);
  EXPECT_EQ(3, scene.merges.at(0)->id);
}

TEST(MoteScene, SkipsEventsWithoutASource) {
  SceneEncoder encoder;
  encoder.addEvent(SCENE_EVENT_SPLIT, Ids{}, Ids{2});
  encoder.addEvent(SCENE_EVENT_MERGE, Ids{}, Ids{4});
  const MoteScene scene(frameOf(encoder), 0);
  EXPECT_TRUE(scene.splits.empty());
  EXPECT_TRUE(scene.merges.empty());
}

// A frame whose only event is of the action and names where it comes from, but not where it leads.
std::vector<std::uint8_t> eventWithoutTargets(int action) {
  SceneEncoder encoder;
  encoder.addEvent(SCENE_EVENT_DELETE, Ids{1}, {});
  std::vector<std::uint8_t> bytes = encoder.bytes();
  // The last 20 bytes: action, number of properties, and the property's number, count and value.
  bytes[bytes.size() - 20] = static_cast<std::uint8_t>(action);
  return bytes;
}

TEST(MoteScene, SkipsEventsWithoutTargets) {
  ASSERT_EQ((Ids{1}), MoteScene(frameOf(eventWithoutTargets(SCENE_EVENT_DELETE)), 0).deletedIds);
  for (const int action : {SCENE_EVENT_SPLIT, SCENE_EVENT_MERGE}) {
    const MoteScene scene(frameOf(eventWithoutTargets(action)), 0);
    EXPECT_TRUE(scene.splits.empty());
    EXPECT_TRUE(scene.merges.empty());
    EXPECT_TRUE(scene.deletedIds.empty());
  }
}

TEST(MoteScene, FramesThatCannotBeDecodedAreEmpty) {
  expectEmpty(MoteScene(SceneFrame(), ALL), false);
  expectEmpty(MoteScene(frameOf(std::vector<std::uint8_t>(100, 0)), ALL), false);
  expectEmpty(MoteScene(frameOf(std::vector<std::uint8_t>(1, 0x53)), ALL), false);
}

TEST(MoteScene, FramesCutOffAnywhereAreEmpty) {
  SceneEncoder encoder;
  addTimestamp(encoder, 5000);
  encoder.beginObject(1);
  encoder.addObjectProperty(SCENE_OBJ_PROP_POLYGON, Ids{0, 0, 10, 0, 0, 10});
  encoder.addEvent(SCENE_EVENT_MERGE, Ids{1}, Ids{2, 3});
  const std::vector<std::uint8_t> whole = encoder.bytes();
  for (std::size_t length = 0; length < whole.size(); ++length) {
    std::vector<std::uint8_t> cut(whole.begin(),
                                  whole.begin() + static_cast<std::ptrdiff_t>(length));
    expectEmpty(MoteScene(frameOf(cut), ALL), false);
    // As a short read leaves it.
    cut.resize(whole.size());
    const MoteScene filled(frameOf(cut), ALL);
    EXPECT_LE(filled.objects.size(), 1u);
  }
  EXPECT_EQ(1u, MoteScene(frameOf(whole), ALL).objects.size());
}

TEST(MoteScene, FramesWithDamagedBytesAreRead) {
  SceneEncoder encoder;
  addTimestamp(encoder, 5000);
  for (int id = 0; id < 3; ++id) {
    encoder.beginObject(id);
    encoder.addObjectProperty(SCENE_OBJ_PROP_POLYGON, Ids{0, 0, 10, 0, 0, 10});
    encoder.addObjectProperty(SCENE_OBJ_PROP_VELOCITY, Ids{5, 6});
    encoder.addObjectProperty(SCENE_OBJ_PROP_CONFIDENCE, Ids{4096});
  }
  encoder.addEvent(SCENE_EVENT_SPLIT, Ids{1}, Ids{2, 3});
  encoder.addEvent(SCENE_EVENT_DELETE, Ids{1}, {});
  const std::vector<std::uint8_t> whole = encoder.bytes();
  std::mt19937 random(8);
  std::uniform_int_distribution<std::size_t> place(0, whole.size() - 1);
  std::uniform_int_distribution<int> value(0, 255);
  for (int i = 0; i < 3000; ++i) {
    std::vector<std::uint8_t> damaged = whole;
    for (int k = 0; k < 1 + i % 3; ++k) {
      damaged[place(random)] = static_cast<std::uint8_t>(value(random));
    }
    const MoteScene scene(frameOf(damaged), ALL);
    EXPECT_LE(scene.objects.size(), whole.size());
  }
}

// What one object of a frame tells, to compare two readings.
void expectSame(const MoteObject& expected, const MoteObject& object) {
  EXPECT_EQ(expected.getId(), object.getId());
  EXPECT_EQ(expected.getTimestamp(), object.getTimestamp());
  EXPECT_EQ(expected.getVelocity().x, object.getVelocity().x);
  EXPECT_EQ(expected.getVelocity().y, object.getVelocity().y);
  EXPECT_EQ(expected.getIsConfident(), object.getIsConfident());
  ASSERT_EQ(expected.getPolygon() == nullptr, object.getPolygon() == nullptr);
  if (expected.getPolygon() != nullptr) {
    EXPECT_EQ(expected.getPolygon()->getVertices(), object.getPolygon()->getVertices());
    EXPECT_EQ(expected.getPolygon()->getMaxX(), object.getPolygon()->getMaxX());
  }
  ASSERT_EQ(expected.getBoundingBox() == nullptr, object.getBoundingBox() == nullptr);
  if (expected.getBoundingBox() != nullptr) {
    EXPECT_EQ(expected.getBoundingBox()->getVertices(), object.getBoundingBox()->getVertices());
  }
}

// Nothing of an earlier frame may shine through, whatever either of them holds.
TEST(MoteScene, ReadAgainIsAsIfReadAnew) {
  std::mt19937 random(11);
  const auto number = [&random](int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
  };
  MoteScene reused(77);
  for (int i = 0; i < 300; ++i) {
    SceneEncoder encoder;
    if (number(0, 3) > 0) {
      addTimestamp(encoder, number(0, 1'000'000));
    }
    for (int k = number(0, 12); k > 0; --k) {
      encoder.beginObject(number(-5, 50));
      for (const int property : {SCENE_OBJ_PROP_BOUNDING_BOX, SCENE_OBJ_PROP_POLYGON,
                                 SCENE_OBJ_PROP_VELOCITY, SCENE_OBJ_PROP_CONFIDENCE}) {
        if (number(0, 3) == 0) {
          continue;
        }
        Ids values;
        for (int v = number(0, 20); v > 0; --v) {
          values.push_back(number(-5000, 5000));
        }
        encoder.addObjectProperty(property, values);
      }
    }
    for (int k = number(0, 2); k > 0; --k) {
      encoder.addEvent(number(0, 2), Ids{number(0, 50)}, Ids{number(0, 50), number(0, 50)});
    }
    const std::int32_t mask = number(0, 15);
    const bool isDamaged = number(0, 9) == 0;
    const auto frame = [&] {
      auto bytes = encoder.bytes();
      if (isDamaged) {
        bytes.resize(bytes.size() / 2);
      }
      return frameOf(bytes);
    };
    const MoteScene anew(frame(), mask);
    reused.read(frame(), mask);
    EXPECT_EQ(anew.isDecoded, reused.isDecoded);
    EXPECT_EQ(anew.timestamp, reused.timestamp);
    EXPECT_EQ(anew.deletedIds, reused.deletedIds);
    EXPECT_EQ(anew.merges.size(), reused.merges.size());
    EXPECT_EQ(anew.splits.size(), reused.splits.size());
    ASSERT_EQ(anew.objects.size(), reused.objects.size());
    for (std::size_t k = 0; k < anew.objects.size(); ++k) {
      expectSame(*anew.objects[k], *reused.objects[k]);
    }
  }
}

}  // namespace
