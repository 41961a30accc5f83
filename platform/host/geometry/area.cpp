#include "geometry/area.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace geometry {
namespace {

using ClipperLib::IntPoint;
using ClipperLib::Path;
using ClipperLib::Paths;

struct Edge {
  double lowX;
  double lowY;
  double highX;
  double highY;
  bool isSubject;

  double xAt(double y) const { return lowX + (y - lowY) * (highX - lowX) / (highY - lowY); }
};

// Horizontal edges bound no area to their sides and are left out.
void addEdges(const Paths& paths, bool isSubject, std::vector<Edge>& edges) {
  for (const Path& path : paths) {
    for (size_t i = 0; i < path.size(); ++i) {
      IntPoint low = path[i];
      IntPoint high = path[(i + 1) % path.size()];
      if (low.Y == high.Y) {
        continue;
      }
      if (low.Y > high.Y) {
        std::swap(low, high);
      }
      edges.push_back({static_cast<double>(low.X), static_cast<double>(low.Y),
                       static_cast<double>(high.X), static_cast<double>(high.Y), isSubject});
    }
  }
}

// The heights between which no edges begin, end or cross.
std::vector<double> bandsOf(const std::vector<Edge>& edges) {
  std::vector<double> heights;
  for (auto a = edges.begin(); a != edges.end(); ++a) {
    heights.insert(heights.end(), {a->lowY, a->highY});
    for (auto b = a + 1; b != edges.end(); ++b) {
      const double low = std::max(a->lowY, b->lowY);
      const double high = std::min(a->highY, b->highY);
      if (low >= high) {
        continue;
      }
      const double atLow = a->xAt(low) - b->xAt(low);
      const double atHigh = a->xAt(high) - b->xAt(high);
      if (atLow * atHigh < 0) {
        heights.push_back(low + (high - low) * atLow / (atLow - atHigh));
      }
    }
  }
  std::sort(heights.begin(), heights.end());
  return heights;
}

bool keeps(ClipperLib::ClipType operation, bool inSubject, bool inClip) {
  switch (operation) {
    case ClipperLib::ctIntersection:
      return inSubject && inClip;
    case ClipperLib::ctUnion:
      return inSubject || inClip;
    case ClipperLib::ctXor:
      return inSubject != inClip;
    case ClipperLib::ctDifference:
      break;
  }
  return inSubject && !inClip;
}

using Crossings = std::vector<std::pair<double, bool>>;

// crossings only lends its memory.
double widthAt(double y, const std::vector<Edge>& edges, ClipperLib::ClipType operation,
               Crossings& crossings) {
  crossings.clear();
  for (const Edge& edge : edges) {
    if (edge.lowY < y && y < edge.highY) {
      crossings.emplace_back(edge.xAt(y), edge.isSubject);
    }
  }
  std::sort(crossings.begin(), crossings.end());
  double width = 0;
  double left = 0;
  bool inSubject = false;
  bool inClip = false;
  for (const auto& [x, isSubject] : crossings) {
    if (keeps(operation, inSubject, inClip)) {
      width += x - left;
    }
    (isSubject ? inSubject : inClip) ^= true;
    left = x;
  }
  return width;
}

}  // namespace

double measureArea(ClipperLib::ClipType operation, const Paths& subject, const Paths& clip) {
  std::vector<Edge> edges;
  addEdges(subject, true, edges);
  addEdges(clip, false, edges);
  const std::vector<double> heights = bandsOf(edges);
  double area = 0;
  Crossings crossings;
  for (size_t i = 1; i < heights.size(); ++i) {
    const double height = heights[i] - heights[i - 1];
    if (height > 0) {
      area += height * widthAt(heights[i - 1] + height / 2, edges, operation, crossings);
    }
  }
  return area;
}

double measureLength(const Paths& outlines) {
  double length = 0;
  for (const Path& path : outlines) {
    for (size_t i = 0; i < path.size(); ++i) {
      const IntPoint& next = path[(i + 1) % path.size()];
      length += std::hypot(static_cast<double>(next.X - path[i].X),
                           static_cast<double>(next.Y - path[i].Y));
    }
  }
  return length;
}

}  // namespace geometry
