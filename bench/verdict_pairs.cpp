#include "bench/verdict_pairs.h"

#include <gm.h>

#include <algorithm>

#include "geometry/gm_points.h"

namespace bench {

namespace {

constexpr std::size_t AREAS = 20;
constexpr std::size_t OUTLINES = 400;
constexpr std::size_t PAIRS = 2000;
constexpr std::uint64_t SEED = 20;

VerdictPairs makePairs() {
  Everyday everyday(SEED);
  VerdictPairs pairs;
  for (std::size_t i = 0; i < AREAS; ++i) {
    pairs.areas.push_back(everyday.areas());
  }
  pairs.outlines = everyday.outlines(OUTLINES);
  // Every pair once: the round of outlines shifts against that of areas.
  for (std::size_t i = 0; i < PAIRS; ++i) {
    pairs.pairs.push_back({(i + i / OUTLINES) % AREAS, i % OUTLINES});
  }
  return pairs;
}

}  // namespace

const VerdictPairs& everydayPairs() {
  static const VerdictPairs PAIRS = makePairs();
  return PAIRS;
}

std::size_t countCrossing(const VerdictPairs& pairs) {
  return static_cast<std::size_t>(std::ranges::count_if(pairs.pairs, [&](const Pair& pair) {
    const std::vector<Point>& area = pairs.areas[pair.area].include;
    const std::vector<Point>& outline = pairs.outlines[pair.outline];
    const auto inside = std::ranges::count_if(outline, [&area](const Point& point) {
      return gm_inside_p(*toGmPoints({&point, 1}), toGmPoints(area), gmCount(area)) == 1;
    });
    return inside > 0 && inside < static_cast<std::ptrdiff_t>(outline.size());
  }));
}

}  // namespace bench
