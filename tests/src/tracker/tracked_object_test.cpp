#include "tracker/tracked_object.h"

#include <gtest/gtest.h>

namespace {

TEST(TrackedObjectTest, HoldsAnIdAndWhetherItWasSeen) {
  const TrackedObject object(5, true);
  EXPECT_EQ(object.id, 5);
  EXPECT_TRUE(object.seen);
  EXPECT_FALSE(TrackedObject(5, false).seen);
}

}  // namespace
