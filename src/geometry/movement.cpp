#include "geometry/movement.h"

#include <syslog.h>

#include <algorithm>
#include <array>

namespace {

constexpr int NO_CROSSING = -1;
constexpr int BEYOND_TRACK = 1025;

// A corner of a bounding box: whether it takes the maximum of x and of y.
struct Corner {
  bool maxX;
  bool maxY;

  Point of(const Polygon& box) const {
    return {maxX ? box.getMaxX() : box.getMinX(), maxY ? box.getMaxY() : box.getMinY()};
  }
};

struct Track {
  Corner from;
  Corner to;
};

constexpr Corner LOWER_LEFT{false, false};
constexpr Corner UPPER_LEFT{false, true};
constexpr Corner LOWER_RIGHT{true, false};
constexpr Corner UPPER_RIGHT{true, true};

constexpr std::array RIGHT_AND_DOWN{Track{UPPER_RIGHT, UPPER_RIGHT}, Track{UPPER_LEFT, LOWER_RIGHT},
                                    Track{LOWER_LEFT, LOWER_LEFT}};
constexpr std::array RIGHT_AND_UP{Track{UPPER_LEFT, UPPER_LEFT}, Track{LOWER_LEFT, UPPER_RIGHT},
                                  Track{LOWER_RIGHT, LOWER_RIGHT}};
constexpr std::array LEFT_AND_UP{Track{UPPER_RIGHT, UPPER_RIGHT}, Track{LOWER_RIGHT, UPPER_LEFT},
                                 Track{LOWER_LEFT, LOWER_LEFT}};
constexpr std::array LEFT_AND_DOWN{Track{UPPER_LEFT, UPPER_LEFT}, Track{UPPER_RIGHT, LOWER_LEFT},
                                   Track{LOWER_RIGHT, LOWER_RIGHT}};

const std::array<Track, 3>& tracksFor(const MathVector& motion) {
  if (motion.x >= 0) {
    return motion.y <= 0 ? RIGHT_AND_DOWN : RIGHT_AND_UP;
  }
  return motion.y >= 0 ? LEFT_AND_UP : LEFT_AND_DOWN;
}

}  // namespace

Movement::Movement(const Polygon& from, const Polygon& to)
    : moveVector(MathVector::between(from.getCentroid(), to.getCentroid())) {
  for (const Track& track : tracksFor(moveVector)) {
    tracks.emplace_back(std::vector<Point>{track.from.of(from), track.to.of(to)});
  }
}

bool Movement::doesIntersect(const Polyline& line) const {
  return std::ranges::any_of(tracks,
                             [&line](const Polyline& track) { return track.doesIntersect(line); });
}

int Movement::getIntersectValue(const Segment& segment) const {
  int value = NO_CROSSING;
  for (const Polyline& track : tracks) {
    value = std::max(value, segment.getIntersectValue(track));
  }
  return value;
}

std::optional<std::pair<std::size_t, std::size_t>> Movement::getIntersectedSegments(
    std::span<const Segment> segments) const {
  int smallest = BEYOND_TRACK;
  int largest = NO_CROSSING;
  std::pair<std::size_t, std::size_t> crossed;
  for (std::size_t i = 0; i < segments.size(); ++i) {
    const int value = getIntersectValue(segments[i]);
    if (value == NO_CROSSING) {
      continue;
    }
    if (value < smallest) {
      smallest = value;
      crossed.first = i;
    }
    if (value > largest) {
      largest = value;
      crossed.second = i;
    }
  }
  if (largest == NO_CROSSING) {
    return std::nullopt;
  }
  return crossed;
}

void Movement::print() const {
  for (const Polyline& track : tracks) {
    syslog(LOG_INFO, "%s\n", track.toString().c_str());
  }
}

std::string Movement::toStringSvg(const std::string& style) const {
  std::string text;
  for (const Polyline& track : tracks) {
    text += track.toStringSvg(style, "movement");
  }
  return text;
}
