#include "world/silhouette.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace device {
namespace {

OverviewCamera cameraOf(double fov = 36) {
  OverviewCameraSetup setup;
  setup.position = {0, 0, 9};
  setup.tilt = -11.5;
  setup.horizontalFov = fov;
  return OverviewCamera(setup);
}

Person personAt(double x, double y, GroundPoint velocity = {}) {
  return {1, {x, y}, velocity};
}

double areaOf(const std::vector<PicturePoint>& outline) {
  double twice = 0;
  for (std::size_t i = 0; i < outline.size(); ++i) {
    const PicturePoint& a = outline[i];
    const PicturePoint& b = outline[(i + 1) % outline.size()];
    twice += a.x * b.y - b.x * a.y;
  }
  return twice / 2;
}

// Seen from 9 m above, a person 40 m away spans atan(9/40) - atan(7.25/40) = 12.681 - 10.273
// degrees and 2 * atan(0.25 / 40.8) across.
TEST(SilhouetteTest, APersonHasItsAngularSize) {
  const OverviewCamera camera = cameraOf();
  const std::optional<Silhouette> seen = silhouetteOf(camera, personAt(0, 40));
  ASSERT_TRUE(seen);
  const double top = camera.lineOfSight({0, seen->box.high.y}).tilt;
  const double bottom = camera.lineOfSight({0, seen->box.low.y}).tilt;
  EXPECT_NEAR(top, -10.273, 0.005);
  EXPECT_NEAR(bottom, -12.681, 0.005);
  const double pixels = seen->box.width() / 2 * 1920;
  EXPECT_NEAR(pixels, 0.5 / 40.8 * (960 / std::tan(toRadians(18))), 0.5);
}

TEST(SilhouetteTest, OutlineIsASimpleShapeOfABody) {
  const std::optional<Silhouette> seen = silhouetteOf(cameraOf(), personAt(5, 38));
  ASSERT_TRUE(seen);
  EXPECT_GE(seen->outline.size(), FEWEST_VERTICES);
  EXPECT_LE(seen->outline.size(), MOST_VERTICES);
  // A body fills some six to nine tenths of its box.
  const double share = areaOf(seen->outline) / seen->box.area();
  EXPECT_GT(share, 0.6);
  EXPECT_LT(share, 0.9);
}

TEST(SilhouetteTest, FullWidthFromEverySide) {
  OverviewCameraSetup setup;
  setup.position = {0, 0, 9};
  setup.tilt = -11.5;
  setup.horizontalFov = 36;
  for (const double pan : {0.0, 45.0, 90.0, 180.0, -100.0}) {
    setup.pan = pan;
    const Person person = personAt(40 * std::sin(toRadians(pan)), 40 * std::cos(toRadians(pan)));
    const std::optional<Silhouette> seen = silhouetteOf(OverviewCamera(setup), person);
    ASSERT_TRUE(seen);
    EXPECT_NEAR(seen->box.width() / 2 * 1920, 36.2, 0.5) << pan;
    EXPECT_NEAR(seen->box.low.x + seen->box.high.x, 0, 1e-9) << pan;
  }
}

TEST(SilhouetteTest, VelocityIsThatOfThePicture) {
  const OverviewCamera camera = cameraOf();
  const std::optional<Silhouette> seen = silhouetteOf(camera, personAt(0, 40, {1.5, 0}));
  const double distance = std::hypot(40, 9 - 0.875);
  const double expected = 1.5 / (distance * std::cos(toRadians(0.018))) / std::tan(toRadians(18));
  EXPECT_NEAR(seen->velocity.x, expected, 0.001);
  EXPECT_NEAR(seen->velocity.y, 0, 1e-4);
  EXPECT_GT(silhouetteOf(camera, personAt(0, 40, {0, 1.5}))->velocity.y, 0);  // going away is up
  EXPECT_LT(silhouetteOf(camera, personAt(0, 40, {0, -1.5}))->velocity.y, 0);
}

TEST(SilhouetteTest, CutAtTheEdge) {
  const OverviewCamera camera = cameraOf();
  // Walk out to the right: the box ends at the edge and gets narrower, then nothing is left.
  double width = 1;
  bool wasCut = false;
  bool wasLost = false;
  for (double x = 12; x < 15; x += 0.05) {
    const std::optional<Silhouette> seen = silhouetteOf(camera, personAt(x, 40));
    wasLost = wasLost || !seen;
    ASSERT_EQ(seen.has_value(), !wasLost);
    if (!seen) {
      continue;
    }
    ASSERT_LE(seen->box.high.x, 1);
    if (seen->box.high.x == 1) {
      wasCut = true;
      EXPECT_LE(seen->box.width(), width);
      width = seen->box.width();
    }
  }
  EXPECT_TRUE(wasCut);
  EXPECT_TRUE(wasLost);
}

TEST(SilhouetteTest, NobodyBehindTheCameraOrUnderIt) {
  EXPECT_FALSE(silhouetteOf(cameraOf(), personAt(0, -40)));
  EXPECT_FALSE(silhouetteOf(cameraOf(), personAt(0, 0)));
}

TEST(ClippingTest, WhatLiesInsideStays) {
  const std::vector<PicturePoint> inside{{-0.5, -0.5}, {0.5, -0.5}, {0, 1}};
  const std::vector<PicturePoint> clipped = clippedToPicture(inside);
  ASSERT_EQ(clipped.size(), 3u);
  EXPECT_DOUBLE_EQ(areaOf(clipped), 0.75);
}

TEST(ClippingTest, ACornerIsCut) {
  const std::vector<PicturePoint> square{{0, 0}, {2, 0}, {2, 2}, {0, 2}};
  const std::vector<PicturePoint> clipped = clippedToPicture(square);
  EXPECT_DOUBLE_EQ(areaOf(clipped), 1);
  EXPECT_DOUBLE_EQ(boxOf(clipped).high.x, 1);
}

TEST(ClippingTest, NothingIsLeftOfWhatLiesOutside) {
  const std::vector<PicturePoint> square{{1.5, 0}, {2, 0}, {2, 2}, {1.5, 2}};
  EXPECT_TRUE(clippedToPicture(square).empty());
}

TEST(ClippingTest, AShapeAroundThePictureBecomesThePicture) {
  const std::vector<PicturePoint> square{{-3, -3}, {3, -3}, {3, 3}, {-3, 3}};
  EXPECT_NEAR(areaOf(clippedToPicture(square)), 4, 1e-12);
}

TEST(OverlapTest, ByHand) {
  const PictureBox a{{0, 0}, {2, 2}};
  EXPECT_DOUBLE_EQ(overlap(a, {{1, 0}, {3, 2}}), 0.5);
  EXPECT_DOUBLE_EQ(overlap(a, {{0.5, 0.5}, {1, 1}}), 1);  // one within the other
  EXPECT_DOUBLE_EQ(overlap(a, {{2, 0}, {3, 2}}), 0);      // side by side
  EXPECT_DOUBLE_EQ(overlap(a, {{5, 5}, {6, 6}}), 0);
}

TEST(HullTest, ByHand) {
  const std::vector<PicturePoint> hull =
      hullOf({{0, 0}, {1, 1}, {2, 0}, {2, 2}, {0, 2}, {1, 0}, {1.5, 0.5}});
  EXPECT_EQ(hull.size(), 4u);
  EXPECT_DOUBLE_EQ(areaOf(hull), 4);
}

// No point lies outside, and no corner points inwards.
TEST(HullTest, RandomPoints) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> anywhere(-1, 1);
  for (int round = 0; round < 50; ++round) {
    std::vector<PicturePoint> points;
    for (int i = 0; i < 40; ++i) {
      points.push_back({anywhere(random), anywhere(random)});
    }
    const std::vector<PicturePoint> hull = hullOf(points);
    for (std::size_t i = 0; i < hull.size(); ++i) {
      const PicturePoint& a = hull[i];
      const PicturePoint& b = hull[(i + 1) % hull.size()];
      for (const PicturePoint& p : points) {
        ASSERT_GE((b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x), -1e-12);
      }
    }
  }
}

TEST(FitCountTest, ShortOutlinesGetMoreVerticesOnTheirEdges) {
  const std::vector<PicturePoint> outline = withFitCount({{0, 0}, {4, 0}, {4, 1}});
  EXPECT_EQ(outline.size(), FEWEST_VERTICES);
  EXPECT_DOUBLE_EQ(areaOf(outline), 2);
}

TEST(FitCountTest, LongOutlinesLoseWhatTellsLeast) {
  std::vector<PicturePoint> square{{0, 0}, {0, 2}, {2, 2}, {2, 0}};
  for (int i = 1; i < 40; ++i) {
    square.insert(square.end(), {2 - 0.05 * i, 0});
  }
  const std::vector<PicturePoint> outline = withFitCount(square);
  EXPECT_EQ(outline.size(), MOST_VERTICES);
  EXPECT_NEAR(std::abs(areaOf(outline)), 4, 1e-9);
}

}  // namespace
}  // namespace device
