#include "geometry/polyline.h"

#include <syslog.h>

#include <algorithm>
#include <utility>

#include "geometry/gm_points.h"
#include "geometry/svg_element.h"

Polyline::Polyline(std::vector<Point> points) : points(std::move(points)) {}

Polyline::Polyline(std::span<const Point> points) : points(points.begin(), points.end()) {}

std::unique_ptr<Polyline> Polyline::clone() const {
  return std::make_unique<Polyline>(points);
}

int Polyline::findPosition(const Point& p) const {
  const auto found = std::ranges::find(points, p);
  return found == points.end() ? -1 : static_cast<int>(found - points.begin());
}

bool Polyline::doesIntersect(const Polyline& line) const {
  return gm_intersect_ss(toGmPoints(points), gmCount(points), toGmPoints(line.points),
                         gmCount(line.points)) == 1;
}

std::string Polyline::toString() const {
  std::string text;
  for (const Point& point : points) {
    text += (text.empty() ? "" : " ") + point.toString();
  }
  return text;
}

void Polyline::print() const {
  syslog(LOG_INFO, "%s\n", toString().c_str());
}

std::string Polyline::toStringSvg(const std::string& style, const std::string& svgClass) const {
  return createSVGElement("polyline", points, style, svgClass);
}
