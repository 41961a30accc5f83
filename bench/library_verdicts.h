// The same verdicts by geometry libraries, used as they are meant to be: areas are prepared once,
// the part of the include area that no exclude area covers is computed once, boxes are compared
// first, and outlines, which are new in every frame, are handed over as they come.
//
// The verdict is that of the product: inside when the outline shares area with the free part, else
// excluded when it touches the include area, else outside.
#ifndef BENCH_LIBRARY_VERDICTS_H
#define BENCH_LIBRARY_VERDICTS_H

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "bench/verdict_pairs.h"
#include "geometry/point.h"

namespace bench {

constexpr int INSIDE = 0;
constexpr int OUTSIDE = 1;
constexpr int EXCLUDED = 2;

struct Box {
  explicit Box(std::span<const Point> points) {
    const auto [left, right] = std::ranges::minmax(points, {}, &Point::x);
    const auto [bottom, top] = std::ranges::minmax(points, {}, &Point::y);
    minX = left.x;
    maxX = right.x;
    minY = bottom.y;
    maxY = top.y;
  }

  bool touches(const Box& other) const {
    return minX <= other.maxX && other.minX <= maxX && minY <= other.maxY && other.minY <= maxY;
  }

  int minX;
  int maxX;
  int minY;
  int maxY;
};

class LibraryVerdicts {
 public:
  virtual ~LibraryVerdicts() = default;

  virtual int verdict(std::size_t area, std::size_t outline) = 0;
};

// With areas as a library prepares them: constructed from Areas, with a member box.
template <typename PreparedArea>
class PreparedVerdicts : public LibraryVerdicts {
 public:
  explicit PreparedVerdicts(const VerdictPairs& pairs) : outlines(pairs.outlines) {
    for (const Areas& drawn : pairs.areas) {
      areas.emplace_back(drawn);
    }
    for (const auto& outline : outlines) {
      boxes.emplace_back(outline);
    }
  }

  int verdict(std::size_t area, std::size_t outline) final {
    const bool mayTouch = areas[area].box.touches(boxes[outline]);
    return mayTouch ? judge(areas[area], outlines[outline], boxes[outline]) : OUTSIDE;
  }

 protected:
  // Of an outline whose box touches the area's.
  virtual int judge(const PreparedArea& area, std::span<const Point> outline, const Box& box) = 0;

 private:
  const std::vector<std::vector<Point>>& outlines;
  std::vector<PreparedArea> areas;
  std::vector<Box> boxes;
};

// The pairs must outlive the result.
std::unique_ptr<LibraryVerdicts> makeBoostVerdicts(const VerdictPairs& pairs);
std::unique_ptr<LibraryVerdicts> makeGeosVerdicts(const VerdictPairs& pairs);
std::unique_ptr<LibraryVerdicts> makeClipperVerdicts(const VerdictPairs& pairs);

}  // namespace bench

#endif
