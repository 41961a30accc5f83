#include "addon/libs/vigil_pack_lib/filters/perspective.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace {

using Bars = std::vector<PerspectiveBar>;

constexpr std::int32_t LARGEST = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t SMALLEST = std::numeric_limits<std::int32_t>::min();

// Scale 16 at 0 and 32 at -1024: the line 16 - position / 64.
Bars slopingBars() {
  return {{0, 1600, 100}, {-1024, 2176, 100}};
}

TEST(PerspectiveBarTest, ScaleIsLengthOverHeight) {
  EXPECT_FLOAT_EQ(PerspectiveBar(0, 1000, 100).scale, 10.0F);
  EXPECT_FLOAT_EQ(PerspectiveBar(1000, -500, 100).scale, 15.0F);
  EXPECT_FLOAT_EQ(PerspectiveBar(0, 1, 3).scale, 1.0F / 3.0F);
}

TEST(PerspectiveBarTest, AHeightBelowZeroGivesAScaleBelowZero) {
  EXPECT_FLOAT_EQ(PerspectiveBar(0, 1000, -100).scale, -10.0F);
  EXPECT_FLOAT_EQ(PerspectiveBar(1000, -500, -100).scale, -15.0F);
}

TEST(PerspectiveBarTest, TheHigherBarDependsOnTheRotation) {
  const PerspectiveBar large(100, 200, 10);
  const PerspectiveBar small(-100, 200, 10);
  for (const std::int32_t rotation : {0, 270}) {
    EXPECT_TRUE(large.isAbove(small, rotation)) << rotation;
    EXPECT_FALSE(small.isAbove(large, rotation)) << rotation;
  }
  for (const std::int32_t rotation : {90, 180}) {
    EXPECT_FALSE(large.isAbove(small, rotation)) << rotation;
    EXPECT_TRUE(small.isAbove(large, rotation)) << rotation;
  }
  for (const std::int32_t rotation : {0, 90, 180, 270}) {
    EXPECT_FALSE(large.isAbove(large, rotation)) << rotation;
  }
}

TEST(PerspectiveTest, WithoutBarsEverySizeIsZero) {
  const Perspective perspective{Bars()};
  EXPECT_EQ(perspective.calculateRealWorldSize(0, 1000), 0);
  EXPECT_EQ(perspective.calculateRealWorldSize(-4096, -1000), 0);
  EXPECT_EQ(perspective.calculateRealWorldSize(100, 0), 0);
}

TEST(PerspectiveTest, TwoBarsGiveTheLineThroughThem) {
  const Perspective perspective(slopingBars());
  EXPECT_EQ(perspective.calculateRealWorldSize(0, 1600), 100);
  EXPECT_EQ(perspective.calculateRealWorldSize(-1024, 3200), 100);
  EXPECT_EQ(perspective.calculateRealWorldSize(-512, 2400), 100);  // scale 24
  EXPECT_EQ(perspective.calculateRealWorldSize(512, 800), 100);    // scale 8
}

TEST(PerspectiveTest, ThreeBarsAreFittedByLeastSquares) {
  // Scales 30, 22 and 8 at -1000, 0 and 1000: mean 20, slope -22000 / 2000000 = -0.011.
  const Perspective perspective(Bars{{-1000, 2000, 100}, {0, 2200, 100}, {1000, 1800, 100}});
  EXPECT_EQ(perspective.calculateRealWorldSize(0, 2000), 100);      // scale 20
  EXPECT_EQ(perspective.calculateRealWorldSize(1000, 900), 100);    // scale 9
  EXPECT_EQ(perspective.calculateRealWorldSize(-1000, 3100), 100);  // scale 31
}

TEST(PerspectiveTest, SizesAreRoundedByAHalfAndCut) {
  const Perspective perspective(slopingBars());
  EXPECT_EQ(perspective.calculateRealWorldSize(0, 7), 0);     // 0.4375
  EXPECT_EQ(perspective.calculateRealWorldSize(0, 8), 1);     // 0.5
  EXPECT_EQ(perspective.calculateRealWorldSize(0, 23), 1);    // 1.4375
  EXPECT_EQ(perspective.calculateRealWorldSize(0, 24), 2);    // 1.5
  EXPECT_EQ(perspective.calculateRealWorldSize(0, -8), 0);    // -0.5
  EXPECT_EQ(perspective.calculateRealWorldSize(0, -48), -2);  // -3 + 0.5, cut toward zero
}

TEST(PerspectiveTest, ANegativeScaleGivesANegativeSize) {
  const Perspective perspective(slopingBars());
  EXPECT_EQ(perspective.calculateRealWorldSize(2048, 1600), -99);  // scale -16: -100 + 0.5
}

TEST(PerspectiveTest, AScaleOfZeroGivesZero) {
  const Perspective perspective(slopingBars());
  EXPECT_EQ(perspective.calculateRealWorldSize(1024, 1000), 0);
  EXPECT_EQ(perspective.calculateRealWorldSize(1024, -1000), 0);
  EXPECT_EQ(perspective.calculateRealWorldSize(1024, 0), 0);
}

TEST(PerspectiveTest, SizesBeyondTheRangeSaturate) {
  const Perspective perspective(slopingBars());
  EXPECT_EQ(perspective.calculateRealWorldSize(1023, LARGEST), LARGEST);   // scale 1/64
  EXPECT_EQ(perspective.calculateRealWorldSize(1025, LARGEST), SMALLEST);  // scale -1/64
  EXPECT_EQ(perspective.calculateRealWorldSize(1023, SMALLEST), SMALLEST);
}

TEST(PerspectiveTest, BarsAtOnePositionGiveNoLineAndZeroSizes) {
  const Perspective same(Bars{{100, 1100, 100}, {100, 1100, 100}});
  EXPECT_EQ(same.calculateRealWorldSize(0, 1000), 0);
  EXPECT_EQ(same.calculateRealWorldSize(100, 1000), 0);
  const Perspective single(Bars{{100, 1100, 100}});
  EXPECT_EQ(single.calculateRealWorldSize(100, 1000), 0);
}

// As from straight above: 20 scene units a centimetre everywhere.
TEST(PerspectiveTest, BarsOfOneScaleMeasureTheSameEverywhere) {
  const Perspective flat(Bars{{-1000, 1000, 100}, {1000, 3000, 100}});
  EXPECT_EQ(flat.calculateRealWorldSize(-1000, 2000), 100);
  EXPECT_EQ(flat.calculateRealWorldSize(1000, 2000), 100);
}

TEST(PerspectiveTest, ABarWithoutHeightGivesZeroSizes) {
  const Perspective perspective(Bars{{0, 100, 0}, {-1000, 100, 10}});
  EXPECT_EQ(perspective.calculateRealWorldSize(0, 1000), 0);
  EXPECT_EQ(perspective.calculateRealWorldSize(-500, 1000), 0);
}

TEST(PerspectiveTest, PerspectivesAreEqualWhenTheirLinesAre) {
  const Perspective perspective(slopingBars());
  EXPECT_TRUE(perspective == Perspective(slopingBars()));
  EXPECT_TRUE(perspective == Perspective(Bars{{-1024, 2176, 100}, {0, 1600, 100}}));
  // Another intercept, then another slope through the same intercept.
  EXPECT_FALSE(perspective == Perspective(Bars{{0, 1601, 100}, {-1024, 2177, 100}}));
  EXPECT_FALSE(perspective == Perspective(Bars{{0, 1600, 100}, {-1024, 2180, 100}}));
  // A slope that differs by 0.01 / 4096 only.
  EXPECT_TRUE(perspective == Perspective(Bars{{0, 1600, 100}, {-4096, 3904, 100}}));
}

TEST(PerspectiveTest, RandomBarsGiveTheLeastSquaresLine) {
  std::mt19937 random(815);
  std::uniform_int_distribution<int> positions(-3500, 3500);
  std::uniform_int_distribution<int> counts(2, 8);
  std::uniform_real_distribution<double> noise(0.95, 1.05);
  for (int run = 0; run < 500; ++run) {
    Bars bars;
    double sumX = 0;
    double sumY = 0;
    double sumXX = 0;
    double sumXY = 0;
    const int count = counts(random);
    for (int i = 0; i < count; ++i) {
      const int position = positions(random) / 2 + (i % 2 == 0 ? -1750 : 1750);
      const int length = static_cast<int>((30.0 - position / 250.0) * 100 * noise(random));
      bars.emplace_back(position, position + length, 100);
      const double scale = length / 100.0;
      sumX += position;
      sumY += scale;
      sumXX += static_cast<double>(position) * position;
      sumXY += position * scale;
    }
    const double spread = count * sumXX - sumX * sumX;
    if (spread < 1e6 * count) {
      continue;
    }
    const double slope = (count * sumXY - sumX * sumY) / spread;
    const double intercept = (sumY - slope * sumX) / count;
    const Perspective perspective(bars);
    for (const int foot : {-2000, 0, 2000}) {
      const double expected = 100'000 / (slope * foot + intercept);
      EXPECT_NEAR(perspective.calculateRealWorldSize(foot, 100'000), expected,
                  1.0 + 1e-4 * expected);
    }
  }
}

}  // namespace
