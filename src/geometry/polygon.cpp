#include "geometry/polygon.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <limits>

#include "geometry/gm_points.h"
#include "geometry/polyline.h"
#include "geometry/svg_element.h"

namespace {

constexpr std::size_t COORDINATES = 2;          // of a vertex
constexpr int PADDING_THRESHOLD = 2048;         // padding grows below it and shrinks from it on
constexpr float FIXED_ONE = 65536.0F;           // 16.16
constexpr float LARGEST_FIXED = 2147483520.0F;  // the largest float below 2^31

std::int16_t neighbour(std::int16_t value) {
  return static_cast<std::int16_t>(value < PADDING_THRESHOLD ? value + 1 : value - 1);
}

std::vector<Point> pad(std::span<const Point> v) {
  if (v.empty()) {
    return {{0, 0}, {0, 1}, {1, 0}};
  }
  const Point beside{neighbour(v.back().x), neighbour(v.back().y)};
  if (v.size() == 1) {
    return {v[0], beside, {beside.x, v[0].y}};
  }
  if (v.size() == 2 && v[0] == v[1]) {
    return {v[0], v[1], beside, {beside.x, v[0].y}};
  }
  if (v.size() == 2) {
    return {v[0], v[1], beside};
  }
  return {v.begin(), v.end()};
}

std::int32_t toFixed(float factor) {
  const float fixed = factor * FIXED_ONE + (factor > 0.0F ? 0.5F : -0.5F);
  return static_cast<std::int32_t>(std::clamp(fixed, -LARGEST_FIXED, LARGEST_FIXED));
}

}  // namespace

Polygon::Polygon() : Polygon(std::span<const Point>()) {}

Polygon::Polygon(std::span<const Point> vertices) {
  if (vertices.size() >= 3) {
    initialize(vertices);
  } else {
    initialize(pad(vertices));
  }
}

Polygon::Polygon(const Point& centre, std::int16_t width, std::int16_t height) {
  const int left = centre.x - width / 2;
  const int bottom = centre.y - height / 2;
  assignRectangle(left, left + width, bottom, bottom + height);
}

Polygon::Polygon(int minX, int maxX, int minY, int maxY) {
  assignRectangle(minX, maxX, minY, maxY);
}

void Polygon::assignRectangle(int left, int right, int bottom, int top) {
  const auto x1 = static_cast<std::int16_t>(left);
  const auto x2 = static_cast<std::int16_t>(right);
  const auto y1 = static_cast<std::int16_t>(bottom);
  const auto y2 = static_cast<std::int16_t>(top);
  initialize(std::array{Point{x1, y1}, Point{x1, y2}, Point{x2, y2}, Point{x2, y1}});
}

std::unique_ptr<Polygon> Polygon::clone() const {
  return std::make_unique<Polygon>(*this);
}

void Polygon::initialize(std::span<const Point> array) {
  if (array.data() == nullptr) {
    return;
  }
  vertices.assign(array.begin(), array.end());
  measure();
}

void Polygon::assign(std::span<const std::int32_t> coordinates) {
  vertices.resize(coordinates.size() / COORDINATES);
  for (std::size_t i = 0; i < vertices.size(); ++i) {
    vertices[i] = {static_cast<std::int16_t>(coordinates[COORDINATES * i]),
                   static_cast<std::int16_t>(coordinates[COORDINATES * i + 1])};
  }
  if (vertices.size() < 3) {
    vertices = pad(vertices);
  }
  measure();
}

void Polygon::measure() {
  minX = minY = std::numeric_limits<std::int16_t>::max();
  maxX = maxY = std::numeric_limits<std::int16_t>::min();
  for (const Point& vertex : vertices) {
    minX = std::min(minX, vertex.x);
    minY = std::min(minY, vertex.y);
    maxX = std::max(maxX, vertex.x);
    maxY = std::max(maxY, vertex.y);
  }
  width = maxX - minX;
  height = maxY - minY;
}

bool Polygon::operator==(const Polygon& other) const {
  const std::size_t count = vertices.size();
  if (count != other.vertices.size()) {
    return false;
  }
  if (count == 0) {
    return true;
  }
  const int found = other.findPosition(vertices.front());
  if (found < 0) {
    return false;
  }
  const auto start = static_cast<std::size_t>(found);
  const auto matches = [&](std::size_t step) {
    for (std::size_t i = 0; i < count; ++i) {
      if (vertices[i] != other.vertices[(start + i * step) % count]) {
        return false;
      }
    }
    return true;
  };
  return matches(1) || matches(count - 1);
}

int Polygon::findPosition(const Point& p) const {
  const auto found = std::ranges::find(vertices, p);
  return found == vertices.end() ? -1 : static_cast<int>(found - vertices.begin());
}

bool Polygon::doesIntersect(const Polygon& other) const {
  return gm_intersect_pp(toGmPoints(vertices), gmCount(vertices), toGmPoints(other.vertices),
                         gmCount(other.vertices)) == 1;
}

// Here, as a line knows nothing of areas.
bool Polyline::doesIntersect(const Polygon& polygon) const {
  return gm_intersect_ps(toGmPoints(polygon.getVertices()), gmCount(polygon.getVertices()),
                         toGmPoints(points), gmCount(points)) == 1;
}

bool Polygon::doesIntersect(const Polyline& line) const {
  return line.doesIntersect(*this);
}

bool Polygon::isPolygonInside(const Polygon& other) const {
  const gm_point* points = toGmPoints(other.vertices);
  for (int i = 0; i < gmCount(other.vertices); ++i) {
    if (gm_inside_p(points[i], toGmPoints(vertices), gmCount(vertices)) != 1) {
      return false;
    }
  }
  return true;
}

Point Polygon::getCentroid() const {
  gm_point centroid{};
  if (gm_centroid_p(toGmPoints(vertices), gmCount(vertices), &centroid) != 0) {
    return vertices.empty() ? Point{} : vertices.front();
  }
  return {centroid.x, centroid.y};
}

void Polygon::moveTo(const Point& p) {
  const Point centroid = getCentroid();
  for (Point& vertex : vertices) {
    vertex.x = static_cast<std::int16_t>(vertex.x + p.x - centroid.x);
    vertex.y = static_cast<std::int16_t>(vertex.y + p.y - centroid.y);
  }
}

Polygon Polygon::createScaledCopy(float factor) const {
  Polygon copy(*this);
  const std::int32_t fixed = toFixed(factor);
  const std::array<std::int32_t, 2> scale{fixed, fixed};
  if (gm_transform_scale(toGmPoints(std::span(copy.vertices)), gmCount(copy.vertices),
                         scale.data()) != 0) {
    syslog(LOG_WARNING, "Failed to create a scaled copy of a polygon\n");
    return copy;
  }
  copy.moveTo(getCentroid());
  copy.initialize(std::vector<Point>(copy.vertices));
  return copy;
}

void Polygon::print() const {
  for (const Point& vertex : vertices) {
    vertex.print();
  }
}

std::string Polygon::toStringSvg(const std::string& style, const std::string& svgClass) const {
  return createSVGElement("polygon", vertices, style, svgClass);
}

std::string Polygon::toBoundingBoxStringSvg(const std::string& style,
                                            const std::string& svgClass) const {
  const std::array corners{Point{minX, minY}, Point{maxX, minY}, Point{maxX, maxY},
                           Point{minX, maxY}};
  return createSVGElement("polygon", corners, style, svgClass);
}
