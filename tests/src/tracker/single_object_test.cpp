#include "tracker/single_object.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "fakes/fake_clock.h"

namespace {

constexpr WidestView VIEW;

class SingleObjectTest : public testing::Test {
 protected:
  static SingleObject::Observation observation(PointF velocity = {}) {
    return {.channel = 2,
            .id = 7,
            .priority = 3,
            .pan = 10.0,
            .tilt = -20.0,
            .width = 4.0,
            .height = 6.0,
            .timestamp = 999'900'000,
            .velocity = velocity};
  }

  FakeClock clock;
};

TEST_F(SingleObjectTest, TakesTheObservation) {
  const SingleObject object(observation());
  EXPECT_EQ(object.getChannel(), 2);
  EXPECT_EQ(object.getId(), 7);
  EXPECT_EQ(object.getPriority(), 3);
  EXPECT_EQ(object.getPan(), 10.0);
  EXPECT_EQ(object.getTilt(), -20.0);
  EXPECT_EQ(object.getWidth(), 4.0);
  EXPECT_EQ(object.getHeight(), 6.0);
}

TEST_F(SingleObjectTest, ItsBoxLiesAroundItsCentre) {
  const SingleObject object(observation());
  EXPECT_EQ(object.getLeft(), 8.0);
  EXPECT_EQ(object.getRight(), 12.0);
  EXPECT_EQ(object.getTop(), -17.0);
  EXPECT_EQ(object.getBottom(), -23.0);
}

TEST_F(SingleObjectTest, IsOneObjectOfOneChannel) {
  const SingleObject object(observation());
  EXPECT_TRUE(object.isObject(2, 7));
  EXPECT_FALSE(object.isObject(2, 8));
  EXPECT_FALSE(object.isObject(1, 7));
}

TEST_F(SingleObjectTest, IsLedByItsVelocityForNoMoreThanOneSecond) {
  const SingleObject object(observation({2.0, -3.0}));
  EXPECT_DOUBLE_EQ(object.getPan(), 12.0);
  EXPECT_DOUBLE_EQ(object.getTilt(), -23.0);
  EXPECT_DOUBLE_EQ(object.getLeft(), 10.0);
  EXPECT_DOUBLE_EQ(object.getRight(), 14.0);
  EXPECT_DOUBLE_EQ(object.getTop(), -20.0);
  EXPECT_DOUBLE_EQ(object.getBottom(), -26.0);
}

TEST_F(SingleObjectTest, ANewObservationReplacesAllAndIsLedAgain) {
  SingleObject object(observation({2.0, -3.0}));
  SingleObject::Observation next = observation({1.0, 0.5});
  next.pan = 30.0;
  next.tilt = 5.0;
  next.width = 8.0;
  next.height = 2.0;
  next.priority = 9;
  object.update(next);
  EXPECT_DOUBLE_EQ(object.getPan(), 31.0);
  EXPECT_DOUBLE_EQ(object.getTilt(), 5.5);
  EXPECT_DOUBLE_EQ(object.getLeft(), 27.0);
  EXPECT_DOUBLE_EQ(object.getTop(), 6.5);
  EXPECT_EQ(object.getPriority(), 9);
}

TEST_F(SingleObjectTest, RepeatedPredictionGoesOnAndOn) {
  SingleObject object(observation({2.0, 0.0}));
  object.updatePosition();
  object.updatePosition();
  EXPECT_DOUBLE_EQ(object.getPan(), 16.0);
}

TEST_F(SingleObjectTest, SizesUpToTheWidestViewAreValid) {
  SingleObject::Observation size = observation();
  size.width = 60.0;
  size.height = 45.0;
  EXPECT_TRUE(SingleObject(size).sizeValid(VIEW));
  size.width = 60.1;
  EXPECT_FALSE(SingleObject(size).sizeValid(VIEW));
  size.width = 60.0;
  size.height = 45.1;
  EXPECT_FALSE(SingleObject(size).sizeValid(VIEW));
}

// Microseconds less whole seconds, as 32 bits, in thousands.
TEST_F(SingleObjectTest, InactivityTimeInItsMixedUnits) {
  clock.set(1'000'000'000);
  const SingleObject object(observation());
  EXPECT_EQ(object.inactivityTime(), 999'999);  // (1000000000 - 999) / 1000
  clock.set(3'000'000'000);
  // 3000000000 - 999 is -1294968295 in 32 bits.
  EXPECT_EQ(object.inactivityTime(), -1'294'968);
}

}  // namespace
