#include "ptz/zoom_scale.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

// Twofold magnification over positions 0 to 100.
ZoomScale simpleScale() {
  ZoomScale scale;
  scale.minFieldAngle = 30.0;
  scale.maxFieldAngle = 60.0;
  scale.minZoom = 0;
  scale.maxZoom = 100;
  return scale;
}

TEST(ZoomScaleTest, Defaults) {
  const ZoomScale scale;
  EXPECT_EQ(scale.minFieldAngle, 2.5);
  EXPECT_EQ(scale.maxFieldAngle, 64.6);
  EXPECT_EQ(scale.minZoom, 1);
  EXPECT_EQ(scale.maxZoom, 9999);
  EXPECT_EQ(scale.zoomCorrection, 1.0);
}

TEST(ZoomScaleTest, PositionsBecomeMagnifications) {
  EXPECT_DOUBLE_EQ(simpleScale().zoomTravoToMultiplier(0), 1.0);
  EXPECT_DOUBLE_EQ(simpleScale().zoomTravoToMultiplier(25), 1.25);
  EXPECT_DOUBLE_EQ(simpleScale().zoomTravoToMultiplier(100), 2.0);
}

TEST(ZoomScaleTest, TheDivisorIsTheGreatestPositionNotTheRange) {
  ZoomScale scale = simpleScale();
  scale.minZoom = 20;
  EXPECT_DOUBLE_EQ(scale.zoomTravoToMultiplier(100), 1.8);
  EXPECT_EQ(scale.zoomMultiplierToTravo(1.5), 70);
}

TEST(ZoomScaleTest, TheCorrectionIsOfWhatTheHeadReportsOnly) {
  ZoomScale scale = simpleScale();
  scale.zoomCorrection = 0.5;
  EXPECT_DOUBLE_EQ(scale.zoomTravoToMultiplier(100), 1.5);
  EXPECT_EQ(scale.zoomMultiplierToTravo(1.5), 50);
}

TEST(ZoomScaleTest, MagnificationsBecomePositionsTruncated) {
  EXPECT_EQ(simpleScale().zoomMultiplierToTravo(1.0), 0);
  EXPECT_EQ(simpleScale().zoomMultiplierToTravo(1.128), 12);
  EXPECT_EQ(simpleScale().zoomMultiplierToTravo(6.0), 500);
  // 9999 * 4 / (64.6 / 2.5 - 1) + 1 = 1611.14...
  EXPECT_EQ(ZoomScale().zoomMultiplierToTravo(5.0), 1611);
}

TEST(ZoomScaleTest, EqualFieldAnglesGiveNoMagnification) {
  ZoomScale scale = simpleScale();
  scale.minZoom = 3;
  scale.minFieldAngle = 60.0;
  EXPECT_EQ(scale.zoomTravoToMultiplier(50), 1.0);
  EXPECT_EQ(scale.zoomMultiplierToTravo(2.0), 3);
}

TEST(ZoomScaleTest, AScaleWithoutPositionsGivesNoMagnification) {
  ZoomScale scale = simpleScale();
  scale.minZoom = 3;
  scale.maxZoom = 0;
  EXPECT_EQ(scale.zoomTravoToMultiplier(50), 1.0);
  EXPECT_EQ(scale.zoomMultiplierToTravo(2.0), 3);
}

TEST(ZoomScaleTest, AHeadThatTellsNoFieldAnglesGivesNoMagnification) {
  ZoomScale scale = simpleScale();
  scale.minZoom = 3;
  scale.minFieldAngle = 0.0;
  scale.maxFieldAngle = 0.0;
  EXPECT_EQ(scale.zoomTravoToMultiplier(50), 1.0);
  EXPECT_EQ(scale.zoomMultiplierToTravo(2.0), 3);
}

}  // namespace
