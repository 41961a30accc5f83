#include <polyclipping/clipper.hpp>
#include <utility>
#include <vector>

#include "bench/library_verdicts.h"

namespace bench {

namespace {

using ClipperLib::Path;
using ClipperLib::Paths;

Path toPath(std::span<const Point> points) {
  Path path;
  path.reserve(points.size());
  for (const Point& point : points) {
    path.emplace_back(point.x, point.y);
  }
  return path;
}

void clip(const Paths& subject, const Paths& with, ClipperLib::ClipType how, Paths& result) {
  ClipperLib::Clipper clipper;
  clipper.AddPaths(subject, ClipperLib::ptSubject, true);
  clipper.AddPaths(with, ClipperLib::ptClip, true);
  clipper.Execute(how, result, ClipperLib::pftEvenOdd, ClipperLib::pftEvenOdd);
}

struct PreparedArea {
  explicit PreparedArea(const Areas& areas)
      : box(areas.include), include{toPath(areas.include)}, free(include) {
    for (const auto& exclude : areas.exclude) {
      Paths rest;
      clip(free, {toPath(exclude)}, ClipperLib::ctDifference, rest);
      free = std::move(rest);
    }
    hasExcludes = !areas.exclude.empty();
  }

  Box box;
  Paths include;
  Paths free;
  bool hasExcludes = false;
};

// The library answers no questions about touching: an object that only touches counts as outside.
class ClipperVerdicts : public PreparedVerdicts<PreparedArea> {
 public:
  using PreparedVerdicts::PreparedVerdicts;

 protected:
  int judge(const PreparedArea& area, std::span<const Point> outline, const Box& /*box*/) override {
    const Paths object{toPath(outline)};
    if (sharesArea(area.free, object)) {
      return INSIDE;
    }
    return area.hasExcludes && sharesArea(area.include, object) ? EXCLUDED : OUTSIDE;
  }

 private:
  bool sharesArea(const Paths& area, const Paths& object) {
    clip(area, object, ClipperLib::ctIntersection, common);
    return !common.empty();
  }

  Paths common;
};

}  // namespace

std::unique_ptr<LibraryVerdicts> makeClipperVerdicts(const VerdictPairs& pairs) {
  return std::make_unique<ClipperVerdicts>(pairs);
}

}  // namespace bench
