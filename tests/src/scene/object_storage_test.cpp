#include "scene/object_storage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

#include "src/scene/frames.h"
#include "src/scene/object_data.h"

namespace {

std::unique_ptr<TrackingObject> seenAt(std::int32_t id, std::int64_t time, int* alive = nullptr) {
  auto object = std::make_unique<TrackingObject>(boxObject(id, time), 0, 1.0f);
  if (alive) {
    object->insertData("alive", std::make_unique<SumData>(0, alive));
  }
  return object;
}

TEST(ObjectStorage, GivesBackWhatWasInserted) {
  ObjectStorage storage(10);
  EXPECT_EQ(0u, storage.getSize());
  auto object = seenAt(5, 0);
  const TrackingObject* address = object.get();
  storage.insert(5, std::move(object));
  EXPECT_FALSE(object);
  EXPECT_EQ(1u, storage.getSize());
  EXPECT_TRUE(storage.contains(5));
  EXPECT_EQ(address, storage.getObject(5));
}

TEST(ObjectStorage, HasNothingUnderOtherIds) {
  ObjectStorage storage(10);
  storage.insert(5, seenAt(5, 0));
  EXPECT_FALSE(storage.contains(4));
  EXPECT_EQ(nullptr, storage.getObject(4));
  EXPECT_EQ(nullptr, storage.remove(4));
  storage.deleteObj(4);
  EXPECT_EQ(1u, storage.getSize());
}

TEST(ObjectStorage, IgnoresNull) {
  ObjectStorage storage(10);
  storage.insert(5, nullptr);
  EXPECT_EQ(0u, storage.getSize());
  EXPECT_FALSE(storage.contains(5));
}

TEST(ObjectStorage, LeavesAnObjectOfAKnownIdWithTheCaller) {
  int alive = 0;
  ObjectStorage storage(10);
  storage.insert(5, seenAt(5, 100));
  auto second = seenAt(5, 200, &alive);
  storage.insert(5, std::move(second));
  ASSERT_TRUE(second);
  EXPECT_EQ(1, alive);
  EXPECT_EQ(200, second->getLastSeen());
  EXPECT_EQ(100, storage.getObject(5)->getLastSeen());
  EXPECT_EQ(1u, storage.getSize());
}

TEST(ObjectStorage, AKnownIdEvictsNothingFromAFullStorage) {
  ObjectStorage storage(10);
  for (int id = 0; id < 10; ++id) {
    storage.insert(id, seenAt(id, id));
  }
  storage.insert(5, seenAt(5, 99));
  EXPECT_EQ(10u, storage.getSize());
}

TEST(ObjectStorage, RemoveHandsTheObjectOver) {
  int alive = 0;
  ObjectStorage storage(10);
  storage.insert(5, seenAt(5, 0, &alive));
  const std::unique_ptr<TrackingObject> object = storage.remove(5);
  ASSERT_TRUE(object);
  EXPECT_EQ(5, object->getId());
  EXPECT_EQ(1, alive);
  EXPECT_FALSE(storage.contains(5));
}

TEST(ObjectStorage, DeletesWhatItOwns) {
  int alive = 0;
  {
    ObjectStorage storage(10);
    for (int id = 0; id < 4; ++id) {
      storage.insert(id, seenAt(id, 0, &alive));
    }
    EXPECT_EQ(4, alive);
    storage.deleteObj(2);
    EXPECT_EQ(3, alive);
    EXPECT_FALSE(storage.contains(2));
    storage.deleteAll();
    EXPECT_EQ(0, alive);
    EXPECT_EQ(0u, storage.getSize());
    storage.insert(1, seenAt(1, 0, &alive));
  }
  EXPECT_EQ(0, alive);
}

TEST(ObjectStorage, The501stObjectEvictsThe100NotSeenForLongest) {
  // Ids in another order than times.
  std::vector<std::int64_t> times(500);
  std::iota(times.begin(), times.end(), 1000);
  std::shuffle(times.begin(), times.end(), std::mt19937(9));
  ObjectStorage storage(500);
  for (std::int32_t id = 0; id < 500; ++id) {
    storage.insert(id, seenAt(id, times[id]));
  }
  ASSERT_EQ(500u, storage.getSize());

  // Older than all others, and yet it stays: room is made before it comes in.
  storage.insert(500, seenAt(500, 0));
  EXPECT_EQ(401u, storage.getSize());
  EXPECT_TRUE(storage.contains(500));
  for (std::int32_t id = 0; id < 500; ++id) {
    EXPECT_EQ(times[id] >= 1100, storage.contains(id)) << "seen at " << times[id];
  }
}

TEST(ObjectStorage, AFullStorageEvictsAFifthRoundedDown) {
  for (const auto& [maxSize, evicted] :
       std::vector<std::pair<std::uint32_t, std::uint32_t>>{{10, 2}, {14, 2}, {5, 1}, {4, 0}}) {
    ObjectStorage storage(maxSize);
    for (std::uint32_t id = 0; id <= maxSize; ++id) {
      storage.insert(static_cast<std::int32_t>(id), seenAt(static_cast<std::int32_t>(id), id));
    }
    EXPECT_EQ(maxSize + 1 - evicted, storage.getSize()) << maxSize;
  }
}

TEST(ObjectStorage, DeletesTheOldest) {
  ObjectStorage storage(10);
  storage.insert(1, seenAt(1, 300));
  storage.insert(2, seenAt(2, 100));
  storage.insert(3, seenAt(3, 200));
  storage.deleteOldElements(2);
  EXPECT_EQ(1u, storage.getSize());
  EXPECT_TRUE(storage.contains(1));
}

TEST(ObjectStorage, JudgesAgeByTheLastUpdate) {
  ObjectStorage storage(10);
  storage.insert(1, seenAt(1, 100));
  storage.insert(2, seenAt(2, 200));
  storage.getObject(1)->update(boxObject(1, 300));
  storage.deleteOldElements(1);
  EXPECT_TRUE(storage.contains(1));
  EXPECT_FALSE(storage.contains(2));
}

TEST(ObjectStorage, OfEquallyOldOnesDeletesSmallerIdsFirst) {
  ObjectStorage storage(20);
  for (const std::int32_t id : {7, -2, 9, 4, 1}) {
    storage.insert(id, seenAt(id, 100));
  }
  storage.insert(12, seenAt(12, 50));
  storage.deleteOldElements(4);
  EXPECT_EQ(2u, storage.getSize());
  EXPECT_TRUE(storage.contains(7));
  EXPECT_TRUE(storage.contains(9));
}

TEST(ObjectStorage, DeletesNoMoreThanThereAre) {
  ObjectStorage storage(10);
  storage.insert(1, seenAt(1, 300));
  storage.deleteOldElements(0);
  EXPECT_EQ(1u, storage.getSize());
  storage.deleteOldElements(100);
  EXPECT_EQ(0u, storage.getSize());
  storage.deleteOldElements(1);
  EXPECT_EQ(0u, storage.getSize());
}

}  // namespace
