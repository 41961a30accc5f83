#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <vector>

#include "gm.h"
#include "platform/judge.h"
#include "platform/polygons.h"
#include "support/rounds.h"

namespace {

using polygons::doubledArea;
using polygons::Generator;
using polygons::Points;

// A vertex is off by half a step in x and in y. Where rounding folds an outline, what is then
// clipped anew is rounded once more.
constexpr double ROUNDING = 2;

int size(const Points& points) {
  return static_cast<int>(points.size());
}

std::vector<Points> clip(const Points& subject, const Points& clip, gm_clip_e operation) {
  gm_point** results = nullptr;
  int* counts = nullptr;
  const int found = gm_clip_pp(subject.data(), size(subject), clip.data(), size(clip), operation,
                               &results, &counts);
  EXPECT_GE(found, 0);
  EXPECT_EQ(found > 0, results != nullptr);
  EXPECT_EQ(found > 0, counts != nullptr);
  std::vector<Points> outlines;
  for (int i = 0; i < found; ++i) {
    EXPECT_GE(counts[i], 3);
    outlines.emplace_back(results[i], results[i] + counts[i]);
    std::free(results[i]);
  }
  std::free(results);
  std::free(counts);
  return outlines;
}

// The same outline with its least vertex first and counter-clockwise.
Points normal(Points outline) {
  if (doubledArea(outline) < 0) {
    std::reverse(outline.begin(), outline.end());
  }
  const auto less = [](gm_point a, gm_point b) { return a.x != b.x ? a.x < b.x : a.y < b.y; };
  std::rotate(outline.begin(), std::min_element(outline.begin(), outline.end(), less),
              outline.end());
  return outline;
}

int64_t totalArea(const std::vector<Points>& outlines) {
  int64_t area = 0;
  for (const Points& outline : outlines) {
    area += std::abs(doubledArea(outline));
  }
  return area;
}

double length(const std::vector<Points>& outlines) {
  double sum = 0;
  for (const Points& outline : outlines) {
    for (size_t i = 0; i < outline.size(); ++i) {
      const gm_point next = outline[(i + 1) % outline.size()];
      sum += std::hypot(next.x - outline[i].x, next.y - outline[i].y);
    }
  }
  return sum;
}

Points rectangle(int left, int bottom, int right, int top) {
  const auto at = [](int x, int y) {
    return gm_point{static_cast<int16_t>(x), static_cast<int16_t>(y)};
  };
  return {at(left, bottom), at(right, bottom), at(right, top), at(left, top)};
}

const Points SQUARE = rectangle(0, 0, 100, 100);

TEST(GmClip, IntersectionIsWhatLiesInBoth) {
  const auto pieces = clip(SQUARE, rectangle(50, 60, 200, 200), GM_CLIP_INTERSECTION);
  ASSERT_EQ(1u, pieces.size());
  EXPECT_EQ(normal(rectangle(50, 60, 100, 100)), normal(pieces[0]));
}

TEST(GmClip, CutOffIsWhatLiesInTheSubjectAlone) {
  const auto pieces = clip(SQUARE, rectangle(60, -10, 200, 200), GM_CLIP_CUT_OFF);
  ASSERT_EQ(1u, pieces.size());
  EXPECT_EQ(normal(rectangle(0, 0, 60, 100)), normal(pieces[0]));
}

TEST(GmClip, UnionJoinsWhatTouches) {
  const auto pieces = clip(SQUARE, rectangle(100, 0, 150, 100), GM_CLIP_UNION);
  ASSERT_EQ(1u, pieces.size());
  EXPECT_EQ(normal(rectangle(0, 0, 150, 100)), normal(pieces[0]));
}

TEST(GmClip, ExclusiveOrIsWhatLiesInOneOnly) {
  const auto pieces = clip(SQUARE, rectangle(0, 0, 100, 40), GM_CLIP_XOR);
  ASSERT_EQ(1u, pieces.size());
  EXPECT_EQ(normal(rectangle(0, 40, 100, 100)), normal(pieces[0]));
}

TEST(GmClip, NothingSharedGivesNothing) {
  EXPECT_TRUE(clip(SQUARE, rectangle(200, 0, 300, 100), GM_CLIP_INTERSECTION).empty());
  EXPECT_TRUE(clip(SQUARE, rectangle(-5, -5, 105, 105), GM_CLIP_CUT_OFF).empty());
  EXPECT_TRUE(clip(SQUARE, SQUARE, GM_CLIP_XOR).empty());
}

TEST(GmClip, TouchingSharesNoArea) {
  EXPECT_TRUE(clip(SQUARE, rectangle(100, 0, 200, 100), GM_CLIP_INTERSECTION).empty());
  EXPECT_TRUE(clip(SQUARE, rectangle(100, 100, 200, 200), GM_CLIP_INTERSECTION).empty());
  const auto pieces = clip(SQUARE, rectangle(100, 0, 200, 100), GM_CLIP_CUT_OFF);
  ASSERT_EQ(1u, pieces.size());
  EXPECT_EQ(normal(SQUARE), normal(pieces[0]));
}

TEST(GmClip, ItselfIsItself) {
  const Points concave{{0, 0}, {100, 0}, {100, 100}, {50, 20}, {0, 100}};
  const auto pieces = clip(concave, concave, GM_CLIP_INTERSECTION);
  ASSERT_EQ(1u, pieces.size());
  EXPECT_EQ(normal(concave), normal(pieces[0]));
  EXPECT_TRUE(clip(concave, concave, GM_CLIP_CUT_OFF).empty());
}

TEST(GmClip, AConcaveAreaGivesSeveralPieces) {
  // A comb of three teeth, cut across the teeth.
  const Points comb{{0, 0},   {50, 0},  {50, 50}, {40, 50}, {40, 10}, {30, 10},
                    {30, 50}, {20, 50}, {20, 10}, {10, 10}, {10, 50}, {0, 50}};
  const auto pieces = clip(comb, rectangle(-10, 20, 60, 30), GM_CLIP_INTERSECTION);
  EXPECT_EQ(3u, pieces.size());
  EXPECT_EQ(2 * 3 * 10 * 10, totalArea(pieces));
  EXPECT_EQ(4u, clip(comb, rectangle(-10, 20, 60, 30), GM_CLIP_CUT_OFF).size());
}

TEST(GmClip, ASelfCrossingOutlineIsKeptByTheEvenOddRule) {
  const Points bowTie{{0, 0}, {100, 100}, {100, 0}, {0, 100}};
  const auto whole = clip(bowTie, rectangle(-10, -10, 110, 110), GM_CLIP_INTERSECTION);
  EXPECT_EQ(2u, whole.size());
  EXPECT_EQ(2 * 2 * 50 * 50, totalArea(whole));  // two triangles with base 100 and height 50
  const auto rest = clip(SQUARE, bowTie, GM_CLIP_CUT_OFF);
  EXPECT_EQ(2u, rest.size());
  EXPECT_EQ(2 * 2 * 50 * 50, totalArea(rest));
}

TEST(GmClip, OrientationDoesNotMatter) {
  const Points clockwise(SQUARE.rbegin(), SQUARE.rend());
  const auto pieces = clip(clockwise, rectangle(50, 60, 200, 200), GM_CLIP_INTERSECTION);
  ASSERT_EQ(1u, pieces.size());
  EXPECT_EQ(normal(rectangle(50, 60, 100, 100)), normal(pieces[0]));
}

TEST(GmClip, AHoleBecomesPiecesWithoutHoles) {
  const Points hole = rectangle(40, 40, 60, 60);
  const auto pieces = clip(SQUARE, hole, GM_CLIP_CUT_OFF);
  EXPECT_EQ(2u, pieces.size());
  EXPECT_EQ(2 * (100 * 100 - 20 * 20), totalArea(pieces));
  for (const Points& piece : pieces) {
    EXPECT_TRUE(judge::isSimple(piece));
    EXPECT_EQ(0, gm_inside_p({50, 50}, piece.data(), size(piece)) == 1 &&
                     !polygons::isOnBorder({50, 50}, piece));
  }
}

TEST(GmClip, TheSmallestHoleStaysCutOut) {
  const auto pieces = clip(SQUARE, {{50, 50}, {51, 51}, {51, 50}}, GM_CLIP_CUT_OFF);
  EXPECT_EQ(2 * 100 * 100 - 1, totalArea(pieces));
  for (const Points& piece : pieces) {
    EXPECT_TRUE(judge::isSimple(piece));
  }
}

TEST(GmClip, SeveralHolesAtOnce) {
  // A snake that crosses itself three times leaves holes beside and above each other.
  Generator generator(11, 300);
  int withHoles = 0;
  for (int i = 0; i < 200; ++i) {
    const Points snake = generator.points(9);
    const auto pieces = clip(rectangle(-400, -400, 400, 400), snake, GM_CLIP_CUT_OFF);
    withHoles += pieces.size() > 3 ? 1 : 0;
    for (const Points& piece : pieces) {
      ASSERT_TRUE(judge::isSimple(piece)) << "case " << i;
    }
  }
  EXPECT_GT(withHoles, 100);
}

TEST(GmClip, APaddedPointInsideAnAreaIsKeptWhole) {
  const Points area{{-4000, -3000}, {3900, -2800}, {2500, 3700}, {0, 200}, {-3100, 3500}};
  for (const gm_point point : {gm_point{100, 100}, {-5, 7}, {2047, 300}, {2048, -300}}) {
    const gm_point other = polygons::padded(point);
    const Points outline{point, other, {other.x, point.y}};
    const auto pieces = clip(outline, area, GM_CLIP_INTERSECTION);
    ASSERT_EQ(1u, pieces.size());
    EXPECT_EQ(normal(outline), normal(pieces[0]));
    EXPECT_EQ(pieces, clip(area, outline, GM_CLIP_INTERSECTION));
  }
}

TEST(GmClip, APaddedDoublePointInsideAnAreaIsKeptWhole) {
  const Points outline{{100, 100}, {100, 100}, {101, 101}, {101, 100}};
  const auto pieces = clip(outline, rectangle(-4096, -4096, 4096, 4096), GM_CLIP_INTERSECTION);
  ASSERT_EQ(1u, pieces.size());
  EXPECT_EQ((Points{{100, 100}, {101, 100}, {101, 101}}), normal(pieces[0]));
}

TEST(GmClip, APaddedLineInsideAnAreaIsKeptWhole) {
  Generator generator(12, 4000);
  for (int i = 0; i < rounds(500); ++i) {
    const gm_point first = generator.point();
    const gm_point second = generator.point();
    const Points outline{first, second, polygons::padded(second)};
    if (doubledArea(outline) == 0) {
      continue;
    }
    const auto pieces = clip(outline, rectangle(-4096, -4096, 4096, 4096), GM_CLIP_INTERSECTION);
    ASSERT_EQ(1u, pieces.size());
    ASSERT_EQ(normal(outline), normal(pieces[0]));
  }
}

TEST(GmClip, EverySmallTriangleInsideAnAreaIsKept) {
  const Points area = rectangle(-20, -20, 20, 20);
  Generator generator(13, 2);
  for (int i = 0; i < rounds(500); ++i) {
    const Points triangle = generator.points(3);
    const auto pieces = clip(triangle, area, GM_CLIP_INTERSECTION);
    ASSERT_EQ(std::abs(doubledArea(triangle)), totalArea(pieces));
  }
}

TEST(GmClip, TheWholeRangeOfTheGrid) {
  const Points all = rectangle(-32768, -32768, 32767, 32767);
  const auto pieces = clip(all, rectangle(0, -32768, 32767, 32767), GM_CLIP_CUT_OFF);
  ASSERT_EQ(1u, pieces.size());
  EXPECT_EQ(normal(rectangle(-32768, -32768, 0, 32767)), normal(pieces[0]));
  const Points corner{{32767, 32767}, {32766, 32767}, {32767, 32766}};
  const auto kept = clip(corner, all, GM_CLIP_INTERSECTION);
  ASSERT_EQ(1u, kept.size());
  EXPECT_EQ(normal(corner), normal(kept[0]));
}

TEST(GmClip, WithoutVerticesThereIsNoArea) {
  EXPECT_TRUE(clip({}, SQUARE, GM_CLIP_INTERSECTION).empty());
  EXPECT_TRUE(clip({}, SQUARE, GM_CLIP_CUT_OFF).empty());
  EXPECT_EQ(totalArea({SQUARE}), totalArea(clip(SQUARE, {}, GM_CLIP_CUT_OFF)));
  EXPECT_EQ(totalArea({SQUARE}), totalArea(clip({}, SQUARE, GM_CLIP_UNION)));
  EXPECT_TRUE(clip({{1, 1}, {5, 5}, {3, 3}}, SQUARE, GM_CLIP_INTERSECTION).empty());
}

TEST(GmClip, OutlinesWithoutAreaOnBothSidesGiveNothing) {
  EXPECT_TRUE(
      clip({{-2, -1}, {2, -1}, {2, -1}}, {{1, 1}, {2, -1}, {2, -1}}, GM_CLIP_UNION).empty());
}

// Areas that share most of their edges and cross themselves: what the clipping library by itself
// gets wrong for some directions of its sweep.
TEST(GmClip, LongSharedBordersAndHolesAtOnce) {
  const Points a{{-158, -145}, {38, -393}, {-45, -228}, {-255, 372},
                 {-379, -338}, {348, 287}, {237, -256}, {347, -395}};
  const Points b{{392, -131}, {237, -256}, {-14, -21}, {-379, -338},
                 {-255, 372}, {-45, -228}, {38, -393}, {-5, 60}};
  const auto pieces = clip(a, b, GM_CLIP_UNION);
  const auto either = [](bool inA, bool inB) { return inA || inB; };
  EXPECT_LT(judge::wrongArea(judge::areaWhere(a, b, either), pieces, ROUNDING), 1e-3);
  for (const Points& piece : pieces) {
    EXPECT_TRUE(judge::isSimple(piece));
  }
}

TEST(GmClip, FailureLeavesNothingToRelease) {
  gm_point** const someResults = reinterpret_cast<gm_point**>(1);
  int* const someCounts = reinterpret_cast<int*>(1);
  const auto expectFailure = [&](const gm_point* subject, int count, int operation) {
    gm_point** results = someResults;
    int* counts = someCounts;
    EXPECT_EQ(-1, gm_clip_pp(subject, count, SQUARE.data(), size(SQUARE),
                             static_cast<gm_clip_e>(operation), &results, &counts));
    EXPECT_EQ(nullptr, results);
    EXPECT_EQ(nullptr, counts);
  };
  expectFailure(nullptr, 3, GM_CLIP_INTERSECTION);
  expectFailure(SQUARE.data(), -1, GM_CLIP_INTERSECTION);
  expectFailure(SQUARE.data(), size(SQUARE), 4);
}

struct Operation {
  gm_clip_e number;
  std::function<bool(bool, bool)> keeps;
};

const Operation OPERATIONS[] = {
    {GM_CLIP_INTERSECTION, [](bool subject, bool clip) { return subject && clip; }},
    {GM_CLIP_UNION, [](bool subject, bool clip) { return subject || clip; }},
    {GM_CLIP_XOR, [](bool subject, bool clip) { return subject != clip; }},
    {GM_CLIP_CUT_OFF, [](bool subject, bool clip) { return subject && !clip; }},
};

// The range of the coordinates.
class GmClipRandom : public testing::TestWithParam<int> {};

TEST_P(GmClipRandom, AgreesWithTheJudge) {
  Generator generator(static_cast<uint32_t>(6000 + GetParam()), GetParam());
  for (int i = 0; i < rounds(250); ++i) {
    const Points a = generator.any();
    const Points b = generator.anyWith(a);
    for (const Operation& operation : OPERATIONS) {
      const auto pieces = clip(a, b, operation.number);
      SCOPED_TRACE(testing::Message() << "case " << i << ", operation " << operation.number);
      for (const Points& piece : pieces) {
        ASSERT_TRUE(judge::isSimple(piece));
        ASSERT_NE(0, doubledArea(piece));
      }
      const judge::Shape expected = judge::areaWhere(a, b, operation.keeps);
      ASSERT_LT(judge::wrongArea(expected, pieces, ROUNDING), 1e-3);
      // Pieces lie side by side: what they add up to is the area, but for the rounding.
      ASSERT_NEAR(judge::area(expected), static_cast<double>(totalArea(pieces)) / 2,
                  ROUNDING * (judge::length(expected) + length(pieces)));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Ranges, GmClipRandom, testing::Values(4, 12, 60, 400, 4096, 32767));

}  // namespace
