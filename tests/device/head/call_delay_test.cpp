#include "head/call_delay.h"

#include <gtest/gtest.h>

namespace device {
namespace {

TEST(CallDelayTest, CallsTakeBetweenTheLeastAndTheMost) {
  CallDelay delay({.least = 0.02, .most = 0.2}, 1);
  EXPECT_FALSE(delay.isOff());
  double sum = 0;
  for (int i = 0; i < 5000; ++i) {
    const double seconds = delay.next();
    ASSERT_GE(seconds, 0.02);
    ASSERT_LE(seconds, 0.2);
    sum += seconds;
  }
  EXPECT_NEAR(sum / 5000, 0.11, 0.003);
}

TEST(CallDelayTest, OffUnlessSet) {
  CallDelay delay({}, 1);
  EXPECT_TRUE(delay.isOff());
  EXPECT_EQ(delay.next(), 0);
}

}  // namespace
}  // namespace device
