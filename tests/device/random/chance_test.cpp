#include "random/chance.h"

#include <gtest/gtest.h>

#include <cmath>

namespace device {
namespace {

constexpr int DRAWS = 20000;

TEST(ChanceTest, SeedAndPurposeDecideWhatComes) {
  Chance one(5, "wind");
  Chance same(5, "wind");
  Chance otherSeed(6, "wind");
  Chance otherPurpose(5, "rain");
  const double first = one.between(0, 1);
  EXPECT_EQ(first, same.between(0, 1));
  EXPECT_NE(first, otherSeed.between(0, 1));
  EXPECT_NE(first, otherPurpose.between(0, 1));
}

TEST(ChanceTest, BetweenIsEven) {
  Chance chance(1, "even");
  double sum = 0;
  double squares = 0;
  for (int i = 0; i < DRAWS; ++i) {
    const double value = chance.between(2, 6);
    ASSERT_GE(value, 2);
    ASSERT_LT(value, 6);
    sum += value;
    squares += (value - 4) * (value - 4);
  }
  EXPECT_NEAR(sum / DRAWS, 4, 0.04);
  EXPECT_NEAR(squares / DRAWS, 16.0 / 12, 0.05);  // width squared over 12
}

TEST(ChanceTest, NormalHasItsDeviation) {
  Chance chance(1, "normal");
  double sum = 0;
  double squares = 0;
  for (int i = 0; i < DRAWS; ++i) {
    const double value = chance.normal(3);
    sum += value;
    squares += value * value;
  }
  EXPECT_NEAR(sum / DRAWS, 0, 0.1);
  EXPECT_NEAR(std::sqrt(squares / DRAWS), 3, 0.1);
}

TEST(ChanceTest, ThingsHappenAsOftenAsTheyShould) {
  Chance chance(1, "happens");
  int happened = 0;
  int up = 0;
  for (int i = 0; i < DRAWS; ++i) {
    happened += chance.happens(0.15) ? 1 : 0;
    up += chance.sign() > 0 ? 1 : 0;
  }
  EXPECT_NEAR(happened / static_cast<double>(DRAWS), 0.15, 0.01);
  EXPECT_NEAR(up / static_cast<double>(DRAWS), 0.5, 0.015);
}

TEST(ChanceTest, WhatCannotVaryDrawsNothing) {
  Chance one(3, "same");
  Chance other(3, "same");
  EXPECT_FALSE(one.happens(0));
  EXPECT_TRUE(one.happens(1));
  EXPECT_EQ(one.normal(0), 0);
  EXPECT_EQ(one.between(7, 7), 7);
  EXPECT_EQ(one.between(0, 1), other.between(0, 1));
}

}  // namespace
}  // namespace device
