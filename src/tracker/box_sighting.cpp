#include "tracker/box_sighting.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "following/units.h"

namespace {

constexpr double BORDER = 3.0;       // px, within which something ends at the picture's border
constexpr double REACH = 16.0;       // px, over which a derivative is taken
constexpr double SLENDERNESS = 0.3;  // of a person: width over height
constexpr double END = 0.1;          // of somebody's height: his head, or his feet
constexpr double LEAST_TURN = 1e-6;  // deg per px, of a lens that shows anything

struct Box {
  PointF middle;
  PointF half;  // its extent
};

Point cornerOf(std::int32_t x, std::int32_t y) {
  return {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y)};
}

// In the picture's pixels; a rotation may exchange all limits.
Box boxOf(const VideoChannel& channel, const Polygon& outline) {
  const PointF one = channel.toImagePosition(cornerOf(outline.getMinX(), outline.getMinY()));
  const PointF other = channel.toImagePosition(cornerOf(outline.getMaxX(), outline.getMaxY()));
  return {{(one.x + other.x) / 2.0, (one.y + other.y) / 2.0},
          {std::abs(one.x - other.x) / 2.0, std::abs(one.y - other.y) / 2.0}};
}

// How pan (x) and tilt (y) change in a direction of the picture, for each pixel.
PointF derivative(const VideoChannel& channel, const PointF& place, const PointF& step) {
  const PointF after = channel.directionOf({place.x + step.x, place.y + step.y});
  const PointF before = channel.directionOf({place.x - step.x, place.y - step.y});
  const double way = 2.0 * std::hypot(step.x, step.y);
  return {following::wrapped(after.x - before.x) / way, (after.y - before.y) / way};
}

// What the lens does around a place.
struct Lens {
  PointF across;  // along the picture's row, deg/px
  PointF down;    // along its column

  // The direction in the picture, as long as it likes, in which only tilt grows; none where there
  // is no lens.
  std::optional<PointF> upwards() const {
    const double turn = across.x * down.y - across.y * down.x;
    if (!(std::abs(turn) > LEAST_TURN * LEAST_TURN)) {
      return std::nullopt;
    }
    const double sign = turn > 0.0 ? 1.0 : -1.0;
    return PointF{-down.x * sign, across.x * sign};
  }
};

Lens lensAt(const VideoChannel& channel, const PointF& place) {
  const auto inside = [](double value, int size) {
    return std::clamp(std::round(value), REACH, std::max(size - 1.0 - REACH, REACH));
  };
  const PointF centre{inside(place.x, channel.getWidth()), inside(place.y, channel.getHeight())};
  return {derivative(channel, centre, {REACH, 0.0}), derivative(channel, centre, {0.0, REACH})};
}

// From the middle of somebody to his head, along the way up. A box around somebody who leans in the
// picture is wider and higher than he is long.
PointF wayUp(const Box& box, const PointF& up) {
  const double length = std::hypot(up.x, up.y);
  const double along = std::abs(up.y) / length;
  const double aside = std::abs(up.x) / length;
  const double half = along > aside ? box.half.y / (along + SLENDERNESS * aside)
                                    : box.half.x / (aside + SLENDERNESS * along);
  return {up.x / length * half, up.y / length * half};
}

bool isAtBorder(const VideoChannel& channel, const PointF& place) {
  return place.x < BORDER || place.y < BORDER || place.x > channel.getWidth() - BORDER ||
         place.y > channel.getHeight() - BORDER;
}

// What a direction of pan is worth in the picture.
double worthOfPan(double tilt) {
  return std::cos(following::radians(tilt));
}

// Whether the outline is but a box, whose corners belong to nobody.
bool isBox(const Polygon& outline) {
  return std::ranges::all_of(outline.getVertices(), [&](const Point& vertex) {
    return (vertex.x == outline.getMinX() || vertex.x == outline.getMaxX()) &&
           (vertex.y == outline.getMinY() || vertex.y == outline.getMaxY());
  });
}

std::optional<BoxSighting> sightingOfBox(const VideoChannel& channel, const Box& box) {
  const Lens lens = lensAt(channel, box.middle);
  const auto up = lens.upwards();
  if (!up) {
    return std::nullopt;
  }
  const PointF way = wayUp(box, *up);
  const PointF footPlace{box.middle.x - way.x, box.middle.y - way.y};
  const PointF headPlace{box.middle.x + way.x, box.middle.y + way.y};
  const PointF foot = channel.directionOf(footPlace);
  const PointF head = channel.directionOf(headPlace);
  const PointF middle = channel.directionOf(box.middle);
  const double narrow = worthOfPan(middle.y);
  return BoxSighting{.sighting = {.pan = foot.x, .footTilt = foot.y, .headTilt = head.y},
                     .isFootCut = isAtBorder(channel, footPlace),
                     .isHeadCut = isAtBorder(channel, headPlace),
                     .pan = middle.x,
                     .tilt = middle.y,
                     .width = 2.0 * SLENDERNESS * std::hypot(way.x, way.y) *
                              std::hypot(lens.across.x * narrow, lens.across.y),
                     .height = std::abs(head.y - foot.y)};
}

// The extreme points of an outline in the head's angles, in which nobody leans.
class Extent {
 public:
  Extent(const VideoChannel& channel, const PointF& middle)
      : channel(channel), reference(channel.directionOf(middle).x) {}

  void take(const PointF& place) {
    const PointF direction = channel.directionOf(place);
    const double pan = following::wrapped(direction.x - reference);
    left = std::min(left, pan);
    right = std::max(right, pan);
    if (direction.y < lowest) {
      lowest = direction.y;
      isFootCut = isAtBorder(channel, place);
    }
    if (direction.y > highest) {
      highest = direction.y;
      isHeadCut = isAtBorder(channel, place);
    }
  }

  std::optional<BoxSighting> sighting() const {
    if (!(highest > lowest)) {
      return std::nullopt;
    }
    const double pan = following::wrapped(reference + (left + right) / 2.0);
    const double tilt = (lowest + highest) / 2.0;
    return BoxSighting{.sighting = {.pan = pan, .footTilt = lowest, .headTilt = highest},
                       .isFootCut = isFootCut,
                       .isHeadCut = isHeadCut,
                       .pan = pan,
                       .tilt = tilt,
                       .width = (right - left) * worthOfPan(tilt),
                       .height = highest - lowest};
  }

 private:
  const VideoChannel& channel;
  double reference;  // pan
  double left = 0.0;
  double right = 0.0;
  double lowest = std::numeric_limits<double>::infinity();
  double highest = -std::numeric_limits<double>::infinity();
  bool isFootCut = false;
  bool isHeadCut = false;
};

// Of whom one end is cut, more is cut on one side than on the other: he is where his other end is.
// None when that reaches to the picture's border, too.
std::optional<double> panOfUncutEnd(const VideoChannel& channel, const Polygon& outline,
                                    const BoxSighting& seen) {
  const double end = END * (seen.sighting.headTilt - seen.sighting.footTilt);
  double left = std::numeric_limits<double>::infinity();
  double right = -left;
  for (const Point& vertex : outline.getVertices()) {
    const PointF place = channel.toImagePosition(vertex);
    const PointF direction = channel.directionOf(place);
    const bool isOfEnd = seen.isFootCut ? direction.y >= seen.sighting.headTilt - end
                                        : direction.y <= seen.sighting.footTilt + end;
    if (isOfEnd && isAtBorder(channel, place)) {
      return std::nullopt;
    }
    if (isOfEnd) {
      const double pan = following::wrapped(direction.x - seen.pan);
      left = std::min(left, pan);
      right = std::max(right, pan);
    }
  }
  return following::wrapped(seen.pan + (left + right) / 2.0);
}

}  // namespace

std::optional<BoxSighting> sightingOf(const VideoChannel& channel, const Polygon& outline) {
  const Box box = boxOf(channel, outline);
  if (isBox(outline)) {
    return sightingOfBox(channel, box);
  }
  Extent extent(channel, box.middle);
  for (const Point& vertex : outline.getVertices()) {
    extent.take(channel.toImagePosition(vertex));
  }
  auto seen = extent.sighting();
  if (seen && seen->isFootCut != seen->isHeadCut) {
    const auto pan = panOfUncutEnd(channel, outline, *seen);
    seen->sighting.pan = pan.value_or(seen->pan);
    seen->isFootCut = seen->isFootCut || !pan;
    seen->isHeadCut = seen->isHeadCut || !pan;
  }
  return seen;
}
