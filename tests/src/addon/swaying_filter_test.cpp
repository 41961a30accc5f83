#include "addon/libs/vigil_pack_lib/filters/swaying_filter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>

#include "scene/tracking_object_external_data_no_merge.h"
#include "src/addon/objects.h"
#include "src/addon/parsed_entries.h"

namespace {

constexpr const char* KEY = "swaying_filter_7";
constexpr const char* DISPLACEMENT = "localDisplacement";
constexpr const char* ORIGIN = "pointOfOrigin";

// An object of profile 7 that a filter watches on its way.
class Walk {
 public:
  Walk(int percent, int x, int y)
      : filter(7, percent, true), object(tracked(Observation{}.at(x, y))) {
    filter.updateFilterData(object);
  }

  void goTo(int x, int y) {
    object.update(Observation{.time = ++time}.at(x, y));
    filter.updateFilterData(object);
  }

  bool passes() { return filter.canObjectTriggerAlarm(object); }
  std::int32_t displacement() const { return object.getData(KEY)->getInt(DISPLACEMENT); }
  Point origin() const { return object.getData(KEY)->getPoint(ORIGIN); }

  SwayingFilter filter;
  TrackingObject object;
  std::int64_t time = 0;
};

TEST(SwayingFilterTest, ANewObjectIsHeldBack) {
  Walk walk(3, 10, 20);
  EXPECT_FALSE(walk.passes());
  EXPECT_EQ(walk.displacement(), 0);
  EXPECT_EQ(walk.origin(), pointAt(10, 20));
}

TEST(SwayingFilterTest, ThreePercentHolds245UnitsBackAndPasses247) {
  Walk near(3, 0, 0);
  near.goTo(245, 0);
  EXPECT_FALSE(near.passes());
  EXPECT_EQ(near.displacement(), 60'025);
  Walk far(3, 0, 0);
  far.goTo(0, -247);
  EXPECT_TRUE(far.passes());
}

TEST(SwayingFilterTest, TheLimitItselfIsHeldBack) {
  Walk walk(3, 100, 100);
  walk.goTo(100 + 246, 100);
  EXPECT_EQ(walk.displacement(), 60'516);
  EXPECT_FALSE(walk.passes());
  walk.goTo(100 + 246, 101);
  EXPECT_EQ(walk.displacement(), 60'517);
  EXPECT_TRUE(walk.passes());
}

TEST(SwayingFilterTest, TwentyPercentHasTheSquaredLimit2683044) {
  Walk walk(20, 0, 0);
  walk.goTo(1638, 0);
  EXPECT_EQ(walk.displacement(), 2'683'044);
  EXPECT_FALSE(walk.passes());
  walk.goTo(1638, 1);
  EXPECT_TRUE(walk.passes());
}

TEST(SwayingFilterTest, AtAFifthOfTheDistanceNothingChanges) {
  Walk walk(20, 0, 0);
  walk.goTo(1000, 0);
  ASSERT_EQ(walk.displacement(), 1'000'000);
  walk.goTo(200, 0);
  EXPECT_EQ(walk.displacement(), 1'000'000);
  EXPECT_EQ(walk.origin(), pointAt(0, 0));
}

TEST(SwayingFilterTest, NearerThanAFifthOfTheDistanceTheObjectBeginsAnew) {
  // The largest sum of two squares below 40000.
  int nearestX = 0;
  int nearestY = 0;
  for (int x = 0; x < 200; ++x) {
    for (int y = 0; y <= x; ++y) {
      const int squared = x * x + y * y;
      if (squared < 40'000 && squared > nearestX * nearestX + nearestY * nearestY) {
        nearestX = x;
        nearestY = y;
      }
    }
  }
  Walk walk(20, 0, 0);
  walk.goTo(-1000, 0);
  walk.goTo(nearestX, nearestY);
  EXPECT_EQ(walk.displacement(), 0);
  EXPECT_EQ(walk.origin(), pointAt(nearestX, nearestY));
}

TEST(SwayingFilterTest, TheFifthIsCutToWholeUnits) {
  // 42050 / 25 is 1682; 42041 / 25 is 1681.64, cut to 1681, which 41² = 1681 is not below.
  Walk walk(20, 0, 0);
  walk.goTo(205, 5);
  ASSERT_EQ(walk.displacement(), 42'050);
  walk.goTo(41, 0);
  EXPECT_EQ(walk.displacement(), 0) << "1681 is below 1682";
  Walk other(20, 0, 0);
  other.goTo(205, 4);
  ASSERT_EQ(other.displacement(), 42'041);
  other.goTo(41, 0);
  EXPECT_EQ(other.displacement(), 42'041) << "1681 is not below 1681";
}

TEST(SwayingFilterTest, OneThatHasEscapedPassesForTheRestOfItsLife) {
  Walk walk(3, 0, 0);
  walk.goTo(300, 0);
  ASSERT_TRUE(walk.passes());
  walk.goTo(0, 0);
  EXPECT_TRUE(walk.passes());
  EXPECT_EQ(walk.origin(), pointAt(0, 0));
  EXPECT_EQ(walk.displacement(), 90'000);
}

TEST(SwayingFilterTest, AtTheLimitTheObjectCanStillBeginAnew) {
  Walk walk(3, 0, 0);
  walk.goTo(246, 0);
  walk.goTo(1, 0);
  EXPECT_EQ(walk.displacement(), 0);
  EXPECT_EQ(walk.origin(), pointAt(1, 0));
}

TEST(SwayingFilterTest, AnInactiveFilterKeepsNoMemoryAndPassesEverything) {
  SwayingFilter filter(7, 20, false);
  TrackingObject object = tracked(Observation{}.at(0, 0));
  filter.updateFilterData(object);
  EXPECT_TRUE(filter.canObjectTriggerAlarm(object));
  EXPECT_EQ(object.getData(KEY), nullptr);
}

TEST(SwayingFilterTest, AskingMakesTheMemoryWhereItIsMissing) {
  SwayingFilter filter(7, 20, true);
  TrackingObject object = tracked(Observation{}.at(30, 40));
  EXPECT_FALSE(filter.canObjectTriggerAlarm(object));
  ASSERT_NE(object.getData(KEY), nullptr);
  EXPECT_EQ(object.getData(KEY)->getPoint(ORIGIN), pointAt(30, 40));
}

TEST(SwayingFilterTest, ItsMemoryIsNotMerged) {
  Walk walk(3, 0, 0);
  EXPECT_NE(dynamic_cast<TrackingObjectExternalDataNoMerge*>(walk.object.getData(KEY)), nullptr);
  Walk other(3, 0, 0);
  other.goTo(300, 0);
  walk.object.merge(other.object, true);
  EXPECT_EQ(walk.displacement(), 0);
}

TEST(SwayingFilterTest, ProfilesRememberApart) {
  Walk walk(3, 0, 0);
  walk.goTo(300, 0);
  SwayingFilter other(8, 3, true);
  other.updateFilterData(walk.object);
  EXPECT_FALSE(other.canObjectTriggerAlarm(walk.object));
  EXPECT_TRUE(walk.passes());
}

TEST(SwayingFilterTest, FiltersAreEqualWhenAllTheirValuesAre) {
  const SwayingFilter filter(7, 5, true);
  EXPECT_TRUE(filter == SwayingFilter(7, 5, true));
  EXPECT_FALSE(filter == SwayingFilter(8, 5, true));
  EXPECT_FALSE(filter == SwayingFilter(7, 6, true));
  EXPECT_FALSE(filter == SwayingFilter(7, 5, false));
}

TEST(SwayingFilterTest, ACloneIsEqual) {
  const SwayingFilter filter(7, 5, true);
  const std::unique_ptr<ExclusionFilter> copy = filter.clone();
  const auto* const sameKind = dynamic_cast<SwayingFilter*>(copy.get());
  ASSERT_NE(sameKind, nullptr);
  EXPECT_TRUE(*sameKind == filter);
}

TEST(SwayingFilterTest, RandomWalksFollowTheRule) {
  std::mt19937 random(20240611);
  std::uniform_int_distribution<int> percents(3, 20);
  std::uniform_int_distribution<int> coordinates(-1200, 1200);
  int passed = 0;
  int renewed = 0;
  for (int run = 0; run < 200; ++run) {
    const int percent = percents(random);
    const std::int64_t length = (8192 * percent + 50) / 100;
    int originX = coordinates(random);
    int originY = coordinates(random);
    std::int64_t displacement = 0;
    Walk walk(percent, originX, originY);
    for (int step = 0; step < 30; ++step) {
      const bool comesBack = step % 3 == 2;
      const int x = comesBack ? originX + coordinates(random) / 10 : coordinates(random);
      const int y = comesBack ? originY + coordinates(random) / 10 : coordinates(random);
      walk.goTo(x, y);
      const std::int64_t squared = static_cast<std::int64_t>(x - originX) * (x - originX) +
                                   static_cast<std::int64_t>(y - originY) * (y - originY);
      if (displacement <= length * length && squared < displacement / 25) {
        originX = x;
        originY = y;
        displacement = 0;
        ++renewed;
      } else if (squared > displacement) {
        displacement = squared;
      }
      ASSERT_EQ(walk.displacement(), displacement);
      ASSERT_EQ(walk.origin(), pointAt(originX, originY));
      ASSERT_EQ(walk.passes(), displacement > length * length);
      passed += walk.passes() ? 1 : 0;
    }
  }
  EXPECT_GT(passed, 0);
  EXPECT_GT(renewed, 0);
}

// Whether what was read is that filter.
bool isRead(const std::string& entry, const SwayingFilter& expected) {
  const std::unique_ptr<ExclusionFilter> filter = filterOf(SWAYING_FILTER_KIND, entry);
  const auto* const sameKind = dynamic_cast<const SwayingFilter*>(filter.get());
  return sameKind != nullptr && *sameKind == expected;
}

TEST(SwayingFilterTest, IsReadFromAProfile) {
  EXPECT_TRUE(isRead(R"({"data":3,"active":true})", SwayingFilter(PARSED_UID, 3, true)));
  EXPECT_TRUE(isRead(R"({"data":4,"active":false})", SwayingFilter(PARSED_UID, 4, false)));
}

}  // namespace
