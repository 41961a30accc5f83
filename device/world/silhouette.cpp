#include "world/silhouette.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace device {
namespace {

constexpr double LEAST_VISIBLE = 0.1;  // of the area of a person's box

struct BodyPoint {
  double across;  // metres to the right of the middle
  double up;      // metres above the ground
};

// Somebody standing with the legs a little apart, from the right shoulder counter-clockwise.
constexpr std::array<BodyPoint, 16> BODY{{
    {0.25, 1.38},
    {0.10, 1.48},
    {0.12, 1.62},
    {0.06, 1.75},
    {-0.06, 1.75},
    {-0.12, 1.62},
    {-0.10, 1.48},
    {-0.25, 1.38},
    {-0.25, 0.78},
    {-0.18, 0.75},
    {-0.18, 0.00},
    {-0.05, 0.00},
    {0.05, 0.00},
    {0.18, 0.00},
    {0.18, 0.75},
    {0.25, 0.78},
}};

using Outline = std::vector<PicturePoint>;

// The part of an outline on one side of a line; inside and cut say which.
template <typename Inside, typename Cut>
Outline clippedBy(const Outline& outline, Inside inside, Cut cut) {
  Outline result;
  for (std::size_t i = 0; i < outline.size(); ++i) {
    const PicturePoint& from = outline[i];
    const PicturePoint& to = outline[(i + 1) % outline.size()];
    if (inside(from)) {
      result.push_back(from);
    }
    if (inside(from) != inside(to)) {
      result.push_back(cut(from, to));
    }
  }
  return result;
}

Outline clippedByX(const Outline& outline, double side) {
  return clippedBy(
      outline, [side](const PicturePoint& p) { return p.x * side <= 1; },
      [side](const PicturePoint& a, const PicturePoint& b) {
        return PicturePoint{side, std::lerp(a.y, b.y, (side - a.x) / (b.x - a.x))};
      });
}

Outline clippedByY(const Outline& outline, double side) {
  return clippedBy(
      outline, [side](const PicturePoint& p) { return p.y * side <= 1; },
      [side](const PicturePoint& a, const PicturePoint& b) {
        return PicturePoint{std::lerp(a.x, b.x, (side - a.y) / (b.y - a.y)), side};
      });
}

double turn(const PicturePoint& a, const PicturePoint& b, const PicturePoint& c) {
  return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

// The body as seen from the front, metres, between two heights.
std::vector<BodyPoint> bodyBetween(double height, double low, double high) {
  std::vector<BodyPoint> body;
  for (const BodyPoint& point : BODY) {
    body.push_back({point.across, point.up * (height / PERSON_HEIGHT)});
  }
  if (low <= 0 && high >= height) {
    return body;
  }
  if (low >= high) {
    return {};
  }
  // What lies beyond is folded onto the edge, which keeps the outline closed.
  for (BodyPoint& point : body) {
    point.up = std::clamp(point.up, low, high);
  }
  return body;
}

// Where the shadow of a body's point falls.
SpacePoint shadowOf(const SpacePoint& point, const Appearance& appearance) {
  const double way = point.z * appearance.shadowLength;
  const double turn = toRadians(appearance.shadowTurn);
  return {point.x + way * std::sin(turn), point.y + way * std::cos(turn), 0};
}

std::optional<Outline> bodyOutline(const OverviewCamera& camera, const Person& person,
                                   const Appearance& appearance) {
  const GroundPoint& place = person.position;
  const SpacePoint& lens = camera.getSetup().position;
  const double distance = std::hypot(place.x - lens.x, place.y - lens.y);
  if (distance == 0) {
    return std::nullopt;
  }
  // Across the line of sight, so that the person is seen at full width.
  const double alongX = (place.y - lens.y) / distance;
  const double alongY = -(place.x - lens.x) / distance;
  Outline outline;
  for (const BodyPoint& point : bodyBetween(person.height, appearance.low, appearance.high)) {
    const SpacePoint there{place.x + point.across * alongX, place.y + point.across * alongY,
                           point.up};
    const std::optional<PicturePoint> seen = camera.project(there);
    if (!seen) {
      return std::nullopt;
    }
    outline.push_back(*seen);
    if (appearance.shadowLength > 0) {
      if (const auto shadow = camera.project(shadowOf(there, appearance))) {
        outline.push_back(*shadow);
      }
    }
  }
  if (outline.empty()) {
    return std::nullopt;
  }
  return appearance.shadowLength > 0 ? hullOf(std::move(outline)) : outline;
}

PicturePoint velocityOf(const OverviewCamera& camera, const Person& person) {
  constexpr double SPAN = 0.05;  // seconds
  const auto middleAfter = [&](double seconds) {
    return camera.project({person.position.x + person.velocity.x * seconds,
                           person.position.y + person.velocity.y * seconds, person.height / 2});
  };
  const std::optional<PicturePoint> from = middleAfter(-SPAN);
  const std::optional<PicturePoint> to = middleAfter(SPAN);
  if (!from || !to) {
    return {};
  }
  return {(to->x - from->x) / (2 * SPAN), (to->y - from->y) / (2 * SPAN)};
}

void halveLongestEdge(Outline& outline) {
  std::size_t longest = 0;
  double length = -1;
  const std::size_t count = outline.size();
  for (std::size_t i = 0; i < count; ++i) {
    const PicturePoint& a = outline[i];
    const PicturePoint& b = outline[(i + 1) % count];
    const double candidate = std::hypot(b.x - a.x, b.y - a.y);
    if (candidate > length) {
      length = candidate;
      longest = i;
    }
  }
  const PicturePoint& a = outline[longest];
  const PicturePoint& b = outline[(longest + 1) % count];
  const PicturePoint middle{(a.x + b.x) / 2, (a.y + b.y) / 2};
  outline.insert(outline.begin() + static_cast<std::ptrdiff_t>(longest) + 1, middle);
}

void dropLeastVertex(Outline& outline) {
  const std::size_t count = outline.size();
  const auto tells = [&](std::size_t i) {
    return std::abs(turn(outline[(i + count - 1) % count], outline[i], outline[(i + 1) % count]));
  };
  std::size_t least = 0;
  for (std::size_t i = 1; i < count; ++i) {
    least = tells(i) < tells(least) ? i : least;
  }
  outline.erase(outline.begin() + static_cast<std::ptrdiff_t>(least));
}

}  // namespace

PictureBox boxOf(std::span<const PicturePoint> points) {
  PictureBox box{points.front(), points.front()};
  for (const PicturePoint& point : points) {
    box.low = {std::min(box.low.x, point.x), std::min(box.low.y, point.y)};
    box.high = {std::max(box.high.x, point.x), std::max(box.high.y, point.y)};
  }
  return box;
}

double overlap(const PictureBox& a, const PictureBox& b) {
  const double width = std::min(a.high.x, b.high.x) - std::max(a.low.x, b.low.x);
  const double height = std::min(a.high.y, b.high.y) - std::max(a.low.y, b.low.y);
  const double smaller = std::min(a.area(), b.area());
  if (width <= 0 || height <= 0 || smaller <= 0) {
    return 0;
  }
  return width * height / smaller;
}

std::optional<Silhouette> silhouetteOf(const OverviewCamera& camera, const Person& person,
                                       const Appearance& appearance) {
  const std::optional<Outline> whole = bodyOutline(camera, person, appearance);
  if (!whole) {
    return std::nullopt;
  }
  Outline outline = clippedToPicture(*whole);
  if (outline.empty() || boxOf(outline).area() < LEAST_VISIBLE * boxOf(*whole).area()) {
    return std::nullopt;
  }
  const PictureBox box = boxOf(outline);
  return Silhouette{std::move(outline), box, velocityOf(camera, person)};
}

std::vector<PicturePoint> clippedToPicture(std::span<const PicturePoint> outline) {
  Outline result(outline.begin(), outline.end());
  for (const double side : {1.0, -1.0}) {
    result = clippedByY(clippedByX(result, side), side);
  }
  return result;
}

std::vector<PicturePoint> hullOf(std::vector<PicturePoint> points) {
  if (points.size() < 3) {
    return points;
  }
  std::sort(points.begin(), points.end(), [](const PicturePoint& a, const PicturePoint& b) {
    return std::pair(a.x, a.y) < std::pair(b.x, b.y);
  });
  Outline hull;
  const auto addChain = [&hull](auto first, auto last) {
    const std::size_t base = hull.size();
    for (auto point = first; point != last; ++point) {
      while (hull.size() >= base + 2 && turn(hull[hull.size() - 2], hull.back(), *point) <= 0) {
        hull.pop_back();
      }
      hull.push_back(*point);
    }
    hull.pop_back();  // begins the other chain
  };
  addChain(points.begin(), points.end());
  addChain(points.rbegin(), points.rend());
  return hull;
}

std::vector<PicturePoint> withFitCount(std::vector<PicturePoint> outline) {
  while (outline.size() < FEWEST_VERTICES) {
    halveLongestEdge(outline);
  }
  while (outline.size() > MOST_VERTICES) {
    dropLeastVertex(outline);
  }
  return outline;
}

}  // namespace device
