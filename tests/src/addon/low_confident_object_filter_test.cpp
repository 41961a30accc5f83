#include "addon/libs/vigil_pack_lib/filters/low_confident_object_filter.h"

#include <gtest/gtest.h>

#include "src/addon/objects.h"

namespace {

TEST(LowConfidentObjectFilterTest, AnswersTheObjectsConfidence) {
  LowConfidentObjectFilter filter;
  TrackingObject confident = tracked(Observation{.isConfident = true}.at(0, 0));
  TrackingObject doubtful = tracked(Observation{.isConfident = false}.at(0, 0));
  EXPECT_TRUE(filter.canObjectTriggerAlarm(confident));
  EXPECT_FALSE(filter.canObjectTriggerAlarm(doubtful));
}

TEST(LowConfidentObjectFilterTest, JudgesThePresentFrame) {
  LowConfidentObjectFilter filter;
  TrackingObject object = tracked(Observation{.isConfident = false}.at(0, 0));
  filter.updateFilterData(object);
  EXPECT_FALSE(filter.canObjectTriggerAlarm(object));
  object.update(Observation{.time = 1, .isConfident = true}.at(0, 0));
  EXPECT_TRUE(filter.canObjectTriggerAlarm(object));
  object.update(Observation{.time = 2, .isConfident = false}.at(0, 0));
  EXPECT_FALSE(filter.canObjectTriggerAlarm(object));
}

TEST(LowConfidentObjectFilterTest, AClonedFilterIsOfTheSameKind) {
  const LowConfidentObjectFilter filter;
  const std::unique_ptr<ExclusionFilter> copy = filter.clone();
  const auto* const sameKind = dynamic_cast<LowConfidentObjectFilter*>(copy.get());
  ASSERT_NE(sameKind, nullptr);
  EXPECT_TRUE(*sameKind == filter);
}

}  // namespace
