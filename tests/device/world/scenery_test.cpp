#include "world/scenery.h"

#include <gtest/gtest.h>

#include "world/visibility.h"

namespace device {
namespace {

// 4 m wide, 2 m deep and 2 m high, its middle 10 m ahead.
const Block VAN{.middle = {0, 10}, .width = 4, .depth = 2, .height = 2, .turn = 0};
constexpr SpacePoint LENS{0, 0, 5};

TEST(SceneryTest, ABlockHidesWhatIsBehindIt) {
  EXPECT_TRUE(hides(VAN, LENS, {0, 12, 0}));
  EXPECT_FALSE(hides(VAN, LENS, {0, 8.9, 0}));
  EXPECT_FALSE(hides(VAN, LENS, {3, 12, 0}));
  EXPECT_TRUE(hides(VAN, LENS, {2.1, 12, 0}));  // crosses the side at the van's far end
}

// The line over the far edge at (11, 2) falls by 3 m on 11 m: it comes down at 18.33 m.
TEST(SceneryTest, ABlockHidesNothingThatIsSeenAboveIt) {
  EXPECT_TRUE(hides(VAN, LENS, {0, 18.3, 0}));
  EXPECT_FALSE(hides(VAN, LENS, {0, 18.4, 0}));
  EXPECT_FALSE(hides(VAN, LENS, {0, 12, 1.8}));  // 1.73 m is the shadow's edge there
  EXPECT_TRUE(hides(VAN, LENS, {0, 12, 1.7}));
}

// Turned by 90 degrees it is 2 m wide and 4 m deep.
TEST(SceneryTest, ABlockCanBeTurned) {
  Block turned = VAN;
  turned.turn = 90;
  EXPECT_FALSE(hides(turned, LENS, {2.5, 12.5, 0}));
  EXPECT_TRUE(hides(VAN, LENS, {2.5, 12.5, 0}));
  turned.turn = 30;  // clockwise as seen from above: the right end comes nearer
  EXPECT_TRUE(hides(turned, {1.6, 0, 1}, {1.6, 9.6, 1}));
  EXPECT_FALSE(hides(turned, {-1.6, 0, 1}, {-1.6, 9.6, 1}));
}

TEST(VisibilityTest, WithoutSceneryAllIsSeen) {
  const Visibility seen = visibilityOf(LENS, {1, {0, 12}, {}}, {});
  EXPECT_EQ(seen.share, 1);
  EXPECT_EQ(seen.low, 0);
  EXPECT_EQ(seen.high, 1.75);
}

TEST(VisibilityTest, BehindAWallOnlyTheUpperPartIsSeen) {
  // 1 m high, 1 m in front.
  const Block wall{.middle = {0, 10}, .width = 20, .depth = 0.1, .height = 1, .turn = 0};
  const Visibility seen = visibilityOf(LENS, {1, {0, 11}, {}}, std::span(&wall, 1));
  // Hidden up to 5 - 4 * 11 / 10.05 = 0.62 m, so the rows whose middle is at 0.7875 m and more.
  EXPECT_NEAR(seen.low, 0.7, 1e-9);
  EXPECT_NEAR(seen.high, 1.75, 1e-9);
  EXPECT_NEAR(seen.share, 0.6, 1e-9);
}

TEST(VisibilityTest, APoleHidesItsWidth) {
  const Block pole{.middle = {0, 10}, .width = 0.15, .depth = 0.15, .height = 8, .turn = 0};
  const Visibility seen = visibilityOf(LENS, {1, {0, 11}, {}}, std::span(&pole, 1));
  EXPECT_NEAR(seen.share, 2.0 / 3, 1e-9);  // the middle one of three columns
  EXPECT_EQ(seen.low, 0);
}

TEST(VisibilityTest, PeopleHideThoseBehindThem) {
  const std::vector<Person> people{
      {1, {0, 20}, {}}, {2, {0, 19}, {}}, {3, {4, 19}, {}}, {4, {0, 21}, {}}};
  const auto before = inFrontOf(LENS, people[0], people);
  ASSERT_EQ(before.size(), 1u);
  EXPECT_EQ(before[0].middle.y, 19);
  const Visibility seen = visibilityOf(LENS, people[0], before);
  EXPECT_GT(seen.low, 1.2);  // 1.75 - 3.25 / 19 * 1
  EXPECT_LT(seen.share, 0.3);
}

}  // namespace
}  // namespace device
