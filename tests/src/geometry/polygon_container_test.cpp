#include "geometry/polygon_container.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace {

std::unique_ptr<Polygon> square(int size) {
  return std::make_unique<Polygon>(0, size, 0, size);
}

TEST(PolygonContainer, InsertTakesThePolygon) {
  PolygonContainer container;
  EXPECT_TRUE(container.empty());
  auto polygon = square(10);
  const Polygon* address = polygon.get();
  container.insert(std::move(polygon));
  container.insert(square(20));
  ASSERT_EQ(2u, container.size());
  EXPECT_FALSE(container.empty());
  EXPECT_EQ(address, &container[0]);
  EXPECT_EQ(20, container[1].getWidth());
}

TEST(PolygonContainer, InsertIgnoresNull) {
  PolygonContainer container;
  container.insert(nullptr);
  EXPECT_TRUE(container.empty());
}

TEST(PolygonContainer, AppendAddsClones) {
  PolygonContainer container;
  container.insert(square(10));
  PolygonContainer other;
  other.insert(square(20));
  other.insert(square(30));
  container.append(other);
  ASSERT_EQ(3u, container.size());
  ASSERT_EQ(2u, other.size());
  EXPECT_TRUE(container[1] == other[0]);
  EXPECT_NE(&container[1], &other[0]);
  EXPECT_TRUE(container[2] == other[1]);
  EXPECT_NE(&container[2], &other[1]);
}

TEST(PolygonContainer, TakeOwnershipMovesThePolygonsThemselves) {
  PolygonContainer container;
  container.insert(square(10));
  PolygonContainer other;
  other.insert(square(20));
  const Polygon* address = &other[0];
  container.takeOwnership(other);
  EXPECT_TRUE(other.empty());
  ASSERT_EQ(2u, container.size());
  EXPECT_EQ(address, &container[1]);
}

TEST(PolygonContainer, ClearEmpties) {
  PolygonContainer container;
  container.insert(square(10));
  container.clear();
  EXPECT_TRUE(container.empty());
  container.insert(square(10));
  EXPECT_EQ(1u, container.size());
}

TEST(PolygonContainer, CopiesAreDeep) {
  PolygonContainer original;
  original.insert(square(10));
  const PolygonContainer copy(original);
  PolygonContainer assigned;
  assigned.insert(square(99));
  assigned = original;
  for (const PolygonContainer* other : {&copy, static_cast<const PolygonContainer*>(&assigned)}) {
    ASSERT_EQ(1u, other->size());
    EXPECT_TRUE((*other)[0] == original[0]);
    EXPECT_NE(&(*other)[0], &original[0]);
  }
  original.clear();
  EXPECT_EQ(10, copy[0].getWidth());
  EXPECT_EQ(10, assigned[0].getWidth());
}

TEST(PolygonContainer, AssigningItselfKeepsItsPolygons) {
  PolygonContainer container;
  container.insert(square(10));
  const PolygonContainer& same = container;
  container = same;
  ASSERT_EQ(1u, container.size());
  EXPECT_EQ(10, container[0].getWidth());
}

}  // namespace
