#include "head/zoom_curve.h"

#include <gtest/gtest.h>

#include <cmath>

namespace device {
namespace {

constexpr double WIDEST = 64;
constexpr double NARROWEST = 4;  // 16 fold

double at(const ZoomCurve& curve, double position) {
  return magnificationAt(curve, position, WIDEST, NARROWEST);
}

TEST(ZoomCurveTest, LinearGrowsEvenly) {
  EXPECT_DOUBLE_EQ(at({}, 0), 1);
  EXPECT_DOUBLE_EQ(at({}, 0.5), 8.5);
  EXPECT_DOUBLE_EQ(at({}, 1), 16);
}

TEST(ZoomCurveTest, PowerBendsTheLine) {
  const ZoomCurve curve{.kind = ZoomCurveKind::power, .exponent = 2, .table = {}};
  EXPECT_DOUBLE_EQ(at(curve, 0), 1);
  EXPECT_DOUBLE_EQ(at(curve, 0.5), 1 + 15 * 0.25);
  EXPECT_DOUBLE_EQ(at(curve, 1), 16);
}

TEST(ZoomCurveTest, LogarithmicMagnifiesByEqualFactors) {
  const ZoomCurve curve{.kind = ZoomCurveKind::logarithmic, .exponent = 1, .table = {}};
  EXPECT_DOUBLE_EQ(at(curve, 0), 1);
  EXPECT_DOUBLE_EQ(at(curve, 0.25), 2);
  EXPECT_DOUBLE_EQ(at(curve, 0.5), 4);
  EXPECT_DOUBLE_EQ(at(curve, 1), 16);
}

TEST(ZoomCurveTest, ATableIsTheHeadsOwn) {
  const ZoomCurve curve{
      .kind = ZoomCurveKind::table, .exponent = 1, .table = {{0, 60}, {0.4, 30}, {1, 5}}};
  EXPECT_DOUBLE_EQ(at(curve, 0), 1);
  EXPECT_DOUBLE_EQ(at(curve, 0.2), std::sqrt(2));
  EXPECT_DOUBLE_EQ(at(curve, 0.4), 2);
  EXPECT_DOUBLE_EQ(at(curve, 0.7), 2 * std::sqrt(6));
  EXPECT_DOUBLE_EQ(at(curve, 1), 12);
}

}  // namespace
}  // namespace device
