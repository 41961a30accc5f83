#include "geometry/math_vector.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>

namespace {

TEST(MathVector, BetweenIsEndMinusStart) {
  EXPECT_EQ((MathVector{30, -50}), MathVector::between(Point{-10, 20}, Point{20, -30}));
  EXPECT_EQ((MathVector{8192, -8192}), MathVector::between(Point{-4096, 4096}, Point{4096, -4096}));
}

TEST(MathVector, BetweenWrapsToSixteenBits) {
  EXPECT_EQ((MathVector{-1, 0}), MathVector::between(Point{-32768, 0}, Point{32767, 0}));
}

TEST(MathVector, ProjectionDirectionIsTheSignOfTheDotProduct) {
  const MathVector right{10, 0};
  EXPECT_EQ(1, right.projectionDirection(MathVector{1, 500}));
  EXPECT_EQ(-1, right.projectionDirection(MathVector{-1, 500}));
  EXPECT_EQ(0, right.projectionDirection(MathVector{0, 500}));
  EXPECT_EQ(0, (MathVector{3, 4}.projectionDirection(MathVector{4, -3})));
  EXPECT_EQ(1, (MathVector{3, 4}.projectionDirection(MathVector{4, -2})));
}

TEST(MathVector, ProjectionDirectionOfLongVectorsKeepsItsSign) {
  const MathVector corner{-32768, -32768};
  EXPECT_EQ(1, corner.projectionDirection(corner));
  EXPECT_EQ(-1, corner.projectionDirection(MathVector{32767, 32767}));
}

TEST(MathVector, ProjectionDirectionAgreesWithSixtyFourBitArithmetic) {
  std::mt19937 random(2);
  std::uniform_int_distribution<int> coordinate(-32768, 32767);
  const auto next = [&] { return static_cast<std::int16_t>(coordinate(random)); };
  for (int i = 0; i < 2000; ++i) {
    const MathVector a{next(), next()};
    const MathVector b{next(), next()};
    const std::int64_t dot = std::int64_t{a.x} * b.x + std::int64_t{a.y} * b.y;
    EXPECT_EQ((dot > 0) - (dot < 0), a.projectionDirection(b));
  }
}

TEST(MathVector, OrthogonalVectorIsTurnedCounterClockwise) {
  EXPECT_EQ((MathVector{0, 1}), (MathVector{1, 0}.createOrthogonalVector()));
  EXPECT_EQ((MathVector{-1, 0}), (MathVector{0, 1}.createOrthogonalVector()));
  EXPECT_EQ((MathVector{-7, 3}), (MathVector{3, 7}.createOrthogonalVector()));
  EXPECT_EQ((MathVector{7, -3}), (MathVector{-3, -7}.createOrthogonalVector()));
}

}  // namespace
