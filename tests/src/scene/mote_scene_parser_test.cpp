#include "scene/mote_scene_parser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "fakes/log_capture.h"
#include "src/scene/frames.h"
#include "src/scene/object_data.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MoteSceneParserTest : public testing::Test {
 protected:
  MoteSceneParserTest() { LogCapture::clear(); }

  // Every frame is 1000 later than the one before.
  MoteScene nextFrame() { return MoteScene(time += 1000); }

  static void add(MoteScene& scene, std::int32_t id, int x = 0, int y = 0, int width = 100,
                  int height = 200) {
    scene.objects.push_back(
        std::make_unique<MoteObject>(boxObject(id, scene.timestamp, x, y, width, height)));
  }
  static void addMerge(MoteScene& scene, std::int32_t id, Ids ids) {
    scene.merges.push_back(std::make_unique<MoteMergeData>(MoteMergeData{id, std::move(ids)}));
  }
  static void addSplit(MoteScene& scene, std::int32_t id, Ids ids) {
    scene.splits.push_back(std::make_unique<MoteSplitData>(MoteSplitData{id, std::move(ids)}));
  }

  MoteScene frameWith(const Ids& ids) {
    MoteScene scene = nextFrame();
    for (const std::int32_t id : ids) {
      add(scene, id);
    }
    return scene;
  }

  TrackingObject* stored(std::int32_t id) const { return parser.getStorage().getObject(id); }

  MoteSceneParser parser{0, 1.5f};
  std::int64_t time = 0;
};

Ids idsOf(const std::vector<TrackingObject*>& objects) {
  Ids ids;
  for (const TrackingObject* object : objects) {
    ids.push_back(object->getId());
  }
  return ids;
}

Ids idsOf(const std::vector<std::unique_ptr<TrackingObject>>& objects) {
  Ids ids;
  for (const auto& object : objects) {
    ids.push_back(object->getId());
  }
  return ids;
}

std::string notFound(std::int32_t id) {
  return "Object with id " + std::to_string(id) + " was not found in the storage\n";
}

TEST_F(MoteSceneParserTest, ParsedSceneHasTheFramesTimeAndOrder) {
  const ParsedScene parsed = parser.parse(frameWith({9, 2, 5}));
  EXPECT_EQ(1000, parsed.getTimestamp());
  EXPECT_THAT(idsOf(parsed.getActiveObjects()), ElementsAre(9, 2, 5));
  EXPECT_THAT(parsed.getDeletedObjects(), IsEmpty());
  EXPECT_EQ(3u, parser.getStorage().getSize());
}

TEST_F(MoteSceneParserTest, NewObjectsGetTheCamerasRotationAndAspectRatio) {
  MoteSceneParser turned(90, 2.0f);
  const ParsedScene parsed = turned.parse(frameWith({1}));
  const TrackingObject* object = parsed.getActiveObjects().at(0);
  EXPECT_EQ(200, object->getWidth());
  EXPECT_EQ(100, object->getHeight());
  EXPECT_EQ(100, object->getAspectCorrectedWidth());  // 200 / 2
}

TEST_F(MoteSceneParserTest, KnownObjectsAreUpdated) {
  parser.parse(frameWith({1}));
  const TrackingObject* object = stored(1);
  MoteScene scene = nextFrame();
  add(scene, 1, 30, 40);
  const ParsedScene parsed = parser.parse(scene);
  EXPECT_EQ(object, parsed.getActiveObjects().at(0));
  EXPECT_EQ(1000, object->getFirstSeen());
  EXPECT_EQ(2000, object->getLastSeen());
  EXPECT_EQ((Point{30, 40}), object->getPosition());
  EXPECT_EQ((Point{0, 0}), object->getPreviousPosition());
}

TEST_F(MoteSceneParserTest, ActiveObjectsStayInTheStorageWhenTheParsedSceneGoes) {
  { const ParsedScene parsed = parser.parse(frameWith({1})); }
  ASSERT_TRUE(stored(1));
  EXPECT_EQ(1000, stored(1)->getLastSeen());
}

TEST_F(MoteSceneParserTest, ObjectsThatAFrameDoesNotShowAreKeptButNotActive) {
  parser.parse(frameWith({1, 2}));
  const ParsedScene parsed = parser.parse(frameWith({2}));
  EXPECT_THAT(idsOf(parsed.getActiveObjects()), ElementsAre(2));
  ASSERT_TRUE(stored(1));
  EXPECT_EQ(1000, stored(1)->getLastSeen());
}

TEST_F(MoteSceneParserTest, DeletedObjectsGoWithTheParsedScene) {
  parser.parse(frameWith({1, 2, 3}));
  int alive = 0;
  stored(1)->insertData("alive", std::make_unique<SumData>(0, &alive));
  MoteScene scene = frameWith({2});
  scene.deletedIds = {3, 1};
  {
    const ParsedScene parsed = parser.parse(scene);
    EXPECT_THAT(idsOf(parsed.getDeletedObjects()), ElementsAre(3, 1));
    EXPECT_THAT(idsOf(parsed.getActiveObjects()), ElementsAre(2));
    EXPECT_EQ(nullptr, stored(1));
    EXPECT_EQ(1, alive);
  }
  EXPECT_EQ(0, alive);
  EXPECT_EQ(1u, parser.getStorage().getSize());
}

TEST_F(MoteSceneParserTest, DeletingAnUnknownIdDoesNothing) {
  MoteScene scene = frameWith({1});
  scene.deletedIds = {4};
  const ParsedScene parsed = parser.parse(scene);
  EXPECT_THAT(parsed.getDeletedObjects(), IsEmpty());
  EXPECT_THAT(idsOf(parsed.getActiveObjects()), ElementsAre(1));
  EXPECT_TRUE(LogCapture::lines().empty());
}

TEST_F(MoteSceneParserTest, AnObjectBothShownAndDeletedIsUpdatedAndThenDeleted) {
  parser.parse(frameWith({7, 8}));
  MoteScene scene = nextFrame();
  add(scene, 7, 30, 40);
  add(scene, 8);
  scene.deletedIds = {7};
  const ParsedScene parsed = parser.parse(scene);
  ASSERT_THAT(idsOf(parsed.getDeletedObjects()), ElementsAre(7));
  EXPECT_EQ(2000, parsed.getDeletedObjects()[0]->getLastSeen());
  EXPECT_EQ((Point{30, 40}), parsed.getDeletedObjects()[0]->getPosition());
  EXPECT_THAT(idsOf(parsed.getActiveObjects()), ElementsAre(8));
  EXPECT_EQ(1, LogCapture::count(notFound(7)));
  EXPECT_EQ(1u, LogCapture::lines().size());
}

TEST_F(MoteSceneParserTest, MergedObjectTakesTheHistoryOfThoseItAbsorbs) {
  MoteScene first = nextFrame();
  add(first, 1, -500, 0, 300, 50);
  parser.parse(first);
  stored(1)->insertData("key", std::make_unique<SumData>(4));

  MoteScene second = nextFrame();
  add(second, 1, -400, 0, 300, 50);
  add(second, 2, 100, 0, 100, 200);
  addMerge(second, 2, {1, 99});
  const ParsedScene parsed = parser.parse(second);
  const TrackingObject* object = stored(2);
  EXPECT_EQ(1000, object->getFirstSeen());
  EXPECT_EQ(300, object->getWidth());
  EXPECT_EQ(200, object->getHeight());
  EXPECT_EQ((Point{-500, 0}), object->getPreviousPosition());
  ASSERT_TRUE(object->getData("key"));
  EXPECT_EQ(4, object->getData("key")->getInt("sum"));
  EXPECT_THAT(idsOf(parsed.getActiveObjects()), ElementsAre(1, 2));
}

TEST_F(MoteSceneParserTest, MergesComeBeforeDeletions) {
  parser.parse(frameWith({1}));
  MoteScene scene = frameWith({2});
  addMerge(scene, 2, {1});
  scene.deletedIds = {1};
  const ParsedScene parsed = parser.parse(scene);
  EXPECT_EQ(1000, stored(2)->getFirstSeen());
  EXPECT_THAT(idsOf(parsed.getDeletedObjects()), ElementsAre(1));
}

TEST_F(MoteSceneParserTest, MergeAbsorbsSeveral) {
  MoteScene first = nextFrame();
  add(first, 1, 0, 0, 400, 10);
  add(first, 3, 0, 0, 10, 600);
  parser.parse(first);
  MoteScene second = frameWith({2});
  addMerge(second, 2, {1, 3});
  parser.parse(second);
  EXPECT_EQ(400, stored(2)->getWidth());
  EXPECT_EQ(600, stored(2)->getHeight());
}

TEST_F(MoteSceneParserTest, MergeIntoAnUnknownObjectDoesNothing) {
  parser.parse(frameWith({1}));
  MoteScene scene = frameWith({1});
  addMerge(scene, 5, {1});
  parser.parse(scene);
  EXPECT_EQ(nullptr, stored(5));
  EXPECT_TRUE(stored(1));
}

TEST_F(MoteSceneParserTest, InactiveObjectsAreNotMerged) {
  parser.parse(frameWith({1}));
  stored(1)->setIsActive(false);
  MoteScene scene = frameWith({2});
  addMerge(scene, 2, {1});
  parser.parse(scene);
  EXPECT_EQ(2000, stored(2)->getFirstSeen());
}

TEST_F(MoteSceneParserTest, PartsTakeTheHistoryOfWhatTheyWere) {
  MoteScene first = nextFrame();
  add(first, 1, -500, 0, 300, 50);
  parser.parse(first);
  stored(1)->insertData("key", std::make_unique<SumData>(4));

  MoteScene second = frameWith({2, 3});
  addSplit(second, 1, {2, 3, 99});
  const ParsedScene parsed = parser.parse(second);
  for (const std::int32_t id : {2, 3}) {
    EXPECT_EQ(1000, stored(id)->getFirstSeen()) << id;
    EXPECT_EQ(300, stored(id)->getWidth()) << id;
    EXPECT_EQ((Point{-500, 0}), stored(id)->getPreviousPosition()) << id;
    ASSERT_TRUE(stored(id)->getData("key")) << id;
    EXPECT_EQ(4, stored(id)->getData("key")->getInt("sum")) << id;
  }
  EXPECT_THAT(idsOf(parsed.getActiveObjects()), ElementsAre(2, 3));
}

TEST_F(MoteSceneParserTest, SplitsComeBeforeDeletions) {
  parser.parse(frameWith({1}));
  MoteScene scene = frameWith({2});
  addSplit(scene, 1, {2});
  scene.deletedIds = {1};
  const ParsedScene parsed = parser.parse(scene);
  EXPECT_EQ(1000, stored(2)->getFirstSeen());
  EXPECT_THAT(idsOf(parsed.getDeletedObjects()), ElementsAre(1));
}

TEST_F(MoteSceneParserTest, MergesComeBeforeSplits) {
  // The source of the split gets an older history first.
  parser.parse(frameWith({1}));
  parser.parse(frameWith({2}));
  MoteScene scene = frameWith({3});
  addSplit(scene, 2, {3});
  addMerge(scene, 2, {1});
  parser.parse(scene);
  EXPECT_EQ(1000, stored(3)->getFirstSeen());
}

TEST_F(MoteSceneParserTest, ASourceThatStaysOnItselfKeepsItsHistory) {
  parser.parse(frameWith({1}));
  MoteScene scene = frameWith({1, 2});
  addSplit(scene, 1, {1, 2});
  parser.parse(scene);
  EXPECT_EQ(1000, stored(1)->getFirstSeen());
  EXPECT_EQ(1000, stored(2)->getFirstSeen());
}

TEST_F(MoteSceneParserTest, SplitOfAnUnknownObjectDoesNothing) {
  MoteScene scene = frameWith({2});
  addSplit(scene, 1, {2});
  parser.parse(scene);
  EXPECT_EQ(1000, stored(2)->getFirstSeen());
  EXPECT_EQ(nullptr, stored(1));
}

TEST_F(MoteSceneParserTest, InactiveObjectsAreNotSplit) {
  parser.parse(frameWith({1}));
  stored(1)->setIsActive(false);
  MoteScene scene = frameWith({2});
  addSplit(scene, 1, {2});
  parser.parse(scene);
  EXPECT_EQ(2000, stored(2)->getFirstSeen());
}

TEST_F(MoteSceneParserTest, The501stObjectEvictsThe100NotSeenForLongest) {
  Ids old;
  for (std::int32_t id = 0; id < 100; ++id) {
    old.push_back(1000 - id);
  }
  Ids younger;
  for (std::int32_t id = 0; id < 400; ++id) {
    younger.push_back(id);
  }
  parser.parse(frameWith(old));
  parser.parse(frameWith(younger));
  ASSERT_EQ(500u, parser.getStorage().getSize());
  const ParsedScene parsed = parser.parse(frameWith({5000}));
  EXPECT_THAT(idsOf(parsed.getActiveObjects()), ElementsAre(5000));
  EXPECT_EQ(401u, parser.getStorage().getSize());
  for (const std::int32_t id : old) {
    EXPECT_EQ(nullptr, stored(id));
  }
  for (const std::int32_t id : younger) {
    EXPECT_TRUE(stored(id));
  }
  EXPECT_THAT(parsed.getDeletedObjects(), IsEmpty());
}

TEST_F(MoteSceneParserTest, AFrameOfMoreObjectsThanFitLogsThoseThatItLost) {
  Ids ids;
  for (std::int32_t id = 0; id < 501; ++id) {
    ids.push_back(id);
  }
  const ParsedScene parsed = parser.parse(frameWith(ids));
  // All were seen at the same time: the 100 smallest ids went.
  EXPECT_EQ(401u, parsed.getActiveObjects().size());
  EXPECT_EQ(100, parsed.getActiveObjects().at(0)->getId());
  EXPECT_EQ(100u, LogCapture::lines().size());
  EXPECT_EQ(1, LogCapture::count(notFound(0)));
  EXPECT_EQ(1, LogCapture::count(notFound(99)));
  EXPECT_EQ(0, LogCapture::count(notFound(100)));
}

TEST_F(MoteSceneParserTest, TheSameRotationKeepsAllObjects) {
  parser.parse(frameWith({1, 2}));
  parser.updateCameraRotation(0);
  EXPECT_EQ(2u, parser.getStorage().getSize());
}

TEST_F(MoteSceneParserTest, ANewRotationDropsAllObjectsAndHoldsForNewOnes) {
  parser.parse(frameWith({1, 2}));
  parser.updateCameraRotation(270);
  EXPECT_EQ(0u, parser.getStorage().getSize());
  parser.parse(frameWith({1}));
  EXPECT_EQ(200, stored(1)->getWidth());
  EXPECT_EQ(2000, stored(1)->getFirstSeen());
  parser.updateCameraRotation(270);
  EXPECT_EQ(1u, parser.getStorage().getSize());
}

TEST_F(MoteSceneParserTest, ANewAspectRatioDropsAllObjectsAndHoldsForNewOnes) {
  MoteSceneParser turned(90, 2.0F);
  turned.parse(frameWith({1}));
  turned.updateAspectRatio(2.0F);
  EXPECT_EQ(1u, turned.getStorage().getSize());
  turned.updateAspectRatio(4.0F);
  EXPECT_EQ(0u, turned.getStorage().getSize());
  const ParsedScene parsed = turned.parse(frameWith({1}));
  EXPECT_EQ(50, parsed.getActiveObjects().at(0)->getAspectCorrectedWidth());  // 200 / 4
}

TEST_F(MoteSceneParserTest, DeleteAllEmptiesTheStorage) {
  parser.parse(frameWith({1, 2}));
  parser.deleteAll();
  EXPECT_EQ(0u, parser.getStorage().getSize());
}

TEST_F(MoteSceneParserTest, ReadsEncodedFrames) {
  SceneEncoder encoder;
  addTimestamp(encoder, 4000);
  encoder.beginObject(1);
  encoder.addObjectProperty(SCENE_OBJ_PROP_POLYGON, Ids{0, 0, 0, 600, 300, 0});
  encoder.beginObject(2);
  encoder.addEvent(SCENE_EVENT_DELETE, Ids{3}, {});
  parser.parse(frameWith({3}));
  const ParsedScene parsed = parser.parse(MoteScene(frameOf(encoder), 6));
  EXPECT_EQ(4000, parsed.getTimestamp());
  EXPECT_THAT(idsOf(parsed.getActiveObjects()), ElementsAre(1, 2));
  EXPECT_THAT(idsOf(parsed.getDeletedObjects()), ElementsAre(3));
  EXPECT_EQ((Point{100, 200}), stored(1)->getPosition());
}

}  // namespace
