#include "addon/libs/vigil_pack_lib/filters/filter_data_key.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace {

TEST(FilterDataKeyTest, IsTheTagAndTheUidInDecimal) {
  EXPECT_EQ(utils::generateFilterDataKey("swaying_filter", 7), "swaying_filter_7");
  EXPECT_EQ(utils::generateFilterDataKey("area_guard", -12), "area_guard_-12");
  EXPECT_EQ(utils::generateFilterDataKey("", 0), "_0");
  EXPECT_EQ(utils::generateFilterDataKey("a", std::numeric_limits<std::int32_t>::min()),
            "a_-2147483648");
}

TEST(FilterDataKeyTest, PercentagesAreOfTheWholePicture) {
  EXPECT_EQ(utils::percentToSceneLength(3), 246);
  EXPECT_EQ(utils::percentToSceneLength(20), 1638);
  EXPECT_EQ(utils::percentToSceneLength(50), 4096);
  EXPECT_EQ(utils::percentToSceneLength(100), 8192);
  EXPECT_EQ(utils::percentToSceneLength(0), 0);
}

TEST(FilterDataKeyTest, PercentagesAreRoundedToTheNearestLength) {
  for (std::int32_t percent = 0; percent <= 100; ++percent) {
    // In whole hundredths: 8192 p / 100, plus a half, cut.
    EXPECT_EQ(utils::percentToSceneLength(percent), (8192 * percent + 50) / 100) << percent;
  }
}

}  // namespace
