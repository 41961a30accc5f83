#include "tracker/homing.h"

#include <gtest/gtest.h>

#include "base/units.h"

namespace {

constexpr std::int64_t SECOND = units::MICROSECONDS_PER_SECOND;
constexpr std::int64_t START = 100 * SECOND;

class HomingTest : public testing::Test {
 protected:
  HomingTest() { homing.setEnabled(true); }

  Homing homing;
};

TEST_F(HomingTest, IsOffWithATimeOutOfFiveSecondsToBeginWith) {
  const Homing fresh;
  EXPECT_FALSE(fresh.isEnabled());
  EXPECT_EQ(fresh.getTimeout(), 5);
}

TEST_F(HomingTest, IsDueTheTimeOutAfterTheLastMovementAndThenOnce) {
  homing.rearm(START);
  EXPECT_FALSE(homing.takeDue(START + 5 * SECOND - 1));
  EXPECT_TRUE(homing.takeDue(START + 5 * SECOND));
  EXPECT_FALSE(homing.takeDue(START + 60 * SECOND));
}

TEST_F(HomingTest, AMovementPutsItOff) {
  homing.rearm(START);
  homing.rearm(START + 3 * SECOND);
  EXPECT_FALSE(homing.takeDue(START + 5 * SECOND));
  EXPECT_TRUE(homing.takeDue(START + 8 * SECOND));
}

TEST_F(HomingTest, IsNeverDueBeforeAMovementOrWhileItIsOff) {
  EXPECT_FALSE(homing.takeDue(START));
  homing.rearm(START);
  homing.setEnabled(false);
  EXPECT_FALSE(homing.takeDue(START + 60 * SECOND));
  homing.setEnabled(true);
  EXPECT_TRUE(homing.takeDue(START + 60 * SECOND));
}

TEST_F(HomingTest, TellsWhetherASettingHasChanged) {
  EXPECT_FALSE(homing.setEnabled(true));
  EXPECT_TRUE(homing.setEnabled(false));
  EXPECT_FALSE(homing.setTimeout(5));
  EXPECT_TRUE(homing.setTimeout(60));
  homing.setEnabled(true);
  homing.rearm(START);
  EXPECT_FALSE(homing.takeDue(START + 60 * SECOND - 1));
  EXPECT_TRUE(homing.takeDue(START + 60 * SECOND));
}

}  // namespace
