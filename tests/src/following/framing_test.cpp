#include "following/framing.h"

#include <gtest/gtest.h>

#include <cmath>

namespace following {
namespace {

const Lens LENS{63.4, 2.5, 16.0 / 9.0};

Subject person(double height, double deviation = 0.0) {
  Subject subject;
  subject.height = height;
  subject.width = 0.3 * height;
  subject.deviation = deviation;
  return subject;
}

TEST(FramingTest, PersonFillsElevenTwentiethsOfTheHeight) {
  const double size = (std::atan2(5.0, 6.3246) - std::atan2(3.3, 6.3246)) * 180.0 / M_PI;
  EXPECT_NEAR(size, 10.774, 5e-4);
  const double m = fillingMagnification(LENS, 0.0, size);
  EXPECT_NEAR(m, 1.870, 5e-4);
  EXPECT_NEAR(LENS.fieldAt(m), 33.904, 5e-3);
}

// 63.4 / (2 x 16/9 x (5 + 0.8 x 2 + 0.4)).
TEST(FramingTest, RoomIsLeftForErrorAndUncertainty) {
  EXPECT_NEAR(roomyMagnification(LENS, 0.0, 10.0, 2.0, 0.4), 63.4 / (2 * 16.0 / 9.0 * 7.0), 1e-9);
}

TEST(FramingTest, WideGroupIsHeldByItsWidth) {
  EXPECT_NEAR(fillingMagnification(LENS, 40.0, 5.0),
              63.4 / (2.0 * std::atan(std::tan(20.0 * M_PI / 180.0) / 0.8) * 180.0 / M_PI), 1e-9);
  EXPECT_NEAR(roomyMagnification(LENS, 40.0, 5.0, 1.0, 0.2), 63.4 / (2.0 * 21.0), 1e-9);
}

TEST(FramingTest, ErrorIsForgottenWithinHalfASecond) {
  Framing framing(LENS);
  framing.step(0.05, person(1.0), 10.0, 0.0);
  const double wide = framing.asked();
  for (int i = 0; i < 10; ++i) {
    framing.step(0.05, person(1.0), 0.0, 0.0);
  }
  // E = 10 exp(-0.5 / 0.5).
  const double expected = roomyMagnification(LENS, 0.3, 1.0, 10.0 * std::exp(-1.0), 0.0);
  EXPECT_NEAR(framing.asked(), expected, 0.06 * expected);
  EXPECT_GT(framing.asked(), wide);
}

TEST(FramingTest, SmallChangesAreNotAskedFor) {
  Framing framing(LENS);
  framing.reset(10.0);
  const auto sizeFor = [](double magnification) {
    const double half = 63.4 / magnification / 2.0 * M_PI / 180.0;
    return 2.0 * std::atan(0.55 * std::tan(half) / (16.0 / 9.0)) * 180.0 / M_PI;
  };
  EXPECT_FALSE(framing.step(0.05, person(sizeFor(10.5)), 0.0, 0.0));
  EXPECT_FALSE(framing.step(0.05, person(sizeFor(9.7)), 0.0, 0.0));
  const auto in = framing.step(0.05, person(sizeFor(10.7)), 0.0, 0.0);
  ASSERT_TRUE(in);
  EXPECT_NEAR(*in, 10.7, 1e-9);
  framing.reset(10.0);
  const auto out = framing.step(0.05, person(sizeFor(9.5)), 0.0, 0.0);
  ASSERT_TRUE(out);
  EXPECT_NEAR(*out, 9.5, 1e-9);
}

TEST(FramingTest, NeverGoesInAfterAGap) {
  Framing framing(LENS);
  framing.reset(3.0);
  EXPECT_FALSE(framing.step(0.05, person(1.0), 0.0, 1.6));
  EXPECT_EQ(framing.asked(), 3.0);
  EXPECT_TRUE(framing.step(0.05, person(1.0, 8.0), 0.0, 1.6)) << "but out";
  EXPECT_LT(framing.asked(), 3.0);
  EXPECT_FALSE(framing.step(0.05, person(1.0), 0.0, std::nan("")));
  EXPECT_TRUE(framing.step(0.05, person(1.0), 0.0, 1.4));
}

TEST(FramingTest, StaysWithinTheLens) {
  Framing framing(LENS);
  framing.step(0.05, person(1e-6), 0.0, 0.0);
  EXPECT_NEAR(framing.asked(), 63.4 / 2.5, 1e-9);
  EXPECT_NEAR(framing.position(), 1.0, 1e-12);
  framing.step(0.05, person(120.0), 90.0, 0.0);
  EXPECT_EQ(framing.asked(), 1.0);
  EXPECT_EQ(framing.position(), 0.0);
  framing.reset(9.0);
  EXPECT_NEAR(framing.position(), 8.0 / 24.36, 1e-9);
}

TEST(FramingTest, NumbersThatAreNotFiniteChangeNothing) {
  Framing framing(LENS);
  framing.reset(4.0);
  EXPECT_FALSE(framing.step(0.05, person(std::nan("")), 0.0, 0.0));
  EXPECT_FALSE(framing.step(0.05, person(1.0, std::nan("")), 0.0, 0.0));
  EXPECT_EQ(framing.asked(), 4.0);
  framing.step(0.05, person(1.0), std::nan(""), 0.0);
  EXPECT_TRUE(std::isfinite(framing.asked()));
  framing.reset(std::nan(""));
  EXPECT_EQ(framing.asked(), 1.0);
}

}  // namespace
}  // namespace following
