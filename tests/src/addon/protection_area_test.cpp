#include "addon/libs/vigil_pack_lib/filters/protection_area.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "src/addon/objects.h"

namespace {

using enum AreaStatus_e;

struct Rectangle {
  int minX;
  int maxX;
  int minY;
  int maxY;

  Polygon polygon() const { return Polygon(minX, maxX, minY, maxY); }
  bool covers(double x, double y) const { return minX < x && x < maxX && minY < y && y < maxY; }
};

AreaStatus_e check(const ProtectionArea& area, const Polygon& outline) {
  const TrackingObject object = tracked(Observation{}.of(outline));
  return area.checkObject(object);
}

TEST(ProtectionAreaTest, StatusesHaveTheirNumbers) {
  EXPECT_EQ(static_cast<int>(inside), 0);
  EXPECT_EQ(static_cast<int>(outside), 1);
  EXPECT_EQ(static_cast<int>(excluded), 2);
}

TEST(ProtectionAreaTest, AnObjectWithAPartInTheAreaIsInside) {
  const ProtectionArea area(Polygon(0, 1000, 0, 1000));
  EXPECT_EQ(check(area, Polygon(100, 200, 100, 200)), inside);
  EXPECT_EQ(check(area, Polygon(-500, 10, 100, 200)), inside);
  EXPECT_EQ(check(area, Polygon(-500, 2000, -500, 2000)), inside);
}

TEST(ProtectionAreaTest, AnObjectWhollyOutsideIsOutside) {
  const ProtectionArea area(Polygon(0, 1000, 0, 1000));
  EXPECT_EQ(check(area, Polygon(1001, 1200, 100, 200)), outside);
  EXPECT_EQ(check(area, Polygon(100, 200, -300, -1)), outside);
}

TEST(ProtectionAreaTest, TouchingWithoutAreaIsExcluded) {
  const ProtectionArea area(Polygon(0, 1000, 0, 1000));
  EXPECT_EQ(check(area, Polygon(1000, 1200, 100, 200)), excluded);
  EXPECT_EQ(check(area, Polygon(300, 500, -200, 0)), excluded);
}

TEST(ProtectionAreaTest, TheNotchOfAConcaveAreaIsOutside) {
  const ProtectionArea area(polygonOf({{0, 0},
                                       {3000, 0},
                                       {3000, 3000},
                                       {2000, 3000},
                                       {2000, 1000},
                                       {1000, 1000},
                                       {1000, 3000},
                                       {0, 3000}}));
  EXPECT_EQ(check(area, Polygon(1200, 1800, 1500, 2500)), outside);
  EXPECT_EQ(check(area, Polygon(1200, 2100, 1500, 2500)), inside);
}

TEST(ProtectionAreaTest, AnObjectThatCrossesTheAreaOnlyWhereItIsExcludedIsExcluded) {
  ProtectionArea area(Polygon(0, 1000, 0, 1000));
  area.addExcludeArea(Polygon(-100, 300, -100, 1100));
  EXPECT_EQ(check(area, Polygon(-500, 250, 100, 200)), excluded);
  EXPECT_EQ(check(area, Polygon(50, 250, 100, 200)), excluded);
}

TEST(ProtectionAreaTest, AnObjectThatAlsoReachesAnotherPartIsInside) {
  ProtectionArea area(Polygon(0, 1000, 0, 1000));
  area.addExcludeArea(Polygon(-100, 300, -100, 1100));
  EXPECT_EQ(check(area, Polygon(-500, 310, 100, 200)), inside);
}

TEST(ProtectionAreaTest, OutsideTheAreaExcludeAreasDoNotMatter) {
  ProtectionArea area(Polygon(0, 1000, 0, 1000));
  area.addExcludeArea(Polygon(2000, 3000, 0, 1000));
  EXPECT_EQ(check(area, Polygon(2100, 2200, 100, 200)), outside);
  EXPECT_EQ(check(area, Polygon(100, 200, 100, 200)), inside);
}

TEST(ProtectionAreaTest, SeveralExcludeAreasCoverTogether) {
  ProtectionArea area(Polygon(-2000, 2000, -2000, 2000));
  area.addExcludeArea(Polygon(-1000, 105, -1000, 1000));
  area.addExcludeArea(Polygon(95, 1000, -1000, 105));
  const Polygon object(-500, 500, -500, 500);
  EXPECT_EQ(check(area, object), inside);
  area.addExcludeArea(Polygon(90, 1000, 100, 1000));
  EXPECT_EQ(check(area, object), excluded);
}

TEST(ProtectionAreaTest, OfAnObjectThatIsCutIntoPiecesOneFreePieceIsEnough) {
  // A comb of two teeth: the object across both has two pieces inside.
  ProtectionArea area(polygonOf({{0, 0},
                                 {3000, 0},
                                 {3000, 3000},
                                 {2000, 3000},
                                 {2000, 1000},
                                 {1000, 1000},
                                 {1000, 3000},
                                 {0, 3000}}));
  const Polygon across(-500, 3500, 1500, 2500);
  area.addExcludeArea(Polygon(-600, 1600, 1100, 2900));
  EXPECT_EQ(check(area, across), inside);
  area.addExcludeArea(Polygon(1700, 3600, 1100, 2900));
  EXPECT_EQ(check(area, across), excluded);
}

TEST(ProtectionAreaTest, AConcaveExcludeAreaLeavesItsNotchFree) {
  ProtectionArea area(Polygon(-4000, 4000, -4000, 4000));
  area.addExcludeArea(polygonOf({{0, 0},
                                 {3000, 0},
                                 {3000, 3000},
                                 {2000, 3000},
                                 {2000, 1000},
                                 {1000, 1000},
                                 {1000, 3000},
                                 {0, 3000}}));
  EXPECT_EQ(check(area, Polygon(1200, 1800, 1500, 2500)), inside);
  EXPECT_EQ(check(area, Polygon(200, 800, 1500, 2500)), excluded);
  EXPECT_EQ(check(area, Polygon(500, 2500, 100, 900)), excluded);
  EXPECT_EQ(check(area, Polygon(500, 1500, 500, 1500)), inside);
}

TEST(ProtectionAreaTest, AnExcludeAreaInTheMiddleOfAnObjectDoesNotHideIt) {
  ProtectionArea area(Polygon(-4000, 4000, -4000, 4000));
  area.addExcludeArea(Polygon(-100, 100, -100, 100));
  EXPECT_EQ(check(area, Polygon(-500, 500, -500, 500)), inside);
}

TEST(ProtectionAreaTest, WithoutExcludeAreasNothingIsExcluded) {
  const ProtectionArea area(Polygon(0, 1000, 0, 1000));
  EXPECT_FALSE(area.isExcluded(Polygon(0, 10, 0, 10)));
}

TEST(ProtectionAreaTest, APieceAsLargeAsAnExcludeAreaIsExcluded) {
  ProtectionArea area(Polygon(0, 1000, 0, 1000));
  area.addExcludeArea(Polygon(100, 200, 100, 200));
  EXPECT_TRUE(area.isExcluded(Polygon(100, 200, 100, 200)));
  EXPECT_TRUE(area.isExcluded(Polygon(120, 180, 120, 180)));
  EXPECT_FALSE(area.isExcluded(Polygon(90, 210, 90, 210)));
  EXPECT_FALSE(area.isExcluded(Polygon(300, 400, 300, 400)));
}

TEST(ProtectionAreaTest, RandomRectanglesAreJudgedByTheAreaThatIsLeft) {
  std::mt19937 random(1234);
  // All edges lie apart, so that nothing merely touches.
  const auto randomRectangle = [&](int residue, int largestSize) {
    std::uniform_int_distribution<int> places(-200, 150);
    std::uniform_int_distribution<int> sizes(5, largestSize);
    const int x = places(random);
    const int y = places(random);
    return Rectangle{x * 8 + residue, (x + sizes(random)) * 8 + residue, y * 8 + residue,
                     (y + sizes(random)) * 8 + residue};
  };
  int counts[3] = {0, 0, 0};
  for (int run = 0; run < 3000; ++run) {
    const Rectangle include = randomRectangle(0, 250);
    const Rectangle outline = randomRectangle(1, 60);
    std::vector<Rectangle> excludes;
    for (int i = 0; i < run % 4; ++i) {
      excludes.push_back(randomRectangle(2 + i, 250));
    }

    // One sample in each cell of the grid that all edges make.
    std::vector<double> xs{};
    std::vector<double> ys{};
    std::vector<Rectangle> all = excludes;
    all.push_back(include);
    all.push_back(outline);
    for (const Rectangle& rectangle : all) {
      xs.insert(xs.end(), {rectangle.minX + 0.5, rectangle.maxX - 0.5});
      ys.insert(ys.end(), {rectangle.minY + 0.5, rectangle.maxY - 0.5});
      xs.insert(xs.end(), {rectangle.minX - 0.5, rectangle.maxX + 0.5});
      ys.insert(ys.end(), {rectangle.minY - 0.5, rectangle.maxY + 0.5});
    }
    AreaStatus_e expected = outside;
    for (const double x : xs) {
      for (const double y : ys) {
        if (!include.covers(x, y) || !outline.covers(x, y)) {
          continue;
        }
        const bool free = std::none_of(excludes.begin(), excludes.end(),
                                       [&](const Rectangle& e) { return e.covers(x, y); });
        if (free) {
          expected = inside;
        }
        if (expected == outside) {
          expected = excluded;
        }
      }
    }

    ProtectionArea area(include.polygon());
    for (const Rectangle& exclude : excludes) {
      area.addExcludeArea(exclude.polygon());
    }
    ASSERT_EQ(check(area, outline.polygon()), expected) << "run " << run;
    ++counts[static_cast<int>(expected)];
  }
  for (const int count : counts) {
    EXPECT_GT(count, 20);
  }
}

TEST(ProtectionAreaTest, DrawsTheIncludeArea) {
  const ProtectionArea area(polygonOf({{0, 0}, {0, 4096}, {-2048, 1024}}));
  EXPECT_EQ(area.toStringSvg("fill:red;"),
            "<polygon class=\"includeArea\" points=\" 0.000,0.000 0.000,1.000 -0.500,0.250\""
            " style=\"fill:red;\"  />\n");
}

}  // namespace
