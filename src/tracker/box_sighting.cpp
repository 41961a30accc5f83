#include "tracker/box_sighting.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "following/units.h"

namespace {

constexpr double BORDER = 3.0;       // px, within which something ends at the picture's border
constexpr double REACH = 16.0;       // px, over which a derivative is taken
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

// From the middle to the border, along a direction.
PointF wayOut(const Box& box, const PointF& direction) {
  const auto share = [](double half, double step) {
    return step == 0.0 ? std::numeric_limits<double>::infinity() : half / std::abs(step);
  };
  const double times = std::min(share(box.half.x, direction.x), share(box.half.y, direction.y));
  return {direction.x * times, direction.y * times};
}

bool isAtBorder(const VideoChannel& channel, const PointF& place) {
  return place.x < BORDER || place.y < BORDER || place.x > channel.getWidth() - BORDER ||
         place.y > channel.getHeight() - BORDER;
}

// What a tilt is worth in pan.
double foreshortening(double tilt) {
  return std::cos(following::radians(tilt));
}

}  // namespace

std::optional<BoxSighting> sightingOf(const VideoChannel& channel, const Polygon& outline) {
  const Box box = boxOf(channel, outline);
  const Lens lens = lensAt(channel, box.middle);
  const auto up = lens.upwards();
  if (!up) {
    return std::nullopt;
  }
  const PointF way = wayOut(box, *up);
  const PointF footPlace{box.middle.x - way.x, box.middle.y - way.y};
  const PointF headPlace{box.middle.x + way.x, box.middle.y + way.y};
  const PointF foot = channel.directionOf(footPlace);
  const PointF head = channel.directionOf(headPlace);
  const PointF middle = channel.directionOf(box.middle);
  BoxSighting seen;
  seen.sighting = {.pan = foot.x, .footTilt = foot.y, .headTilt = head.y};
  seen.isFootCut = isAtBorder(channel, footPlace);
  seen.isHeadCut = isAtBorder(channel, headPlace);
  seen.pan = middle.x;
  seen.tilt = middle.y;
  // What the object leans is no width.
  const double across = std::max(2.0 * (box.half.x - std::abs(way.x)), 0.0);
  const double down = std::max(2.0 * (box.half.y - std::abs(way.y)), 0.0);
  const double narrow = foreshortening(middle.y);
  seen.width = across * std::hypot(lens.across.x * narrow, lens.across.y) +
               down * std::hypot(lens.down.x * narrow, lens.down.y);
  seen.height = std::abs(head.y - foot.y);
  return seen;
}
