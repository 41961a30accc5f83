#include "geometry/clip.h"

#include <algorithm>
#include <clipper.hpp>
#include <cmath>
#include <iterator>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

#include "geometry/area.h"

namespace geometry {
namespace {

using ClipperLib::cInt;
using ClipperLib::IntPoint;
using ClipperLib::Path;
using ClipperLib::Paths;

// Steps of the clipping grid in one step of ours. Crossings are rounded to the finer grid, so that
// an outline of one or two steps survives; 16-bit coordinates stay in the range in which the
// clipping needs no 128-bit arithmetic.
constexpr cInt FINE = 16384;

// Rounding to the grid may fold an outline over itself or make it touch itself. Each further round
// takes such an outline for a new area. One that stays so is handed out with what it covers by the
// even-odd rule.
constexpr int MAX_ROUNDS = 40;

Path toFine(Points points) {
  Path path;
  path.reserve(points.size());
  for (const gm_point& point : points) {
    path.emplace_back(point.x * FINE, point.y * FINE);
  }
  return path;
}

cInt nearestStep(cInt fine) {
  return static_cast<cInt>(std::llround(static_cast<double>(fine) / FINE));
}

gm_point toGrid(const IntPoint& point) {
  return {static_cast<int16_t>(nearestStep(point.X)), static_cast<int16_t>(nearestStep(point.Y))};
}

bool isSame(const gm_point& a, const gm_point& b) {
  return a.x == b.x && a.y == b.y;
}

// Removes a vertex that adds no area: a repeated one, one on a straight line or the tip of a spike.
bool removeIdleVertex(Outline& outline) {
  const size_t count = outline.size();
  for (size_t i = 0; i < count; ++i) {
    if (cross(outline[(i + count - 1) % count], outline[i], outline[(i + 1) % count]) != 0) {
      continue;
    }
    outline.erase(outline.begin() + static_cast<std::ptrdiff_t>(i));
    return true;
  }
  return false;
}

// Fewer than three vertices are left of an outline without area.
void tidy(Outline& outline) {
  while (outline.size() >= 3 && removeIdleVertex(outline)) {
  }
}

Outline toGrid(const Path& path) {
  Outline outline;
  outline.reserve(path.size());
  for (const IntPoint& point : path) {
    outline.push_back(toGrid(point));
  }
  tidy(outline);
  return outline;
}

// The vertices of the outline that lie on the edge between its ends, in the edge's direction.
Outline touchesOn(gm_point from, gm_point to, const Outline& outline) {
  Outline touches;
  for (const gm_point& vertex : outline) {
    const bool isEnd = isSame(vertex, from) || isSame(vertex, to);
    if (!isEnd && segmentsTouch(from, to, vertex, vertex)) {
      touches.push_back(vertex);
    }
  }
  const auto distance = [from](const gm_point& point) {
    return std::abs(point.x - from.x) + std::abs(point.y - from.y);
  };
  std::sort(touches.begin(), touches.end(),
            [&](const gm_point& a, const gm_point& b) { return distance(a) < distance(b); });
  return touches;
}

// Splits an outline where it touches itself with a vertex. A loop that runs the other way round
// than the outline is a hole.
std::vector<Outline> loopsOf(const Outline& outline) {
  std::vector<Outline> loops;
  Outline open;
  const auto closeFrom = [&](Outline::iterator first) {
    Outline loop(first, open.end());
    open.erase(first, open.end());
    tidy(loop);
    if (loop.size() >= 3) {
      loops.push_back(std::move(loop));
    }
  };
  const auto visit = [&](const gm_point& point) {
    const auto seen = std::find_if(open.begin(), open.end(),
                                   [&](const gm_point& other) { return isSame(point, other); });
    if (seen != open.end()) {
      closeFrom(seen);
    }
    open.push_back(point);
  };
  for (size_t i = 0; i < outline.size(); ++i) {
    visit(outline[i]);
    const gm_point& next = outline[(i + 1) % outline.size()];
    for (const gm_point& touch : touchesOn(outline[i], next, outline)) {
      visit(touch);
    }
  }
  closeFrom(open.begin());
  return loops;
}

Paths rotated(const Paths& paths, int quarterTurns) {
  Paths result = paths;
  for (Path& path : result) {
    for (IntPoint& point : path) {
      for (int i = 0; i < quarterTurns; ++i) {
        point = {-point.Y, point.X};
      }
    }
  }
  return result;
}

bool isRight(double expected, const Paths& result, double tolerance) {
  double area = 0;
  for (const Path& path : result) {
    area += ClipperLib::Area(path);
  }
  return std::fabs(area - expected) <= tolerance;
}

// One run of the clipping over pictures turned by some quarter turns. Nothing when it gives up.
std::optional<Paths> run(ClipperLib::ClipType operation, const Paths& subject, const Paths& clip,
                         int options, int turns) {
  try {
    ClipperLib::Clipper clipper(options);
    const bool hasSubject = clipper.AddPaths(rotated(subject, turns), ClipperLib::ptSubject, true);
    const bool hasClip = clipper.AddPaths(rotated(clip, turns), ClipperLib::ptClip, true);
    if (!hasSubject && !hasClip) {
      return Paths();
    }
    Paths result;
    if (!clipper.Execute(operation, result, ClipperLib::pftEvenOdd)) {
      return std::nullopt;
    }
    return rotated(result, 4 - turns);
  } catch (const ClipperLib::clipperException&) {
    return std::nullopt;
  }
}

// Where many edges lie on each other, the clipping now and then takes a hole for an island or the
// other way round, but not for every direction of its sweep. So its result is held against an area
// that was measured in another way, and turned pictures are tried until one is right.
Paths execute(ClipperLib::ClipType operation, const Paths& subject, const Paths& clip) {
  const double expected = measureArea(operation, subject, clip);
  const double tolerance = measureLength(subject) + measureLength(clip);  // one fine step aside
  for (const int options : {int{ClipperLib::ioStrictlySimple}, 0}) {
    for (int turns = 0; turns < 4; ++turns) {
      std::optional<Paths> result = run(operation, subject, clip, options, turns);
      if (result && isRight(expected, *result, tolerance)) {
        return *std::move(result);
      }
    }
  }
  throw std::runtime_error("clipping failed");
}

Paths toFine(const std::vector<Outline>& outlines) {
  Paths paths;
  for (const Outline& outline : outlines) {
    paths.push_back(toFine(outline));
  }
  return paths;
}

bool isHole(const Path& path) {
  return !ClipperLib::Orientation(path);
}

struct Bounds {
  IntPoint low;
  IntPoint high;
};

Bounds boundsOf(const Path& path) {
  Bounds bounds{path.front(), path.front()};
  for (const IntPoint& point : path) {
    bounds.low = {std::min(bounds.low.X, point.X), std::min(bounds.low.Y, point.Y)};
    bounds.high = {std::max(bounds.high.X, point.X), std::max(bounds.high.Y, point.Y)};
  }
  return bounds;
}

Bounds boundsOf(const Paths& paths) {
  Path corners;
  for (const Path& path : paths) {
    const Bounds bounds = boundsOf(path);
    corners.insert(corners.end(), {bounds.low, bounds.high});
  }
  return boundsOf(corners);
}

// Where a vertical line opens the hole. On our grid where possible, so that the cut is not moved by
// the rounding: inside the hole, or along an upright edge of a hole that is a single step wide.
cInt cutThrough(const Path& hole, const Bounds& area) {
  const auto [low, high] = boundsOf(hole);
  const cInt middle = low.X + (high.X - low.X) / 2;
  const cInt step = nearestStep(middle) * FINE;
  if (step > low.X && step < high.X) {
    return step;
  }
  for (size_t i = 0; i < hole.size(); ++i) {
    const cInt x = hole[i].X;
    const bool isUpright = x == hole[(i + 1) % hole.size()].X;
    if (isUpright && x % FINE == 0 && x > area.low.X && x < area.high.X) {
      return x;
    }
  }
  return middle;
}

// Cuts an area along a vertical line through each hole. In the strips between the lines every hole
// is open to a side. Where the clipping still finds one, it is cut again.
Paths withoutHoles(const Paths& area) {
  Paths outlines;
  std::remove_copy_if(area.begin(), area.end(), std::back_inserter(outlines), isHole);
  if (outlines.size() == area.size()) {
    return area;
  }

  const Bounds bounds = boundsOf(area);
  std::set<cInt> cuts;
  for (const Path& path : area) {
    if (isHole(path)) {
      cuts.insert(cutThrough(path, bounds));
    }
  }
  cuts.erase(bounds.low.X);
  if (cuts.empty()) {
    return outlines;  // the holes are as thin as the clipping can tell
  }
  cuts.insert(bounds.high.X);

  Paths pieces;
  cInt left = bounds.low.X;
  for (const cInt right : cuts) {
    const Path strip{
        {left, bounds.low.Y}, {right, bounds.low.Y}, {right, bounds.high.Y}, {left, bounds.high.Y}};
    const Paths whole = withoutHoles(execute(ClipperLib::ctIntersection, area, {strip}));
    pieces.insert(pieces.end(), whole.begin(), whole.end());
    left = right;
  }
  return pieces;
}

void collect(const Paths& area, int round, std::vector<Outline>& outlines) {
  for (const Path& path : withoutHoles(area)) {
    const Outline outline = toGrid(path);
    if (outline.size() < 3) {
      continue;
    }
    if (isSimple(outline) || round == MAX_ROUNDS) {
      outlines.push_back(outline);
      continue;
    }
    const Paths unfolded = execute(ClipperLib::ctUnion, toFine(loopsOf(outline)), {});
    collect(unfolded, round + 1, outlines);
  }
}

ClipperLib::ClipType typeOf(gm_clip_e operation) {
  switch (operation) {
    case GM_CLIP_INTERSECTION:
      return ClipperLib::ctIntersection;
    case GM_CLIP_UNION:
      return ClipperLib::ctUnion;
    case GM_CLIP_XOR:
      return ClipperLib::ctXor;
    case GM_CLIP_CUT_OFF:
      return ClipperLib::ctDifference;
  }
  throw std::invalid_argument("unknown clip operation");
}

}  // namespace

std::vector<Outline> clip(Points subject, Points clip, gm_clip_e operation) {
  std::vector<Outline> outlines;
  collect(execute(typeOf(operation), {toFine(subject)}, {toFine(clip)}), 1, outlines);
  return outlines;
}

}  // namespace geometry
