#include "addon/libs/vigil_pack_lib/filters/object_lifetime_filter.h"

#include <gtest/gtest.h>

#include "src/addon/objects.h"
#include "src/addon/parsed_entries.h"

namespace {

constexpr std::int64_t FIRST = 123'456'789;

bool passesAfter(int seconds, std::int64_t lifetime, bool enabled = true) {
  ObjectLifetimeFilter filter(seconds, enabled);
  TrackingObject object = tracked(Observation{.time = FIRST}.at(0, 0));
  object.update(Observation{.time = FIRST + lifetime}.at(0, 0));
  filter.updateFilterData(object);
  return filter.canObjectTriggerAlarm(object);
}

TEST(ObjectLifetimeFilterTest, ExactlyTheLifetimePasses) {
  for (int seconds = 1; seconds <= 5; ++seconds) {
    EXPECT_FALSE(passesAfter(seconds, seconds * 1'000'000 - 1)) << seconds;
    EXPECT_TRUE(passesAfter(seconds, seconds * 1'000'000)) << seconds;
    EXPECT_TRUE(passesAfter(seconds, seconds * 1'000'000 + 1)) << seconds;
  }
}

TEST(ObjectLifetimeFilterTest, ANewObjectIsHeldBack) {
  EXPECT_FALSE(passesAfter(1, 0));
}

TEST(ObjectLifetimeFilterTest, AnInactiveFilterPassesEverything) {
  EXPECT_TRUE(passesAfter(5, 0, false));
}

TEST(ObjectLifetimeFilterTest, FiltersAreEqualWhenAllTheirValuesAre) {
  const ObjectLifetimeFilter filter(2, true);
  EXPECT_TRUE(filter == ObjectLifetimeFilter(2, true));
  EXPECT_FALSE(filter == ObjectLifetimeFilter(3, true));
  EXPECT_FALSE(filter == ObjectLifetimeFilter(2, false));
}

TEST(ObjectLifetimeFilterTest, ACloneIsEqual) {
  const ObjectLifetimeFilter filter(2, true);
  const std::unique_ptr<ExclusionFilter> copy = filter.clone();
  const auto* const sameKind = dynamic_cast<ObjectLifetimeFilter*>(copy.get());
  ASSERT_NE(sameKind, nullptr);
  EXPECT_TRUE(*sameKind == filter);
}

// Whether what was read is that filter.
bool isRead(const std::string& entry, const ObjectLifetimeFilter& expected) {
  const std::unique_ptr<ExclusionFilter> filter = filterOf(OBJECT_LIFETIME_FILTER_KIND, entry);
  const auto* const sameKind = dynamic_cast<const ObjectLifetimeFilter*>(filter.get());
  return sameKind != nullptr && *sameKind == expected;
}

TEST(ObjectLifetimeFilterTest, IsReadFromAProfile) {
  EXPECT_TRUE(isRead(R"({"data":3,"active":true})", ObjectLifetimeFilter(3, true)));
  EXPECT_TRUE(isRead(R"({"data":4,"active":false})", ObjectLifetimeFilter(4, false)));
}

}  // namespace
