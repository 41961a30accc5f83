#include "scene/parsed_scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "src/scene/frames.h"
#include "src/scene/object_data.h"

namespace {

using testing::ElementsAre;
using testing::Pointer;

std::unique_ptr<TrackingObject> countedObject(int* alive) {
  auto object = std::make_unique<TrackingObject>(boxObject(1, 0), 0, 1.0f);
  object->insertData("alive", std::make_unique<SumData>(0, alive));
  return object;
}

TEST(ParsedScene, KeepsItsTimeAndObjectsInOrder) {
  int alive = 0;
  const auto first = countedObject(&alive);
  const auto second = countedObject(&alive);
  ParsedScene scene(1234, false);
  EXPECT_EQ(1234, scene.getTimestamp());
  EXPECT_TRUE(scene.getActiveObjects().empty());
  EXPECT_TRUE(scene.getDeletedObjects().empty());
  scene.insertActiveObject(second.get());
  scene.insertActiveObject(first.get());
  auto third = countedObject(&alive);
  const TrackingObject* deleted = third.get();
  scene.insertDeletedObject(std::move(third));
  EXPECT_THAT(scene.getActiveObjects(), ElementsAre(second.get(), first.get()));
  EXPECT_THAT(scene.getDeletedObjects(), ElementsAre(Pointer(deleted)));
}

TEST(ParsedScene, IgnoresNull) {
  ParsedScene scene(0, true);
  scene.insertActiveObject(nullptr);
  scene.insertDeletedObject(nullptr);
  EXPECT_TRUE(scene.getActiveObjects().empty());
  EXPECT_TRUE(scene.getDeletedObjects().empty());
}

TEST(ParsedScene, DeletesTheDeletedObjects) {
  int alive = 0;
  {
    ParsedScene scene(0, false);
    scene.insertDeletedObject(countedObject(&alive));
    EXPECT_EQ(1, alive);
  }
  EXPECT_EQ(0, alive);
}

TEST(ParsedScene, LeavesActiveObjectsThatItDoesNotOwn) {
  int alive = 0;
  const auto object = countedObject(&alive);
  {
    ParsedScene scene(0, false);
    scene.insertActiveObject(object.get());
  }
  EXPECT_EQ(1, alive);
}

TEST(ParsedScene, DeletesActiveObjectsThatItOwns) {
  int alive = 0;
  {
    ParsedScene scene(0, true);
    scene.insertActiveObject(countedObject(&alive).release());
    EXPECT_EQ(1, alive);
  }
  EXPECT_EQ(0, alive);
}

TEST(ParsedScene, DeletesOnceWhenMoved) {
  int alive = 0;
  {
    ParsedScene scene(77, true);
    scene.insertActiveObject(countedObject(&alive).release());
    scene.insertDeletedObject(countedObject(&alive));
    const ParsedScene moved(std::move(scene));
    EXPECT_EQ(77, moved.getTimestamp());
    EXPECT_EQ(2, alive);
  }
  EXPECT_EQ(0, alive);
}

}  // namespace
