#include "addon/libs/vigil_pack_lib/filters/size_filter_perspective.h"

#include <gtest/gtest.h>

#include <vector>

#include "src/addon/objects.h"
#include "src/addon/parsed_entries.h"

namespace {

constexpr const char* KEY = "size_filter_perspective_7";
constexpr const char* HEIGHT = PerspectiveFilterExternalData::MAX_HEIGHT;
constexpr const char* WIDTH = PerspectiveFilterExternalData::MAX_WIDTH;

// Scale 16 at 0 and 32 at -1024: the line 16 - position / 64.
Perspective slopingPerspective() {
  const std::vector<PerspectiveBar> bars{{0, 1600, 100}, {-1024, 2176, 100}};
  return Perspective(bars);
}

// An object whose feet stand there, in an upright picture.
MoteObject standingAt(int foot, int width, int height, std::int64_t time = 0) {
  return Observation{.time = time}.at(0, foot + height / 2, width, height);
}

std::int32_t valueOf(const TrackingObject& object, const char* key) {
  const TrackingObjectExternalData* const data = object.getData(KEY);
  return data != nullptr ? data->getInt(key) : -1;
}

TEST(PerspectiveFilterExternalDataTest, StartsWithSizesOfZero) {
  const PerspectiveFilterExternalData data;
  EXPECT_EQ(data.getInt("maxRealWorldHeight"), 0);
  EXPECT_EQ(data.getInt("maxRealWorldWidth"), 0);
}

TEST(PerspectiveFilterExternalDataTest, MergingKeepsTheLargerOfEach) {
  PerspectiveFilterExternalData a;
  a.insert(HEIGHT, 10);
  a.insert(WIDTH, 90);
  PerspectiveFilterExternalData b;
  b.insert(HEIGHT, 50);
  b.insert(WIDTH, 40);
  a.merge(b);
  EXPECT_EQ(a.getInt(HEIGHT), 50);
  EXPECT_EQ(a.getInt(WIDTH), 90);
  EXPECT_EQ(b.getInt(HEIGHT), 50);
  EXPECT_EQ(b.getInt(WIDTH), 40);
}

TEST(PerspectiveFilterExternalDataTest, ACloneHoldsTheSameSizes) {
  PerspectiveFilterExternalData data;
  data.insert(HEIGHT, 10);
  data.insert(WIDTH, 20);
  const std::unique_ptr<TrackingObjectExternalData> copy = data.clone();
  ASSERT_NE(dynamic_cast<PerspectiveFilterExternalData*>(copy.get()), nullptr);
  EXPECT_EQ(copy->getInt(HEIGHT), 10);
  EXPECT_EQ(copy->getInt(WIDTH), 20);
}

TEST(SizeFilterPerspectiveTest, RecordsTheSizeAtTheFeet) {
  SizeFilterPerspective filter(7, 1000, 1000, slopingPerspective(), true);
  TrackingObject object = tracked(standingAt(-512, 240, 480), 0, 2.0F);
  filter.updateFilterData(object);
  EXPECT_EQ(valueOf(object, HEIGHT), 20);  // 480 / 24
  EXPECT_EQ(valueOf(object, WIDTH), 20);   // 2 x 240 / 24
}

TEST(SizeFilterPerspectiveTest, TheSizeIsThatOfTheUprightPicture) {
  SizeFilterPerspective filter(7, 1000, 1000, slopingPerspective(), true);
  // Turned by 90 degrees the feet are at the right; the width there is the height over the ratio.
  TrackingObject object = tracked(Observation{}.at(-512 - 240, 0, 480, 240), 90, 2.0F);
  filter.updateFilterData(object);
  EXPECT_EQ(valueOf(object, HEIGHT), 20);  // 480 / 24
  EXPECT_EQ(valueOf(object, WIDTH), 5);    // 240 / 2 / 24
}

TEST(SizeFilterPerspectiveTest, OneDimensionAboveItsMinimumIsEnough) {
  TrackingObject object = tracked(standingAt(0, 160, 320));  // 10 x 20
  const auto passes = [&](int minWidth, int minHeight) {
    SizeFilterPerspective filter(7, minWidth, minHeight, slopingPerspective(), true);
    filter.updateFilterData(object);
    return filter.canObjectTriggerAlarm(object);
  };
  EXPECT_TRUE(passes(9, 100));
  EXPECT_TRUE(passes(100, 19));
  EXPECT_FALSE(passes(10, 20));
}

TEST(SizeFilterPerspectiveTest, TheLargestSizeEverSeenCounts) {
  SizeFilterPerspective filter(7, 100, 19, slopingPerspective(), true);
  TrackingObject object = tracked(standingAt(0, 160, 320));
  filter.updateFilterData(object);
  object.update(standingAt(0, 16, 32, 1));
  filter.updateFilterData(object);
  EXPECT_TRUE(filter.canObjectTriggerAlarm(object));
  EXPECT_EQ(valueOf(object, HEIGHT), 20);
  EXPECT_EQ(valueOf(object, WIDTH), 10);
  object.update(standingAt(0, 320, 32, 2));
  filter.updateFilterData(object);
  EXPECT_EQ(valueOf(object, HEIGHT), 20);
  EXPECT_EQ(valueOf(object, WIDTH), 20);
}

TEST(SizeFilterPerspectiveTest, AnInactiveFilterStillRecordsMaximaAndPassesEverything) {
  SizeFilterPerspective filter(7, 1000, 1000, slopingPerspective(), false);
  TrackingObject object = tracked(standingAt(0, 160, 320));
  filter.updateFilterData(object);
  EXPECT_FALSE(filter.isEnabled());
  EXPECT_TRUE(filter.canObjectTriggerAlarm(object));
  EXPECT_EQ(valueOf(object, HEIGHT), 20);
  EXPECT_EQ(valueOf(object, WIDTH), 10);
}

TEST(SizeFilterPerspectiveTest, AskingMakesTheMemoryWhereItIsMissing) {
  SizeFilterPerspective filter(7, 0, 0, slopingPerspective(), true);
  TrackingObject object = tracked(standingAt(0, 160, 320));
  EXPECT_FALSE(filter.canObjectTriggerAlarm(object));
  EXPECT_EQ(valueOf(object, HEIGHT), 0);
  EXPECT_EQ(valueOf(object, WIDTH), 0);
}

TEST(SizeFilterPerspectiveTest, ObjectsThatBecomeOneKeepTheLargerSize) {
  SizeFilterPerspective filter(7, 0, 0, slopingPerspective(), true);
  TrackingObject small = tracked(standingAt(0, 160, 32));
  TrackingObject tall = tracked(standingAt(0, 16, 320));
  filter.updateFilterData(small);
  filter.updateFilterData(tall);
  small.merge(tall, false);
  EXPECT_EQ(valueOf(small, HEIGHT), 20);
  EXPECT_EQ(valueOf(small, WIDTH), 10);
}

TEST(SizeFilterPerspectiveTest, FiltersAreEqualWhenAllTheirValuesAre) {
  const SizeFilterPerspective filter(7, 1, 2, slopingPerspective(), true);
  EXPECT_TRUE(filter == SizeFilterPerspective(7, 1, 2, slopingPerspective(), true));
  EXPECT_FALSE(filter == SizeFilterPerspective(8, 1, 2, slopingPerspective(), true));
  EXPECT_FALSE(filter == SizeFilterPerspective(7, 3, 2, slopingPerspective(), true));
  EXPECT_FALSE(filter == SizeFilterPerspective(7, 1, 3, slopingPerspective(), true));
  EXPECT_FALSE(filter == SizeFilterPerspective(7, 1, 2, slopingPerspective(), false));
  const Perspective other{std::vector<PerspectiveBar>()};
  EXPECT_FALSE(filter == SizeFilterPerspective(7, 1, 2, other, true));
}

TEST(SizeFilterPerspectiveTest, ACloneIsEqual) {
  const SizeFilterPerspective filter(7, 1, 2, slopingPerspective(), true);
  const std::unique_ptr<ExclusionFilter> copy = filter.clone();
  const auto* const sameKind = dynamic_cast<SizeFilterPerspective*>(copy.get());
  ASSERT_NE(sameKind, nullptr);
  EXPECT_TRUE(*sameKind == filter);
}

// Whether what was read is that filter.
bool isRead(const std::string& entry, const SizeFilterPerspective& expected) {
  const std::unique_ptr<ExclusionFilter> filter = filterOf(SIZE_FILTER_PERSPECTIVE_KIND, entry);
  const auto* const sameKind = dynamic_cast<const SizeFilterPerspective*>(filter.get());
  return sameKind != nullptr && *sameKind == expected;
}

TEST(SizeFilterPerspectiveTest, IsReadFromAProfile) {
  EXPECT_TRUE(isRead(R"({"data":[3,4],"active":true})",
                     SizeFilterPerspective(PARSED_UID, 3, 4, Perspective({}), true)));
  EXPECT_TRUE(isRead(R"({"data":[5,6],"active":false})",
                     SizeFilterPerspective(PARSED_UID, 5, 6, Perspective({}), false)));
}

}  // namespace
