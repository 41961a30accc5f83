#include "fixmath.h"

#include <gtest/gtest.h>

namespace {

TEST(Fixmath, EachEntryIsHalfOfTheOneBefore) {
  double exact = 1;
  for (int bits = 0; bits < FX_TAB_SIZE; ++bits) {
    EXPECT_EQ(exact, fx_xtod_tab[bits]) << bits;
    EXPECT_EQ(static_cast<float>(exact), fx_xtof_tab[bits]) << bits;
    exact /= 2;
  }
}

TEST(Fixmath, HasThirtyTwoEntries) {
  EXPECT_EQ(32, FX_TAB_SIZE);
  EXPECT_EQ(sizeof(double) * 32, sizeof(fx_xtod_tab));
  EXPECT_EQ(sizeof(float) * 32, sizeof(fx_xtof_tab));
}

TEST(Fixmath, ConvertsTwelveAndSixteenFractionalBits) {
  EXPECT_EQ(-1.5, -6144 * fx_xtod_tab[12]);
  EXPECT_EQ(90.25F, static_cast<float>(90 * 65536 + 16384) * fx_xtof_tab[16]);
}

}  // namespace
