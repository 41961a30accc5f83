#include "scene/tracking_object_external_data_no_merge.h"

#include <gtest/gtest.h>

#include <memory>

#include "fakes/log_capture.h"
#include "src/scene/object_data.h"

namespace {

TEST(TrackingObjectExternalDataNoMerge, MergeKeepsItAsItIs) {
  TrackingObjectExternalDataNoMerge data;
  data.insert("onceInside", false);
  TrackingObjectExternalDataNoMerge other;
  other.insert("onceInside", true);
  other.insert("lastTracked", std::int64_t{9});
  data.merge(other);
  EXPECT_FALSE(data.getBool("onceInside"));
  EXPECT_EQ(-1, data.getTimeVal("lastTracked", -1));

  data.merge(SumData(5));
  const LogCapture log;
  EXPECT_EQ(0, data.getInt("sum"));
  EXPECT_EQ(1u, log.lines().size());
}

TEST(TrackingObjectExternalDataNoMerge, CloneHoldsTheSameAndIsSeparate) {
  TrackingObjectExternalDataNoMerge data;
  data.insert("int", std::int32_t{5});
  data.insert("point", Point{1, 2});
  data.insert("bool", true);
  data.insert("time", std::int64_t{8});
  const std::unique_ptr<TrackingObjectExternalData> copy = data.clone();
  ASSERT_TRUE(copy);
  data.insert("int", std::int32_t{6});
  EXPECT_EQ(5, copy->getInt("int"));
  EXPECT_EQ((Point{1, 2}), copy->getPoint("point"));
  EXPECT_TRUE(copy->getBool("bool"));
  EXPECT_EQ(8, copy->getTimeVal("time", 0));
}

TEST(TrackingObjectExternalDataNoMerge, CloneDoesNotMergeEither) {
  const TrackingObjectExternalDataNoMerge data;
  const std::unique_ptr<TrackingObjectExternalData> copy = data.clone();
  TrackingObjectExternalDataNoMerge other;
  other.insert("int", std::int32_t{5});
  copy->merge(other);
  EXPECT_EQ(0, copy->getInt("int"));
}

}  // namespace
