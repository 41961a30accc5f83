#include "tracker/super_object.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

#include "fakes/fake_clock.h"

namespace {

constexpr WidestView VIEW;

class SuperObjectTest : public testing::Test {
 protected:
  static SingleObject::Observation observation(int id, double pan, double tilt, double width = 4.0,
                                               double height = 2.0, int priority = 1,
                                               int channel = 0) {
    return {.channel = channel,
            .id = id,
            .priority = priority,
            .pan = pan,
            .tilt = tilt,
            .width = width,
            .height = height,
            .timestamp = 0,
            .velocity = {}};
  }

  static std::unique_ptr<SingleObject> single(const SingleObject::Observation& seen) {
    return std::make_unique<SingleObject>(seen);
  }

  FakeClock clock;
};

TEST_F(SuperObjectTest, StartsEmptyAndUntracked) {
  const SuperObject group;
  EXPECT_TRUE(group.empty());
  EXPECT_EQ(group.size(), 0U);
  EXPECT_EQ(group.getPriority(), 1);
  EXPECT_EQ(group.getTrackedSince(), 0);
  EXPECT_EQ(group.getUntrackedSince(), clock.now());
  EXPECT_EQ(group.trackedTime(clock.now() + 5'000'000), 0.0);
}

TEST_F(SuperObjectTest, TheBoxOfOneMember) {
  SuperObject group;
  group.add(single(observation(1, 10.0, -20.0)));
  EXPECT_EQ(group.getLeft(), 8.0);
  EXPECT_EQ(group.getRight(), 12.0);
  EXPECT_EQ(group.getTop(), -19.0);
  EXPECT_EQ(group.getBottom(), -21.0);
  EXPECT_EQ(group.getPan(), 10.0);
  EXPECT_EQ(group.getTilt(), -20.0);
  EXPECT_EQ(group.getWidth(), 4.0);
  EXPECT_EQ(group.getHeight(), 2.0);
}

TEST_F(SuperObjectTest, TheBoxHoldsAllMembers) {
  SuperObject group;
  group.add(single(observation(1, 10.0, -20.0)));
  group.add(single(observation(2, 30.0, -10.0, 8.0, 6.0)));
  EXPECT_EQ(group.getLeft(), 8.0);
  EXPECT_EQ(group.getRight(), 34.0);
  EXPECT_EQ(group.getTop(), -7.0);
  EXPECT_EQ(group.getBottom(), -21.0);
  EXPECT_EQ(group.getPan(), 21.0);
  EXPECT_EQ(group.getTilt(), -14.0);
  EXPECT_EQ(group.getWidth(), 26.0);
  EXPECT_EQ(group.getHeight(), 14.0);
}

TEST_F(SuperObjectTest, ThePanOfAGroupIsNotNegative) {
  SuperObject group;
  group.add(single(observation(1, -10.0, 0.0)));
  EXPECT_EQ(group.getPan(), 350.0);
  EXPECT_EQ(group.getWidth(), 4.0);
}

// Left 168, right -168: the width is the plain difference of the two.
TEST_F(SuperObjectTest, AGroupAcrossTheSeam) {
  SuperObject group;
  group.add(single(observation(1, 170.0, 0.0)));
  group.add(single(observation(2, -170.0, 0.0)));
  EXPECT_EQ(group.getLeft(), 168.0);
  EXPECT_EQ(group.getRight(), -168.0);
  EXPECT_EQ(group.getPan(), 180.0);
  EXPECT_EQ(group.getWidth(), 336.0);
  EXPECT_FALSE(group.sizeValid(VIEW));
}

TEST_F(SuperObjectTest, AnObjectWithoutWidthHasBothEdgesAtItsPan) {
  SuperObject group;
  group.add(single(observation(1, 25.0, 5.0, 0.0, 0.0)));
  EXPECT_EQ(group.getLeft(), 25.0);
  EXPECT_EQ(group.getRight(), 25.0);
  EXPECT_EQ(group.getPan(), 25.0);
  EXPECT_EQ(group.getWidth(), 0.0);
}

TEST_F(SuperObjectTest, ThePriorityIsTheGreatestButAtLeastOne) {
  SuperObject group;
  group.add(single(observation(1, 0.0, 0.0, 4.0, 2.0, -5)));
  EXPECT_EQ(group.getPriority(), 1);
  group.add(single(observation(2, 0.0, 0.0, 4.0, 2.0, 7)));
  group.add(single(observation(3, 0.0, 0.0, 4.0, 2.0, 4)));
  EXPECT_EQ(group.getPriority(), 7);
  group.removeSingleObject(0, 2);
  EXPECT_EQ(group.getPriority(), 4);
}

TEST_F(SuperObjectTest, TheWidestViewIsInclusive) {
  SuperObject group;
  group.add(single(observation(1, 2.0, 0.0)));
  EXPECT_TRUE(group.sizeValid(*single(observation(2, 58.0, 0.0)), VIEW));
  EXPECT_FALSE(group.sizeValid(*single(observation(2, 58.1, 0.0)), VIEW));
  EXPECT_TRUE(group.sizeValid(*single(observation(2, 2.0, 43.0)), VIEW));
  EXPECT_FALSE(group.sizeValid(*single(observation(2, 2.0, 43.1)), VIEW));
}

TEST_F(SuperObjectTest, TheUnionIsMeasuredAcrossTheSeam) {
  SuperObject group;
  group.add(single(observation(1, 170.0, 0.0)));
  EXPECT_TRUE(group.sizeValid(*single(observation(2, -170.0, 0.0)), VIEW));
  EXPECT_FALSE(group.sizeValid(*single(observation(2, -110.0, 0.0)), VIEW));
}

TEST_F(SuperObjectTest, TwoGroupsFitLikeTheirBoxes) {
  SuperObject group;
  group.add(single(observation(1, 2.0, 0.0)));
  SuperObject other;
  other.add(single(observation(2, 40.0, 0.0)));
  EXPECT_TRUE(group.sizeValid(other, VIEW));
  other.add(single(observation(3, 59.0, 0.0)));
  EXPECT_FALSE(group.sizeValid(other, VIEW));
}

TEST_F(SuperObjectTest, AnObservationRenewsItsMember) {
  SuperObject group;
  group.add(single(observation(1, 10.0, 0.0)));
  group.add(single(observation(2, 20.0, 0.0)));
  EXPECT_TRUE(group.updateSingleObject(observation(2, 30.0, 5.0), VIEW));
  EXPECT_EQ(group.getRight(), 32.0);
  EXPECT_EQ(group.getTop(), 6.0);
  EXPECT_EQ(group.size(), 2U);
}

TEST_F(SuperObjectTest, AnObservationOfSomebodyElseIsRefused) {
  SuperObject group;
  group.add(single(observation(1, 10.0, 0.0)));
  EXPECT_FALSE(group.updateSingleObject(observation(2, 30.0, 5.0), VIEW));
  EXPECT_FALSE(group.updateSingleObject(observation(1, 30.0, 5.0, 4.0, 2.0, 1, 1), VIEW));
  EXPECT_EQ(group.getRight(), 12.0);
}

TEST_F(SuperObjectTest, AMemberThatBecomesTooLargeIsDropped) {
  SuperObject group;
  group.add(single(observation(1, 10.0, 0.0)));
  group.add(single(observation(2, 20.0, 0.0)));
  EXPECT_TRUE(group.updateSingleObject(observation(2, 20.0, 0.0, 61.0), VIEW));
  EXPECT_EQ(group.size(), 1U);
  EXPECT_EQ(group.getRight(), 12.0);
  EXPECT_TRUE(group.updateSingleObject(observation(1, 10.0, 0.0, 4.0, 46.0), VIEW));
  EXPECT_TRUE(group.empty());
}

TEST_F(SuperObjectTest, RemovingMembersShrinksTheBox) {
  SuperObject group;
  group.add(single(observation(1, 10.0, 0.0)));
  group.add(single(observation(2, 20.0, 0.0)));
  group.add(single(observation(3, 30.0, 0.0, 4.0, 2.0, 1, 5)));
  group.add(single(observation(4, 40.0, 0.0, 4.0, 2.0, 1, 5)));
  EXPECT_FALSE(group.removeSingleObject(0, 3));
  EXPECT_TRUE(group.removeSingleObject(0, 1));
  EXPECT_EQ(group.getLeft(), 18.0);
  EXPECT_FALSE(group.removeSingleObjects(1));
  EXPECT_TRUE(group.removeSingleObjects(5));
  EXPECT_EQ(group.size(), 1U);
  EXPECT_EQ(group.getRight(), 22.0);
}

TEST_F(SuperObjectTest, MembersAreTakenInOrder) {
  SuperObject group;
  for (int id = 1; id <= 3; ++id) {
    group.add(single(observation(id, id, 0.0)));
  }
  const SuperObject::Singles all = group.takeAll();
  ASSERT_EQ(all.size(), 3U);
  EXPECT_EQ(all[0]->getId(), 1);
  EXPECT_EQ(all[1]->getId(), 2);
  EXPECT_EQ(all[2]->getId(), 3);
  EXPECT_TRUE(group.empty());
}

TEST_F(SuperObjectTest, TrackedTimeCountsFromBecomingTracked) {
  SuperObject group;
  const std::int64_t start = clock.now();
  group.markTracked(start);
  group.markTracked(start + 2'000'000);
  EXPECT_EQ(group.getTrackedSince(), start);
  EXPECT_DOUBLE_EQ(group.trackedTime(start + 2'500'000), 2.5);
  group.markUntracked(start + 3'000'000);
  EXPECT_EQ(group.getTrackedSince(), 0);
  EXPECT_EQ(group.getUntrackedSince(), start + 3'000'000);
  EXPECT_EQ(group.trackedTime(start + 4'000'000), 0.0);
}

}  // namespace
