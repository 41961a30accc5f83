#include "geometry/polyline.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <span>
#include <vector>

#include "fakes/log_capture.h"
#include "geometry/polygon.h"

namespace {

using Points = std::vector<Point>;

const Polygon SQUARE(-100, 100, -100, 100);

TEST(Polyline, KeepsItsPointsInOrder) {
  const Points points = {{3, 4}, {-1, 2}, {3, 4}};
  EXPECT_EQ(points, Polyline(points).getPoints());
  EXPECT_EQ(points, Polyline(std::span<const Point>(points)).getPoints());
  EXPECT_EQ(3u, Polyline(points).size());
  EXPECT_EQ(0u, Polyline().size());
}

TEST(Polyline, EqualityComparesElementByElement) {
  const Polyline line(Points{{0, 0}, {1, 1}, {2, 0}});
  EXPECT_TRUE(line == Polyline(Points{{0, 0}, {1, 1}, {2, 0}}));
  EXPECT_TRUE(line != Polyline(Points{{2, 0}, {1, 1}, {0, 0}}));
  EXPECT_TRUE(line != Polyline(Points{{0, 0}, {1, 1}}));
  EXPECT_TRUE(line != Polyline(Points{{0, 0}, {1, 1}, {2, 1}}));
  EXPECT_TRUE(Polyline() == Polyline());
}

TEST(Polyline, CloneIsEqualAndSeparate) {
  const Polyline line(Points{{0, 0}, {1, 1}});
  const std::unique_ptr<Polyline> copy = line.clone();
  ASSERT_TRUE(copy);
  EXPECT_NE(&line, copy.get());
  EXPECT_TRUE(line == *copy);
}

TEST(Polyline, FindPositionGivesTheFirstEqualPoint) {
  const Polyline line(Points{{0, 0}, {1, 1}, {1, 1}, {0, 0}});
  EXPECT_EQ(0, line.findPosition({0, 0}));
  EXPECT_EQ(1, line.findPosition({1, 1}));
  EXPECT_EQ(-1, line.findPosition({1, 0}));
  EXPECT_EQ(-1, Polyline().findPosition({0, 0}));
}

TEST(Polyline, IntersectsLinesThatItCrossesOrTouches) {
  const Polyline line(Points{{-100, 0}, {100, 0}});
  EXPECT_TRUE(line.doesIntersect(Polyline(Points{{0, -50}, {0, 50}})));
  EXPECT_TRUE(line.doesIntersect(Polyline(Points{{0, 0}, {0, 50}})));
  EXPECT_TRUE(line.doesIntersect(Polyline(Points{{100, 0}, {200, 0}})));
  EXPECT_FALSE(line.doesIntersect(Polyline(Points{{0, 1}, {0, 50}})));
  EXPECT_FALSE(line.doesIntersect(Polyline(Points{{101, 0}, {200, 0}})));
}

TEST(Polyline, IntersectsAtAnyOfItsSegments) {
  const Polyline bent(Points{{-100, 500}, {0, 500}, {0, -500}});
  EXPECT_TRUE(bent.doesIntersect(Polyline(Points{{-10, 0}, {10, 0}})));
  EXPECT_FALSE(bent.doesIntersect(Polyline(Points{{-100, 0}, {-10, 0}})));
}

TEST(Polyline, IntersectsPolygonsByAreaAndBorder) {
  EXPECT_TRUE(Polyline(Points{{-500, 0}, {500, 0}}).doesIntersect(SQUARE));
  EXPECT_TRUE(Polyline(Points{{-10, -10}, {10, 10}}).doesIntersect(SQUARE));
  EXPECT_TRUE(Polyline(Points{{100, 0}, {500, 0}}).doesIntersect(SQUARE));
  EXPECT_FALSE(Polyline(Points{{101, 0}, {500, 0}}).doesIntersect(SQUARE));
}

TEST(Polyline, PrintLogsItsText) {
  const LogCapture log;
  const Polyline line(Points{{1, -2}, {3, 4}});
  line.print();
  std::string logged;
  for (const LogLine& entry : log.lines()) {
    logged += entry.text;
  }
  EXPECT_NE(std::string::npos, logged.find("(1, -2)"));
  EXPECT_NE(std::string::npos, logged.find("(3, 4)"));
  EXPECT_NE(std::string::npos, line.toString().find("(1, -2)"));
  EXPECT_NE(std::string::npos, line.toString().find("(3, 4)"));
}

TEST(Polyline, SvgWithoutStyleHasNoStyleAttribute) {
  const Polyline line(Points{{-4096, 4096}, {0, 2048}, {1024, -512}});
  EXPECT_EQ("<polyline class=\"fence\" points=\" -1.000,1.000 0.000,0.500 0.250,-0.125\" />\n",
            line.toStringSvg("", "fence"));
}

TEST(Polyline, SvgPutsTheStyleBetweenBlanks) {
  const Polyline line(Points{{0, 0}, {4096, 0}});
  EXPECT_EQ(
      "<polyline class=\"fence\" points=\" 0.000,0.000 1.000,0.000\" style=\"stroke:red\"  />\n",
      line.toStringSvg("stroke:red", "fence"));
}

TEST(Polyline, SvgPrintsThreeDecimals) {
  // 1/4096 = 0.000244, 3/4096 = 0.000732, 4095/4096 = 0.999756, 410/4096 = 0.100098.
  EXPECT_EQ("<polyline class=\"c\" points=\" 0.000,0.001 1.000,0.100\" />\n",
            Polyline(Points{{1, 3}, {4095, 410}}).toStringSvg("", "c"));
}

}  // namespace
