#include "world/past_velocity.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace device {
namespace {

TEST(PastVelocityTest, ThereIsNoneAtTheFirstPicture) {
  PastVelocity velocity(6);
  const PicturePoint first = velocity.observe(1, 3, {0.5, 0.5});
  EXPECT_EQ(first.x, 0);
  EXPECT_EQ(first.y, 0);
}

TEST(PastVelocityTest, AnEvenMotionIsKnownFromTheSecondPictureOn) {
  PastVelocity velocity(6);
  velocity.observe(1, 0, {0, 0});
  for (int i = 1; i < 20; ++i) {
    const PicturePoint known = velocity.observe(1, i * 0.1, {i * 0.03, i * -0.01});
    EXPECT_NEAR(known.x, 0.3, 1e-9);
    EXPECT_NEAR(known.y, -0.1, 1e-9);
  }
}

// Of six pictures 0.1 s apart the last three moved at 1: the slope by least squares is
// sum((t - 0.25) x) / sum((t - 0.25)^2), the latter 2 (0.05^2 + 0.15^2 + 0.25^2) = 0.175.
TEST(PastVelocityTest, ATurnIsKnownLate) {
  PastVelocity velocity(6);
  PicturePoint known;
  for (int i = 0; i < 6; ++i) {
    known = velocity.observe(1, i * 0.1, {std::max(i - 2, 0) * 0.1, 0});
  }
  EXPECT_NEAR(known.x, (0.05 * 0.1 + 0.15 * 0.2 + 0.25 * 0.3) / 0.175, 1e-9);
}

TEST(PastVelocityTest, ItKeepsObjectsApartAndForgets) {
  PastVelocity velocity(6);
  velocity.observe(1, 0, {0, 0});
  EXPECT_EQ(velocity.observe(2, 0.1, {1, 1}).x, 0);
  EXPECT_NEAR(velocity.observe(1, 0.1, {0.1, 0}).x, 1, 1e-9);
  velocity.forget(1);
  EXPECT_EQ(velocity.observe(1, 0.2, {0.2, 0}).x, 0);
}

}  // namespace
}  // namespace device
