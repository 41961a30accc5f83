// The pairs of areas and outlines on which the product and the libraries beside it are measured.
#ifndef BENCH_VERDICT_PAIRS_H
#define BENCH_VERDICT_PAIRS_H

#include <array>
#include <cstddef>
#include <vector>

#include "bench/everyday.h"

namespace bench {

struct Pair {
  std::size_t area;
  std::size_t outline;
};

struct VerdictPairs {
  std::vector<Areas> areas;
  std::vector<std::vector<Point>> outlines;
  std::vector<Pair> pairs;  // no two in a row of the same area or the same outline
};

// 2,000 pairs of 20 areas and 400 outlines.
const VerdictPairs& everydayPairs();

// How many outlines have vertices on both sides of their include area's border.
std::size_t countCrossing(const VerdictPairs& pairs);

// Asks for the verdict on each pair, so that no compiler leaves it out.
template <typename Verdict>
std::size_t judgeAll(const VerdictPairs& pairs, Verdict verdict) {
  int sum = 0;
  for (const Pair& pair : pairs.pairs) {
    sum += verdict(pair.area, pair.outline);
  }
  asm volatile("" : : "r"(sum));
  return pairs.pairs.size();
}

}  // namespace bench

#endif
