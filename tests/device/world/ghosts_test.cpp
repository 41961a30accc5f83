#include "world/ghosts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <vector>

#include "world/silhouette.h"

namespace device {
namespace {

OverviewCamera camera() {
  OverviewCameraSetup setup;
  setup.position = {0, 0, 5};
  setup.tilt = -25;
  setup.horizontalFov = 100;
  return OverviewCamera(setup);
}

GhostSetup tree() {
  return {.kind = GhostKind::tree,
          .middle = {0, 12},
          .width = 3,
          .length = 4,
          .turn = 0,
          .perMinute = 6,
          .seconds = 4};
}

TEST(GhostsTest, TheyComeAsOftenAsTold) {
  const Ghosts ghosts({tree()}, 1);
  const OverviewCamera seenBy = camera();
  std::set<int> ids;
  int pictures = 0;
  for (int i = 0; i < 100000; ++i) {
    for (const Ghost& ghost : ghosts.at(seenBy, i * 0.1)) {
      EXPECT_LT(ghost.id, 0);
      ids.insert(ghost.id);
      ++pictures;
    }
  }
  // In 10000 s; each is seen for 4 s.
  EXPECT_NEAR(static_cast<double>(ids.size()), 1000, 80);
  EXPECT_NEAR(pictures / static_cast<double>(ids.size()), 40, 1);
}

// A tree of 4 m at 12 m, seen from 5 m: its middle sways by 0.15 of its length to either side.
TEST(GhostsTest, ATreeSwaysWhereItStands) {
  GhostSetup always = tree();
  always.perMinute = 60 / always.seconds;
  const Ghosts ghosts({always}, 1);
  double left = 9;
  double right = -9;
  for (int i = 0; i < 2000; ++i) {
    for (const Ghost& ghost : ghosts.at(camera(), 10 + i * 0.05)) {
      const PictureBox box = boxOf(ghost.outline);
      left = std::min(left, (box.low.x + box.high.x) / 2);
      right = std::max(right, (box.low.x + box.high.x) / 2);
    }
  }
  const auto there = camera().project({0.6, 12, 2});
  ASSERT_TRUE(there);
  EXPECT_NEAR(right, there->x, 0.01);
  EXPECT_NEAR(left, -there->x, 0.01);
}

TEST(GhostsTest, HeadlightsCrossTheGround) {
  const Ghosts ghosts({{.kind = GhostKind::headlights,
                        .middle = {-8, 15},
                        .width = 2,
                        .length = 4,
                        .turn = 90,
                        .perMinute = 12,
                        .seconds = 5}},
                      1);
  std::set<double> speeds;
  for (double time = 20; time < 60; time += 0.1) {
    for (const Ghost& ghost : ghosts.at(camera(), time)) {
      const double depth = 15 * std::cos(toRadians(25)) + 5 * std::sin(toRadians(25));
      EXPECT_NEAR(ghost.velocity.x, 8 / depth / std::tan(toRadians(50)), 1e-6);
      EXPECT_NEAR(ghost.velocity.y, 0, 1e-6);
      speeds.insert(ghost.velocity.x);
    }
  }
  EXPECT_FALSE(speeds.empty());
}

// 4 m across and 6 m long, 15 m in front of the mast: it goes to the right on the ground, by 1.5 m
// a second, and is as long from left to right.
TEST(GhostsTest, AShadowDriftsOverTheGround) {
  const Ghosts ghosts({{.kind = GhostKind::shadow,
                        .middle = {-4, 15},
                        .width = 4,
                        .length = 6,
                        .turn = 90,
                        .perMinute = 12,
                        .seconds = 5}},
                      1);
  const double depth = 15 * std::cos(toRadians(25)) + 5 * std::sin(toRadians(25));
  const double metre =
      1 / depth / std::tan(toRadians(50));  // in the picture, at the middle's depth
  std::map<int, std::vector<double>> lefts;
  for (double time = 20; time < 60; time += 0.1) {
    for (const Ghost& ghost : ghosts.at(camera(), time)) {
      EXPECT_NEAR(ghost.velocity.x, 1.5 * metre, 1e-6);
      EXPECT_NEAR(ghost.velocity.y, 0, 1e-6);
      const PictureBox box = boxOf(ghost.outline);
      EXPECT_NEAR(box.high.x - box.low.x, 6 * metre, 0.02 * 6 * metre);
      lefts[ghost.id].push_back(box.low.x);
    }
  }
  ASSERT_GE(lefts.size(), 4U);
  for (const auto& [id, places] : lefts) {
    const double seconds = 0.1 * static_cast<double>(places.size() - 1);
    EXPECT_NEAR(places.back() - places.front(), 1.5 * seconds * metre, 0.02) << id;
  }
}

TEST(GhostsTest, TheSeedDecidesWhen) {
  const auto count = [](std::uint64_t seed) {
    const Ghosts ghosts({tree()}, seed);
    std::vector<bool> seen;
    for (int i = 0; i < 1000; ++i) {
      seen.push_back(!ghosts.at(camera(), i * 0.1).empty());
    }
    return seen;
  };
  EXPECT_EQ(count(1), count(1));
  EXPECT_NE(count(1), count(2));
}

// Straight but for the time in which it is a ghost: then its middle is beside its place.
TEST(GhostsTest, TreesAreSeenAlwaysAndSwayAsGhosts) {
  const Ghosts ghosts({tree()}, 1);
  int swaying = 0;
  for (int i = 0; i < 1000; ++i) {
    const double time = 10 + i * 0.1;
    const std::vector<GhostFigure> figures = ghosts.figures(camera(), time);
    ASSERT_EQ(1U, figures.size());
    EXPECT_EQ(GhostKind::tree, figures[0].kind);
    const std::vector<Ghost> seen = ghosts.at(camera(), time);
    if (seen.empty()) {
      EXPECT_EQ(0, figures[0].middle.x);
    } else {
      EXPECT_EQ(seen.back().outline[0].x, figures[0].outline[0].x);
      swaying += std::abs(figures[0].middle.x) > 0.1 ? 1 : 0;
    }
  }
  EXPECT_GT(swaying, 100);
}

TEST(GhostsTest, ShadowsAndHeadlightsAreSeenOnlyAsGhosts) {
  for (const GhostKind kind : {GhostKind::shadow, GhostKind::headlights}) {
    GhostSetup setup = tree();
    setup.kind = kind;
    const Ghosts ghosts({setup}, 1);
    for (int i = 0; i < 1000; ++i) {
      const double time = 10 + i * 0.1;
      EXPECT_EQ(ghosts.at(camera(), time).empty(), ghosts.figures(camera(), time).empty()) << time;
    }
  }
}

}  // namespace
}  // namespace device
