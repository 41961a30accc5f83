#include "addon/libs/vigil_pack_lib/filters/size_filter_percent.h"

#include <gtest/gtest.h>

#include <random>

#include "src/addon/objects.h"
#include "src/addon/parsed_entries.h"

namespace {

TrackingObject objectOfSize(int width, int height, std::int32_t rotation = 0) {
  return tracked(Observation{}.of(Polygon(-4096, -4096 + width, -4096, -4096 + height)), rotation);
}

bool passes(int widthPercent, int heightPercent, TrackingObject&& object) {
  SizeFilterPercent filter(widthPercent, heightPercent, true);
  return filter.canObjectTriggerAlarm(object);
}

TEST(SizeFilterPercentTest, OneSufficientDimensionIsEnough) {
  EXPECT_TRUE(passes(50, 100, objectOfSize(4097, 10)));
  EXPECT_TRUE(passes(50, 100, objectOfSize(5, 8193)));
}

TEST(SizeFilterPercentTest, TheLimitsThemselvesAreTooSmall) {
  EXPECT_FALSE(passes(50, 100, objectOfSize(4096, 8192)));
}

TEST(SizeFilterPercentTest, SizesAreThoseOfTheUprightPicture) {
  for (const std::int32_t rotation : {90, 270}) {
    EXPECT_TRUE(passes(50, 100, objectOfSize(10, 4097, rotation))) << rotation;
    EXPECT_FALSE(passes(50, 100, objectOfSize(4097, 10, rotation))) << rotation;
  }
  EXPECT_TRUE(passes(50, 100, objectOfSize(4097, 10, 180)));
}

TEST(SizeFilterPercentTest, AnInactiveFilterPassesEverything) {
  SizeFilterPercent filter(100, 100, false);
  TrackingObject object = objectOfSize(4, 4);
  EXPECT_FALSE(filter.isEnabled());
  EXPECT_TRUE(filter.canObjectTriggerAlarm(object));
}

TEST(SizeFilterPercentTest, OnlyThePresentSizeCounts) {
  SizeFilterPercent filter(10, 10, true);
  TrackingObject object = objectOfSize(1000, 1000);
  filter.updateFilterData(object);
  ASSERT_TRUE(filter.canObjectTriggerAlarm(object));
  object.update(Observation{.time = 1}.at(0, 0, 20, 20));
  filter.updateFilterData(object);
  EXPECT_FALSE(filter.canObjectTriggerAlarm(object));
}

TEST(SizeFilterPercentTest, FiltersAreEqualWhenAllTheirValuesAre) {
  const SizeFilterPercent filter(5, 6, true);
  EXPECT_TRUE(filter == SizeFilterPercent(5, 6, true));
  EXPECT_FALSE(filter == SizeFilterPercent(7, 6, true));
  EXPECT_FALSE(filter == SizeFilterPercent(5, 7, true));
  EXPECT_FALSE(filter == SizeFilterPercent(5, 6, false));
}

TEST(SizeFilterPercentTest, ACloneIsEqual) {
  const SizeFilterPercent filter(5, 6, true);
  const std::unique_ptr<ExclusionFilter> copy = filter.clone();
  const auto* const sameKind = dynamic_cast<SizeFilterPercent*>(copy.get());
  ASSERT_NE(sameKind, nullptr);
  EXPECT_TRUE(*sameKind == filter);
}

TEST(SizeFilterPercentTest, RandomSizesFollowTheRule) {
  std::mt19937 random(4711);
  std::uniform_int_distribution<int> percents(3, 100);
  std::uniform_int_distribution<int> slack(-2, 2);
  for (int run = 0; run < 2000; ++run) {
    const int widthPercent = percents(random);
    const int heightPercent = percents(random);
    const int minWidth = (8192 * widthPercent + 50) / 100;
    const int minHeight = (8192 * heightPercent + 50) / 100;
    const int width = minWidth + slack(random);
    const int height = minHeight + slack(random);
    EXPECT_EQ(passes(widthPercent, heightPercent, objectOfSize(width, height)),
              width > minWidth || height > minHeight)
        << widthPercent << " " << heightPercent << " " << width << " " << height;
  }
}

// Whether what was read is that filter.
bool isRead(const std::string& entry, const SizeFilterPercent& expected) {
  const std::unique_ptr<ExclusionFilter> filter = filterOf(SIZE_FILTER_PERCENT_KIND, entry);
  const auto* const sameKind = dynamic_cast<const SizeFilterPercent*>(filter.get());
  return sameKind != nullptr && *sameKind == expected;
}

TEST(SizeFilterPercentTest, IsReadFromAProfile) {
  EXPECT_TRUE(isRead(R"({"data":[3,4],"active":true})", SizeFilterPercent(3, 4, true)));
  EXPECT_TRUE(isRead(R"({"data":[5,6],"active":false})", SizeFilterPercent(5, 6, false)));
}

}  // namespace
