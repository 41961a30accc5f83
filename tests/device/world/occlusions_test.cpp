#include "world/occlusions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace device {
namespace {

constexpr double STEP = 0.02;   // seconds
constexpr double LONG = 20000;  // seconds

// The lengths of a person's gaps.
std::vector<double> gapsOf(const Occlusions& occlusions, int person) {
  std::vector<double> gaps;
  bool wasHidden = false;
  for (int i = 0; i < static_cast<int>(LONG / STEP); ++i) {
    const bool isHidden = occlusions.isHidden(person, i * STEP);
    if (isHidden && !wasHidden) {
      gaps.push_back(0);
    }
    if (isHidden) {
      gaps.back() += STEP;
    }
    wasHidden = isHidden;
  }
  return gaps;
}

TEST(OcclusionsTest, NobodyIsHiddenWithout) {
  EXPECT_TRUE(gapsOf(Occlusions({}, 1), 1).empty());
}

// Gaps that begin within another one make it longer: one in 30 of these.
TEST(OcclusionsTest, GapsComeAsOftenAndAreAsLongAsTold) {
  const std::vector<double> gaps =
      gapsOf(Occlusions({.perSecond = 1.0 / 15, .least = 0.5, .most = 2}, 1), 7);
  double sum = 0;
  for (const double gap : gaps) {
    ASSERT_GE(gap, 0.5 - 2 * STEP);
    ASSERT_LE(gap, 4);
    sum += gap;
  }
  const double count = static_cast<double>(gaps.size());
  EXPECT_NEAR(count / LONG, 1.0 / 15, 0.006);
  EXPECT_NEAR(sum / count, 1.25, 0.1);
}

TEST(OcclusionsTest, EachPersonHasItsOwn) {
  const Occlusions occlusions({.perSecond = 0.2, .least = 0.5, .most = 2}, 1);
  int one = 0;
  int both = 0;
  for (int i = 0; i < 100000; ++i) {
    const bool first = occlusions.isHidden(1, i * 0.1);
    one += first ? 1 : 0;
    both += first && occlusions.isHidden(2, i * 0.1) ? 1 : 0;
  }
  EXPECT_NEAR(one / 1e5, 0.23, 0.03);  // 0.25, less where two overlap
  EXPECT_NEAR(both / static_cast<double>(one), 0.23, 0.05);
}

TEST(OcclusionsTest, TheSameAtAMomentWhoeverAsks) {
  const OcclusionSetup setup{.perSecond = 0.2, .least = 0.5, .most = 2};
  const Occlusions one(setup, 3);
  const Occlusions other(setup, 3);
  for (int i = 5000; i > 0; --i) {
    ASSERT_EQ(one.isHidden(4, i * 0.1), Occlusions(setup, 3).isHidden(4, i * 0.1));
  }
  EXPECT_EQ(gapsOf(one, 2), gapsOf(other, 2));
}

}  // namespace
}  // namespace device
